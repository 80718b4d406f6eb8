// "These thirty answer within five seconds, so many of them B": one script of the classroom for many keypads.
import {h, button, field, form, select, choice, setText} from '/common/dom.js';
import {classroom} from '/common/texts.js';
import {byKind} from '/keypads.js';
import {Sound} from '/sound.js';

const texts = classroom.together;

/// Random numbers from 0 to 1 that are the same for the same seed.
export function chance(seed) {
  let state = seed >>> 0;
  return () => {
    state = (state + 0x6D2B79F5) >>> 0;
    let mixed = Math.imul(state ^ (state >>> 15), state | 1);
    mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
    return ((mixed ^ (mixed >>> 14)) >>> 0) / 4294967296;
  };
}

/// Steps of a script in which all `keypads` answer: `many` of them, picked at random, press `keys`, the others one of the
/// letters of `others`, or nothing where that is empty.
export function answers({keypads, seconds, many, keys, others, commit, seed}) {
  const random = chance(seed);
  const order = keypads.map((keypad) => [random(), keypad]).sort((one, other) => one[0] - other[0]).map(([, keypad]) => keypad);
  const steps = [];
  order.forEach((keypad, i) => {
    const at = Math.floor(random() * seconds * 1000);
    const other = others.length > 0 ? others[Math.floor(random() * others.length)] : '';
    const pressed = i < many ? [...keys] : [...other];
    if (pressed.length > 0) {
      steps.push({at_ms: at, do: 'key', kind: keypad.kind, keypad: keypad.keypad, key: commit ? [...pressed, 'T'] : pressed, wait: false});
    }
  });
  return steps.sort((one, other) => one.at_ms - other.at_ms);
}

export class Together {
  constructor(world, keypads, act) {
    this.world = world;
    this.keypads = keypads;
    this.who = select([['selected', ''], ['on', '']]);
    const within = h('input', {type: 'number', min: 0, max: 3600, step: 'any', value: 5, required: true});
    const many = h('input', {type: 'number', min: 0, value: 20, required: true});
    const keys = h('input', {value: 'B', required: true, pattern: '[ABCDTFGabcdtfg]+', maxlength: 8, size: 4});
    const others = h('input', {value: 'ACD', pattern: '[ABCDTFGabcdtfg]*', maxlength: 8, size: 4});
    const commit = h('input', {type: 'checkbox'});
    const seed = h('input', {type: 'number', min: 0, max: 4294967295, value: 1, required: true});
    const sound = new Sound();
    this.errors = h('p', {class: 'bad'});
    const those = () => {
      const chosen = this.who.value === 'selected' ? keypads.selected() : keypads.present();
      if (chosen.length === 0) {
        act(new Error(texts.nobody));
      }
      return chosen;
    };
    this.element = h('section', {class: 'panel stack', id: 'together', 'aria-labelledby': 'together-title'},
      h('h2', {id: 'together-title'}, texts.heading),
      form({class: 'stack'}, () => {
        const chosen = those();
        if (chosen.length > 0) {
          const seconds = Number(within.value);
          const steps = answers({keypads: chosen, seconds, many: Number(many.value), keys: keys.value.toUpperCase(),
            others: others.value.toUpperCase(), commit: commit.checked, seed: Number(seed.value)});
          act({do: 'script', steps}, texts.runs(steps.length, seconds));
        }
      }, h('div', {class: 'row'}, field(texts.who, this.who), field(texts.within, within), field(texts.howMany, many),
        field(texts.press, keys)),
      h('div', {class: 'row'}, field(texts.others, others, texts.othersHint), field(texts.seed, seed)),
      choice(texts.commit, commit), h('div', {}, h('button', {type: 'submit'}, texts.go))),
      form({class: 'row'}, async () => {
        const chosen = those();
        try {
          const spoken = await sound.keys();
          if (chosen.length > 0) {
            act(byKind(chosen, {do: 'audio', together: true, ...spoken}));
          }
        } catch (error) {
          act(error);
        }
      }, sound.element, button(texts.speak, () => {}, {type: 'submit'})),
      this.errors);
    this.update();
  }

  update() {
    const [selected, on] = this.who.options;
    const number = this.keypads.selected().length;
    setText(selected, texts.whoSelected(number));
    setText(on, texts.whoOn(this.keypads.present().length));
    selected.disabled = number === 0;
    if (number === 0 && this.who.value === 'selected') {
      this.who.value = 'on';
    }
    setText(this.errors, (this.world.state?.scripts ?? []).filter((script) => script.errors.length > 0)
      .map((script) => texts.errors(script)).join('\n'));
  }
}
