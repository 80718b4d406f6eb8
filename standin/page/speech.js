// Speech: the engines, how they answer, and the requests that wait for an answer by hand.
import {h, button, field, form, select, choice, keyed, setText} from '/common/dom.js';
import {classroom} from '/common/texts.js';

const texts = classroom.speech;
const NAMES = ['recognizer', 'single', 'multiple', 'multiple-chn', 'general', 'offline'];
const SHOWN_REQUESTS = 20;

/// What was typed into fields that may stay empty, as keys of an action.
function filled(fields) {
  return Object.fromEntries(Object.entries(fields).filter(([, control]) => control.value !== '')
    .map(([key, control]) => [key, control.type === 'number' ? Number(control.value) : control.value]));
}

const number = (attributes = {}) => h('input', {type: 'number', step: 1, ...attributes});

class Request {
  constructor(engine, open, act) {
    const title = texts.request(engine, open);
    const fields = {
      result: h('input'), score: number({step: 'any'}), raw_result: h('input'), error_code: number(),
    };
    fields.result.value = open.stems[0] ?? '';
    const keep = h('input', {type: 'checkbox'});
    const about = [texts.size(open.audio_size), open.stems.length > 0 && texts.stems(open.stems),
      open.param && texts.param(open.param), open.extra].filter(Boolean).join('; ');
    this.element = h('li', {}, form({class: 'stack', 'aria-label': title}, () => act({
      do: 'speech-answer', engine: engine.index, request: open.request, ...filled(fields), ...(keep.checked ? {keep: true} : {}),
    }), h('h4', {}, title), h('p', {class: 'hint'}, about),
    h('div', {class: 'row'}, field(texts.result, fields.result), field(texts.score, fields.score),
      field(texts.raw, fields.raw_result), field(texts.error, fields.error_code)),
    h('div', {class: 'row'}, h('button', {type: 'submit'}, texts.answer), choice(texts.keepOpen, keep))));
  }
}

export class Speech {
  constructor(world, act) {
    this.world = world;
    this.act = act;
    this.none = h('p', {class: 'hint'}, texts.none);
    this.engines = h('ul', {class: 'engines'});
    this.gone = h('p', {class: 'hint'});
    this.requests = h('ul', {class: 'requests'});
    this.noOpen = h('p', {class: 'hint'}, texts.noOpen);
    this.more = h('p', {class: 'hint'});
    this.element = h('section', {class: 'panel stack', id: 'speech', 'aria-labelledby': 'speech-title'},
      h('h2', {id: 'speech-title'}, texts.heading), this.none, this.engines, this.gone, this.#change(),
      h('h3', {}, texts.open), this.noOpen, this.requests, this.more);
  }

  #change() {
    const kept = (options) => select([['', texts.keep], ...Object.entries(options)]);
    const engine = select([['all', texts.all], ...NAMES]);
    const first = {mode: kept(texts.modes), rule: kept(texts.rules), delay_ms: number({min: 0, max: 3600000})};
    const more = {
      result: h('input'), score: number({step: 'any'}), raw_result: h('input'), error_code: number(),
      order: kept(texts.orders), batch: number({min: 1}), duplicate: number({min: 1, max: 1000}),
    };
    const labels = {...texts, delay_ms: texts.delay, raw_result: texts.raw, error_code: texts.error};
    const row = (fields) => h('div', {class: 'row'}, Object.entries(fields).map(([key, control]) => field(labels[key], control)));
    const whole = form({class: 'stack', 'aria-label': texts.change}, () => {
      const keys = filled({...first, ...more});
      if (Object.keys(keys).length === 0) {
        this.act(new Error(texts.nothing));
        return;
      }
      this.act({do: 'speech', engine: engine.value, ...keys});
      whole.reset();
    }, h('div', {class: 'row'}, field(texts.which, engine), Object.entries(first).map(([key, control]) => field(labels[key], control))),
    row(more), h('div', {}, h('button', {type: 'submit'}, texts.apply)));
    return h('details', {}, h('summary', {}, texts.change), whole);
  }

  update() {
    const all = this.world.state?.speech.engines ?? [];
    const engines = all.filter((engine) => engine.state !== 'destroyed');
    const gone = all.length - engines.length;
    this.none.hidden = engines.length > 0;
    setText(this.gone, gone > 0 ? texts.gone(gone) : '');
    keyed(this.engines, engines, (engine) => engine.index,
      (engine) => {
        const line = h('span', {class: 'hint'});
        const how = h('span', {class: 'hint'});
        return {element: h('li', {}, h('strong', {}, texts.engine(engine)), line, how), line, how};
      },
      (entry, engine) => {
        setText(entry.line, texts.line(engine));
        setText(entry.how, texts.how(engine.settings));
      });
    const open = engines.flatMap((engine) => engine.open.map((request) => ({engine, request})));
    this.noOpen.hidden = open.length > 0;
    setText(this.more, open.length > SHOWN_REQUESTS ? texts.more(open.length - SHOWN_REQUESTS) : '');
    keyed(this.requests, open.slice(0, SHOWN_REQUESTS), ({engine, request}) => `${engine.index} ${request.request}`,
      ({engine, request}) => new Request(engine, request, this.act), () => {});
  }
}
