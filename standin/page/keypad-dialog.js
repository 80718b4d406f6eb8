// One keypad in full: all its keys, its voice, and what it shows.
import {h, button, field, form, setText} from '/common/dom.js';
import {common, classroom} from '/common/texts.js';
import {KEY_NAMES, keyOf} from '/world.js';
import {Sound, Flaws} from '/sound.js';
import {shownKeys} from '/tile.js';

const texts = classroom.dialog;

export class KeypadDialog {
  #keypad = null;

  /// `act(action)` does an action and says what became of it.
  constructor(world, act) {
    this.world = world;
    this.opened = () => {};
    const id = () => ({kind: this.#keypad.kind, keypad: this.#keypad.keypad});
    this.title = h('h2', {id: 'keypad-title'});
    this.power = button('', () => act({do: this.#keypad.connected ? 'leave' : 'connect', ...id()}));
    this.times = h('input', {type: 'number', min: 1, max: 1000, value: 1, required: true});
    const keys = Object.values(KEY_NAMES).map((key) =>
      button(key, () => act({do: 'key', ...id(), key, times: Number(this.times.value) || 1}), {class: 'key'}));
    const sound = new Sound();
    this.flaws = new Flaws();
    const speak = form({class: 'stack'}, async () => {
      try {
        act({do: 'audio', ...id(), ...await sound.keys(), ...this.flaws.keys(this.#keypad.kind)});
      } catch (error) {
        act(error);
      }
    }, h('h3', {}, texts.speak), sound.element, this.flaws.element, h('div', {}, h('button', {type: 'submit'}, texts.speak)));
    this.facts = h('dl', {class: 'facts'});
    this.values = {};
    for (const [key, label] of [...[1, 2, 3].map((row) => [`row${row}`, texts.row(row)]), ['question', texts.question],
      ['locked', texts.locked], ['texts', texts.texts], ['heard', texts.heard], ['pressed', texts.pressed],
      ['signals', texts.signals]]) {
      this.values[key] = h('dd');
      this.facts.append(h('dt', {}, label), this.values[key]);
    }
    this.element = h('dialog', {'aria-labelledby': 'keypad-title', onclose: () => {
      this.#keypad = null;
      this.opened(false);
    }},
    h('div', {class: 'stack'},
      h('div', {class: 'row'}, h('span', {class: 'simulated'}, common.simulated), this.title),
      h('div', {class: 'row'}, this.power, field(texts.times, this.times)),
      h('h3', {}, texts.keys), h('div', {class: 'row'}, keys),
      speak,
      h('h3', {}, texts.facts), this.facts,
      h('div', {}, button(common.close, () => this.element.close()))));
  }

  open(keypad) {
    this.#keypad = keypad;
    this.flaws.show(keypad.kind);
    this.update();
    this.element.showModal();
    this.opened(true);
  }

  update() {
    if (!this.#keypad) {
      return;
    }
    const keypad = this.world.keypads.get(keyOf(this.#keypad)) ?? this.#keypad;
    this.#keypad = keypad;
    setText(this.title, texts.title(keypad.keypad, keypad.kind));
    setText(this.power, keypad.connected ? texts.logOff : texts.logOn);
    const signals = ['lamp', 'motor', 'beeper'].filter((name) => keypad[name]).map((name) =>
      texts.signal(name === 'lamp' ? classroom.tile.lamp(keypad.lamp.name) : name, keypad[name]));
    const values = {
      ...Object.fromEntries(keypad.rows.map((row, i) => [`row${i + 1}`, row.text])),
      question: keypad.question?.name ?? texts.never,
      locked: keypad.locked ? texts.yes : texts.no,
      texts: String(keypad.texts),
      heard: String(keypad.keys),
      pressed: shownKeys(keypad) || texts.never,
      signals: signals.join('; ') || texts.never,
    };
    for (const [key, value] of Object.entries(values)) {
      setText(this.values[key], value);
    }
  }
}
