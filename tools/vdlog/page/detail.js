// What is chosen: its sentence, and the log's lines that prove it.
import {h, button, setText} from '/common/dom.js';
import {texts} from './texts.js';
import {dateText, timeText} from './log.js';

export class Detail {
  /// `narrow` is told the reason that was chosen; `closer` shows what is chosen closer.
  constructor(log, narrow, closer) {
    this.log = log;
    this.title = h('h2', {id: 'detail-title'}, texts.detail.heading);
    this.when = h('p', {class: 'hint', hidden: true});
    this.sentence = h('p', {class: 'sentence'}, texts.detail.nothing);
    this.said = h('div', {class: 'stack', 'aria-live': 'polite'}, this.when, this.sentence);
    this.reason = h('p', {class: 'hint'});
    this.closer = button(texts.detail.zoom, closer, {hidden: true});
    this.reasons = h('div', {class: 'stack', hidden: log.reasons().length === 0}, h('h3', {id: 'reasons-title'}, texts.detail.reasons),
      h('ul', {class: 'reasons', 'aria-labelledby': 'reasons-title'}, log.reasons().map(({reason, count, title}) =>
        h('li', {}, h('button', {type: 'button', onclick: () => narrow(reason)}, h('b', {}, count.toLocaleString('en')), h('span', {}, title))))));
    this.linesTitle = h('h3', {id: 'lines-title', hidden: true}, texts.detail.lines);
    this.lines = h('ol', {class: 'evidence', 'aria-labelledby': 'lines-title', hidden: true});
    this.element = h('section', {class: 'panel stack detail-panel', 'aria-labelledby': 'detail-title', tabindex: 0}, this.title,
      this.said, this.reasons, this.reason, h('div', {}, this.closer), this.linesTitle, this.lines);
  }

  show(thing) {
    const {log} = this;
    setText(this.title, thing ? `${thing.lane.name}: ${thing.kindName}` : texts.detail.heading);
    setText(this.sentence, thing ? thing.sentence : texts.detail.nothing);
    setText(this.when, !thing ? '' : `${dateText(log.origin + thing.begin)} ${thing.isSpan
      ? texts.detail.span(log.when(thing), timeText(log.origin + thing.end)) : log.when(thing)}`);
    setText(this.reason, thing && thing.reason >= 0 ? log.data.reasons[thing.reason][0] : '');
    this.when.hidden = !thing;
    this.reasons.hidden = Boolean(thing) || log.reasons().length === 0;
    this.reason.hidden = !thing || thing.reason < 0;
    this.closer.hidden = !thing;
    this.linesTitle.hidden = !thing;
    this.lines.hidden = !thing;
    const several = log.data.files.length > 1;
    this.lines.replaceChildren(...(thing?.lines ?? []).map((number) => {
      const {file, line, text} = log.line(number);
      return h('li', {}, h('span', {class: 'line-number'}, several ? texts.detail.fileLine(file + 1, line) : texts.detail.line(line)),
        h('code', {}, text));
    }));
    if (thing && thing.lines.length === 0) {
      this.lines.append(h('li', {}, texts.detail.noLines));
    }
  }
}
