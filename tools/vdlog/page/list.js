// What was found, one entry for each. Only those in view are there for the browser.
import {h, setAttribute, setText, oncePerFrame} from '/common/dom.js';
import {texts} from './texts.js';
import {dateText} from './log.js';

const ENTRY = 68;

export class Found {
  #at = -1;

  constructor(log, choose) {
    this.log = log;
    this.choose = choose;
    this.inner = h('div', {class: 'lines-inner', role: 'presentation'});
    this.list = h('div', {
      class: 'lines found', role: 'listbox', tabindex: 0, 'aria-label': texts.list.label, onscroll: () => this.draw(),
      onkeydown: (event) => this.#key(event),
      onclick: (event) => this.#go(Number(event.target.closest('.entry')?.dataset.index ?? -1)),
    }, this.inner);
    this.none = h('p', {class: 'hint', hidden: true}, texts.list.none);
    this.draw = oncePerFrame(() => this.#draw());
    new ResizeObserver(() => this.draw()).observe(this.list);
  }

  get things() {
    return this.log.found;
  }

  get at() {
    return this.#at;
  }

  /// Behind a change of the filter; what was chosen stays so where it is still there.
  refill(chosen) {
    this.#at = this.things.indexOf(chosen);
    this.inner.style.height = `${this.things.length * ENTRY}px`;
    this.list.scrollTop = Math.max(0, this.#at) * ENTRY;
    this.draw();
  }

  show(chosen) {
    this.#at = this.things.indexOf(chosen);
    if (this.#at >= 0) {
      const top = this.#at * ENTRY;
      const view = this.list;
      view.scrollTop = Math.min(top, Math.max(view.scrollTop, top + ENTRY - view.clientHeight));
    }
    this.draw();
  }

  /// To the next one or back; from elsewhere to the next one in time.
  step(way, chosen) {
    const {things} = this;
    const from = chosen && this.#at < 0 ? things.findIndex((thing) => thing.begin >= chosen.begin) - (way > 0 ? 1 : 0) : this.#at;
    const next = from < 0 && way < 0 ? things.length - 1 : from + way;
    this.#go(Math.max(0, Math.min(things.length - 1, next)));
  }

  #go(index) {
    if (this.things[index]) {
      this.choose(this.things[index]);
    }
  }

  #key(event) {
    const page = Math.max(1, Math.floor(this.list.clientHeight / ENTRY) - 1);
    const end = this.things.length - 1;
    const moves = {ArrowDown: this.#at + 1, ArrowUp: this.#at - 1, Home: 0, End: end, PageDown: this.#at + page, PageUp: this.#at - page};
    if (event.key in moves && end >= 0) {
      this.#go(Math.max(0, Math.min(end, moves[event.key])));
      event.preventDefault();
    }
  }

  #draw() {
    const {things} = this;
    this.none.hidden = things.length > 0;
    this.list.hidden = things.length === 0;
    this.inner.style.height = `${things.length * ENTRY}px`;
    const first = Math.max(0, Math.floor(this.list.scrollTop / ENTRY) - 1);
    const shown = things.slice(first, first + Math.ceil(this.list.clientHeight / ENTRY) + 2);
    while (this.inner.children.length > shown.length) {
      this.inner.lastChild.remove();
    }
    while (this.inner.children.length < shown.length) {
      this.inner.append(h('div', {role: 'option', class: 'entry'},
        h('span', {class: 'entry-head'}, h('span', {class: 'mark', 'aria-hidden': 'true'}), h('span', {}), h('span', {class: 'entry-why'})),
        h('span', {class: 'entry-words'})));
    }
    let active = null;
    shown.forEach((thing, i) => {
      const entry = this.inner.children[i];
      const index = first + i;
      const [head, words] = entry.children;
      setAttribute(entry, 'data-index', index);
      setAttribute(entry, 'data-state', thing.stateName);
      setAttribute(entry, 'id', `entry-${index}`);
      setAttribute(entry, 'aria-selected', String(index === this.#at));
      setAttribute(entry, 'aria-setsize', things.length);
      setAttribute(entry, 'aria-posinset', index + 1);
      entry.style.top = `${index * ENTRY}px`;
      setText(head.children[1], `${this.log.severalDays ? `${dateText(this.log.origin + thing.begin)} ` : ''}${this.log.when(thing)}`);
      setText(head.children[2], thing.reason >= 0 ? this.log.data.reasons[thing.reason][0] : thing.kindName);
      setText(words, thing.sentence);
      active = index === this.#at ? entry.id : active;
    });
    setAttribute(this.list, 'aria-activedescendant', active);
  }
}
