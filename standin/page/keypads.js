// The section of the keypads: the grid, and what is done with many of them.
import {h, button, field, form, select, choice, setText, oncePerFrame} from '/common/dom.js';
import {classroom} from '/common/texts.js';
import {KINDS, keyOf} from '/world.js';
import {Grid} from '/grid.js';
import {KeypadDialog} from '/keypad-dialog.js';
import {hexOf} from '/sound.js';

const texts = classroom.keypads;

/// One action for each kind among keypads.
export function byKind(keypads, action) {
  return KINDS.map((kind) => keypads.filter((keypad) => keypad.kind === kind))
    .filter((some) => some.length > 0)
    .map((some) => ({...action, kind: some[0].kind, keypads: some.map((keypad) => keypad.keypad)}));
}

export class Keypads {
  /// `act(action)` does an action and says what became of it.
  constructor(world, act) {
    this.world = world;
    this.act = act;
    const one = (keypad) => ({kind: keypad.kind, keypad: keypad.keypad});
    this.dialog = new KeypadDialog(world, act);
    this.grid = new Grid(world, {
      press: (keypad, key) => act({do: 'key', ...one(keypad), key}),
      toggle: (keypad) => act({do: keypad.connected ? 'leave' : 'connect', ...one(keypad)}),
      speak: (keypad) => act({do: 'audio', ...one(keypad), make: 'tone', ms: 1500}),
      open: (keypad) => this.dialog.open(keypad),
      select: (keypad, on) => this.#select([keypad], on),
      selectAll: () => this.#select(this.grid.items, true),
      drop: async (keypad, file) => file && act({do: 'audio', ...one(keypad), hex: await hexOf(file)}),
    });
    this.kind = select([['', texts.all], ...KINDS], {onchange: () => this.update()});
    this.onlyOn = h('input', {type: 'checkbox', onchange: () => this.update()});
    this.find = h('input', {type: 'number', min: 1, required: true});
    this.none = h('p', {class: 'hint'}, texts.none);
    this.count = h('span', {class: 'hint count'});
    this.chosen = h('span', {class: 'hint'});
    this.changed = () => {};
    const move = (what) => () => {
      const chosen = this.selected();
      if (chosen.length > 0) {
        act(byKind(chosen, {do: what}));
      }
    };
    this.element = h('section', {class: 'panel stack', id: 'keypads', 'aria-labelledby': 'keypads-title'},
      h('h2', {id: 'keypads-title'}, texts.heading),
      h('div', {class: 'row'}, field(texts.show, this.kind), choice(texts.onlyOn, this.onlyOn),
        form({class: 'row'}, () => {
          const number = Number(this.find.value);
          if (!this.grid.goTo(this.grid.items.findIndex((keypad) => keypad.keypad === number))) {
            act(new Error(texts.notThere(number)));
          }
        }, field(texts.find, this.find), h('button', {type: 'submit'}, texts.go)), this.count),
      this.none, this.grid.element,
      h('p', {class: 'hint'}, texts.help),
      h('div', {class: 'row'}, button(texts.selectAll, () => this.#select(this.grid.items, true)),
        button(texts.selectNone, () => this.#select([...world.keypads.values()], false)), this.chosen,
        button(texts.logOnSelected, move('connect')), button(texts.logOffSelected, move('leave'))),
      this.#logOn(), this.dialog.element);
    this.draw = oncePerFrame(() => this.update());
  }

  #logOn() {
    const kind = select(KINDS);
    const number = (value) => h('input', {type: 'number', min: 1, max: 4294967295, value, required: true});
    const from = number(1);
    const to = number(30);
    return form({class: 'row', 'aria-label': texts.logOn}, () => this.act({
      do: 'connect', kind: kind.value, from: Number(from.value), to: Number(to.value),
    }), field(texts.kind, kind), field(texts.from, from), field(texts.to, to), h('button', {type: 'submit'}, texts.logOn));
  }

  #select(keypads, on) {
    for (const keypad of keypads) {
      this.grid.selected[on ? 'add' : 'delete'](keyOf(keypad));
    }
    this.update();
  }

  selected() {
    return [...this.grid.selected].map((key) => this.world.keypads.get(key)).filter(Boolean);
  }

  /// Those that are logged on and shown.
  present() {
    return this.grid.items.filter((keypad) => keypad.connected);
  }

  update() {
    const all = [...this.world.keypads.values()];
    this.grid.show(all.filter((keypad) => (!this.kind.value || keypad.kind === this.kind.value) &&
      (!this.onlyOn.checked || keypad.connected)));
    this.none.hidden = all.length > 0;
    this.grid.element.hidden = this.grid.items.length === 0;
    setText(this.count, classroom.count(all.filter((keypad) => keypad.connected).length, all.length));
    setText(this.chosen, texts.selected(this.selected().length));
    this.dialog.update();
    this.changed();
  }
}
