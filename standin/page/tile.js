// One keypad as a tile: what it shows, and the keys to press it with.
import {h, setAttribute, setText, button} from '/common/dom.js';
import {classroom} from '/common/texts.js';
import {KEY_NAMES} from '/world.js';

const texts = classroom.tile;
export const TILE_KEYS = ['A', 'B', 'C', 'D', 'T', 'F', 'G'];
const SIGNALS = ['lamp', 'motor', 'beeper'];

export const shownKeys = (keypad) => keypad.last.map((key) => KEY_NAMES[key] ?? key).join(' ');

/// `act` has press(keypad, key), toggle(keypad), open(keypad), select(keypad, on), drop(keypad, file).
export class Tile {
  #keypad = null;
  #timer = 0;

  constructor(world, act) {
    this.world = world;
    // The grid moves the focus; inside a tile only the mouse goes.
    const inner = {tabindex: -1};
    this.check = h('input', {type: 'checkbox', ...inner, onchange: () => act.select(this.#keypad, this.check.checked)});
    this.number = h('span', {class: 'number'});
    this.kind = h('span', {class: 'kind'});
    this.signals = Object.fromEntries(SIGNALS.map((name) => [name, h('span', {class: `signal ${name}`, hidden: true})]));
    this.power = button('', () => act.toggle(this.#keypad), {class: 'power', ...inner});
    this.rows = [0, 1, 2].map(() => h('div', {class: 'display-row'}));
    this.keys = TILE_KEYS.map((key) => button(key, () => act.press(this.#keypad, key), {class: 'key', ...inner}));
    this.last = h('div', {class: 'last'});
    this.element = h('div', {
      role: 'group',
      class: 'tile',
      tabindex: -1,
      ondblclick: (event) => {
        if (!event.target.closest('button, input')) {
          act.open(this.#keypad);
        }
      },
      ondragover: (event) => {
        event.preventDefault();
        this.element.classList.add('target');
      },
      ondragleave: () => this.element.classList.remove('target'),
      ondrop: (event) => {
        event.preventDefault();
        this.element.classList.remove('target');
        act.drop(this.#keypad, event.dataTransfer.files[0]);
      },
    },
    h('div', {class: 'tile-head'}, this.check, this.number, this.kind, this.power),
    h('div', {class: 'face', 'aria-hidden': 'true'}, h('div', {class: 'display'}, this.rows),
      h('div', {class: 'signals'}, Object.values(this.signals))),
    h('div', {class: 'keys'}, this.keys),
    this.last);
    this.cell = h('div', {role: 'gridcell', class: 'cell'}, this.element);
  }

  show(keypad, selected) {
    this.#keypad = keypad;
    const number = keypad.keypad;
    this.element.classList.toggle('off', !keypad.connected);
    this.element.classList.toggle('selected', selected);
    setAttribute(this.cell, 'aria-selected', String(selected));
    this.check.checked = selected;
    setAttribute(this.check, 'aria-label', texts.select(number));
    setText(this.number, String(number));
    setText(this.kind, keypad.kind);
    setText(this.power, keypad.connected ? texts.shortOn : texts.shortOff);
    setAttribute(this.power, 'aria-label', keypad.connected ? texts.logOff(number) : texts.logOn(number));
    this.rows.forEach((row, i) => setText(row, keypad.rows[i].text || texts.emptyRow));
    this.keys.forEach((key, i) => setAttribute(key, 'aria-label', texts.press(TILE_KEYS[i], number)));
    setText(this.last, [shownKeys(keypad), keypad.question?.name].filter(Boolean).join(' · ') || texts.nothing);
    this.#showSignals();
  }

  #showSignals() {
    const keypad = this.#keypad;
    const running = [];
    let next = Infinity;
    for (const name of SIGNALS) {
      const signal = keypad[name];
      const remains = this.world.remains(signal);
      const element = this.signals[name];
      element.hidden = remains <= 0;
      if (remains > 0) {
        next = Math.min(next, remains);
        const words = name === 'lamp' ? texts.lamp(signal.name) : texts[name];
        running.push(name === 'lamp' ? words : texts.runs(words));
        setText(element, words);
        setAttribute(element, 'data-color', signal.name ?? null);
        element.style.animationDuration = `${Math.max(2, signal.duration + signal.interval) * 100}ms`;
      }
    }
    clearTimeout(this.#timer);
    if (next < Infinity) {
      this.#timer = setTimeout(() => this.#showSignals(), next + 10);
    }
    const shown = keypad.rows.map((row) => row.text).filter(Boolean).join(' / ');
    setAttribute(this.element, 'aria-label', texts.label(keypad.keypad, keypad.kind, [
      keypad.connected ? texts.on : texts.off, texts.shows(shown),
      keypad.question ? texts.asked(keypad.question.name) : texts.notAsked, ...running, texts.pressed(shownKeys(keypad))]));
  }

  drop() {
    clearTimeout(this.#timer);
    this.cell.remove();
  }
}
