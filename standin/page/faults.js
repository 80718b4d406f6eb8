// Faults by their words, and their end.
import {h, button, field, form, select, keyed, setText, setAttribute} from '/common/dom.js';
import {classroom} from '/common/texts.js';
import {KINDS} from '/world.js';

const texts = classroom.faults;
const PARAMETERS = {slow: 'ms', delayed: 'ms', intermittent: 'chance', duplicate: 'times', reorder: 'count'};
const DEFAULTS = {slow: 200, delayed: 500, intermittent: 0.5, duplicate: 2, reorder: 3};

export class Faults {
  constructor(world, act) {
    this.world = world;
    const where = select([...KINDS, ['speech', texts.speech]]);
    const word = select(Object.entries(texts.words));
    const parameter = h('input', {type: 'number', min: 0, step: 'any', required: true});
    const parameterField = field(texts.parameters.ms, parameter);
    const label = parameterField.querySelector('label');
    const seconds = h('input', {type: 'number', min: 0, step: 'any'});
    const show = () => {
      const name = PARAMETERS[word.value];
      parameterField.hidden = !name;
      parameter.disabled = !name;
      if (name) {
        setText(label, texts.parameters[name]);
        parameter.value = DEFAULTS[word.value];
      }
    };
    word.addEventListener('change', show);
    show();
    this.none = h('p', {class: 'hint'}, texts.none);
    this.list = h('ul', {class: 'faults'});
    this.ends = h('div', {class: 'row'});
    this.act = act;
    this.element = h('section', {class: 'panel stack', id: 'faults', 'aria-labelledby': 'faults-title'},
      h('h2', {id: 'faults-title'}, texts.heading),
      form({class: 'row'}, () => {
        const fault = {do: 'fault', where: where.value, word: word.value};
        if (PARAMETERS[word.value]) {
          fault[PARAMETERS[word.value]] = Number(parameter.value);
        }
        const actions = [fault];
        if (seconds.value !== '') {
          actions.push({do: 'script', steps: [{
            at_ms: Math.round(Number(seconds.value) * 1000), do: 'fault', where: where.value, word: 'none',
          }]});
        }
        act(actions);
      }, field(texts.where, where), field(texts.word, word), parameterField,
      field(texts.forSeconds, seconds, texts.forHint), h('button', {type: 'submit'}, texts.begin)),
      this.none, this.list, this.ends);
  }

  update() {
    const faults = this.world.state?.faults ?? [];
    this.none.hidden = faults.length > 0;
    keyed(this.list, faults, (fault) => `${fault.where} ${fault.word}`, () => h('li'),
      (line, fault) => setText(line, texts.stands(fault)));
    keyed(this.ends, [...new Set(faults.map((fault) => fault.where))], (where) => where,
      (where) => button(texts.endAt(where), () => this.act({do: 'fault', where, word: 'none'})), () => {});
    setAttribute(this.list, 'hidden', faults.length === 0);
  }
}
