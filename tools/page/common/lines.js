// Lines as they come, with a filter and a stop. Only those in view are there for the browser.
import {h, button, field, select, setText, setAttribute, oncePerFrame} from '/common/dom.js';

const LINE = 24;
const MOST = 20000;

/// Lines are {text, kind, value}: what is shown, one of the words to choose from, and what stands behind it.
export class Lines {
  #lines = [];
  #held = [];       // came while it was stopped
  #shown = [];
  #stopped = false;
  #chosen = null;
  #stale = false;   // the filter has to look at all lines again

  /// `id` is the section's; the texts are as the classroom's of its journal.
  constructor(id, texts) {
    this.texts = texts;
    this.filter = h('input', {type: 'search', oninput: () => this.#refilter()});
    this.what = select(Object.entries(texts.kinds), {onchange: () => this.#refilter()});
    this.stop = button(texts.stop, () => {
      this.#stopped = !this.#stopped;
      if (!this.#stopped) {
        this.#add(this.#held.splice(0));
      }
      setText(this.stop, this.#stopped ? texts.goOn : texts.stop);
      this.draw();
    });
    this.count = h('span', {class: 'hint'});
    this.inner = h('div', {class: 'lines-inner', role: 'presentation'});
    this.list = h('div', {
      class: 'lines', role: 'listbox', tabindex: 0, 'aria-label': texts.list, onscroll: () => this.draw(),
      onkeydown: (event) => this.#key(event),
      onclick: (event) => this.#choose(Number(event.target.closest('.line')?.dataset.index ?? -1)),
    }, this.inner);
    this.detail = h('pre', {class: 'detail', tabindex: 0, role: 'group', 'aria-label': texts.detail}, texts.nothing);
    this.element = h('section', {class: 'panel stack', id, 'aria-labelledby': `${id}-title`},
      h('h2', {id: `${id}-title`}, texts.heading),
      h('div', {class: 'row'}, field(texts.filter, this.filter, texts.filterHint), field(texts.what, this.what), this.stop,
        button(texts.clear, () => this.clear()), this.count),
      this.list, h('h3', {}, texts.detail), this.detail);
    this.draw = oncePerFrame(() => this.#draw());
    new ResizeObserver(() => this.draw()).observe(this.list);
  }

  clear() {
    this.#lines = [];
    this.#held = [];
    this.#choose(-1);
    this.#refilter();
  }

  take(lines) {
    if (lines.length === 0) {
      return;
    }
    if (this.#stopped) {
      this.#held.push(...lines);
      this.#held.splice(0, this.#held.length - MOST);
    } else {
      this.#add(lines);
    }
    this.draw();
  }

  #add(lines) {
    const atEnd = this.list.scrollTop + this.list.clientHeight >= this.list.scrollHeight - LINE;
    for (const line of lines) {
      line.search = line.text.toLowerCase();
      this.#lines.push(line);
      if (this.#fits(line)) {
        this.#shown.push(line);
      }
    }
    if (this.#lines.length > MOST) {
      this.#lines.splice(0, this.#lines.length - MOST);
      this.#stale = true;
    }
    this.follow ||= atEnd;
  }

  #fits(line) {
    const kind = this.what.value;
    return (kind === 'all' || kind === line.kind) &&
      this.filter.value.toLowerCase().split(/\s+/).every((word) => line.search.includes(word));
  }

  #refilter() {
    this.#stale = true;
    this.follow = true;
    this.draw();
  }

  #draw() {
    if (this.#stale) {
      this.#stale = false;
      this.#shown = this.#lines.filter((line) => this.#fits(line));
    }
    const shown = this.#shown;
    setText(this.count, this.texts.count(shown.length, this.#lines.length, this.#held.length));
    this.inner.style.height = `${shown.length * LINE}px`;
    if (this.follow) {
      this.follow = false;
      this.list.scrollTop = this.list.scrollHeight;
    }
    const first = Math.max(0, Math.floor(this.list.scrollTop / LINE) - 2);
    const last = Math.min(shown.length, first + Math.ceil(this.list.clientHeight / LINE) + 4);
    const lines = shown.slice(first, last);
    while (this.inner.children.length > lines.length) {
      this.inner.lastChild.remove();
    }
    while (this.inner.children.length < lines.length) {
      this.inner.append(h('div', {role: 'option'}));
    }
    let active = null;
    lines.forEach((line, i) => {
      const element = this.inner.children[i];
      const index = first + i;
      const chosen = line === this.#chosen;
      element.className = `line ${line.kind}`;
      element.id = `line-${index}`;
      element.dataset.index = index;
      element.style.top = `${index * LINE}px`;
      setText(element, line.text);
      setAttribute(element, 'aria-selected', String(chosen));
      setAttribute(element, 'aria-setsize', shown.length);
      setAttribute(element, 'aria-posinset', index + 1);
      active = chosen ? element.id : active;
    });
    setAttribute(this.list, 'aria-activedescendant', active);
  }

  #choose(index) {
    this.#chosen = this.#shown[index] ?? null;
    setText(this.detail, this.#chosen ? JSON.stringify(this.#chosen.value, null, 2) : this.texts.nothing);
    if (this.#chosen) {
      const top = index * LINE;
      const view = this.list;
      view.scrollTop = Math.min(top, Math.max(view.scrollTop, top + LINE - view.clientHeight));
    }
    this.draw();
  }

  #key(event) {
    const index = this.#shown.indexOf(this.#chosen);
    const end = this.#shown.length - 1;
    const moves = {
      ArrowDown: index < 0 ? end : index + 1, ArrowUp: index < 0 ? end : index - 1, Home: 0, End: end,
      PageDown: index + 8, PageUp: index - 8,
    };
    if (event.key in moves && end >= 0) {
      this.#choose(Math.max(0, Math.min(end, moves[event.key])));
      event.preventDefault();
    }
  }
}
