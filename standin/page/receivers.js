// The base station and the receivers that are plugged in, each with its switches and what the library asked of it last.
import {h, button, choice, toggle, setText} from '/common/dom.js';
import {classroom} from '/common/texts.js';
import {USB_KINDS} from '/world.js';

const texts = classroom.receivers;

class Facts {
  constructor(keys) {
    this.values = Object.fromEntries(keys.map((key) => [key, h('dd')]));
    this.element = h('dl', {class: 'facts'}, keys.map((key) => [h('dt', {}, texts.facts[key]), this.values[key]]));
  }

  set(values) {
    for (const [key, value] of Object.entries(values)) {
      setText(this.values[key], value);
    }
  }
}

/// A call in one line, as short as it can be told.
export function callLine(record) {
  const show = (value) => (value && typeof value === 'object' && 'text' in value ? JSON.stringify(value.text)
    : JSON.stringify(value));
  const args = Object.entries(record.args).map(([key, value]) => `${key}=${show(value)}`).join(' ');
  const result = 'result' in record ? ` → ${JSON.stringify(record.result)}` : '';
  return `${record.call} ${args}${result}`.trim();
}

const asked = (record) => (record ? callLine(record) : texts.never);

class StationPanel {
  constructor(world, act) {
    this.world = world;
    const doit = (keys) => act({do: 'station', ...keys});
    this.states = Object.fromEntries(Object.entries(texts.stationStates).map(([state, label]) => {
      const control = h('input', {type: 'radio', name: 'station-state', value: state, onchange: () => doit({state})});
      return [state, {control, element: choice(label, control)}];
    }));
    this.refuses = toggle(texts.refuses, (on) => doit({socket: on ? 'refuse' : 'ok'}));
    this.announces = toggle(texts.announces, (announce) => doit({announce}));
    this.facts = new Facts(['open', 'session', 'question', 'asked']);
    this.element = h('article', {class: 'receiver', 'aria-labelledby': 'RV2-title'},
      h('h3', {id: 'RV2-title'}, texts.station),
      h('fieldset', {}, h('legend', {}, texts.stationState),
        h('div', {class: 'switches'}, Object.values(this.states).map(({element}) => element))),
      h('div', {class: 'switches'}, this.refuses.element, this.announces.element), this.facts.element);
  }

  update() {
    const {station} = this.world.state;
    for (const [state, {control}] of Object.entries(this.states)) {
      control.checked = state === station.state;
    }
    this.refuses.set(station.socket === 'refuse');
    this.announces.set(station.announce);
    this.facts.set({
      open: station.open ? texts.opened : texts.closed,
      session: station.enabled ? texts.enabled : station.session ? texts.running : texts.none,
      question: station.question?.name ?? texts.none,
      asked: asked(this.world.lastAsked('station')),
    });
  }
}

class UsbPanel {
  constructor(kind, world, act) {
    this.kind = kind;
    this.world = world;
    this.plugged = toggle(texts.plugged, (on) => act({do: on ? 'plug' : 'unplug', kind}));
    this.link = toggle(texts.link, (on) => act({do: 'link', kind, state: on ? 'up' : 'down'}));
    this.staysDown = h('input', {type: 'checkbox'});
    this.accepts = toggle(texts.accepts, (accepts) => act({do: 'channel', kind, accepts}));
    this.error = button(texts.ioError, () => act({do: 'io-error', kind, stays_down: this.staysDown.checked}));
    this.channel = h('dd');
    this.facts = new Facts(['connected', 'listener', 'binding', 'question', 'asked']);
    this.facts.element.append(h('dt', {}, texts.channel), this.channel);
    this.element = h('article', {class: 'receiver', 'aria-labelledby': `${kind}-title`},
      h('h3', {id: `${kind}-title`}, texts.usb(kind)),
      h('div', {class: 'switches'}, this.plugged.element, this.link.element, this.accepts.element),
      h('div', {class: 'row'}, this.error, choice(texts.staysDown, this.staysDown)), this.facts.element);
  }

  update() {
    const receiver = this.world.state.receivers[this.kind];
    this.plugged.set(receiver.plugged);
    this.link.set(receiver.link === 'up');
    this.accepts.set(receiver.accepts_channel);
    this.error.disabled = !receiver.plugged;
    setText(this.channel, receiver.channel === null ? texts.unknown : String(receiver.channel));
    this.facts.set({
      connected: receiver.connected ? texts.yes : texts.no,
      listener: receiver.listener ? texts.there : texts.none,
      binding: receiver.binding ? texts.allowed : texts.notAllowed,
      question: receiver.question?.name ?? texts.none,
      asked: asked(this.world.lastAsked(this.kind)),
    });
  }
}

export class Receivers {
  constructor(world, act) {
    this.world = world;
    this.panels = [new StationPanel(world, act), ...USB_KINDS.map((kind) => new UsbPanel(kind, world, act))];
    this.element = h('section', {class: 'panel', id: 'receivers', 'aria-labelledby': 'receivers-title'},
      h('h2', {id: 'receivers-title'}, texts.heading),
      h('div', {class: 'receivers'}, this.panels.map((panel) => panel.element)));
  }

  update() {
    if (this.world.state) {
      this.panels.forEach((panel) => panel.update());
    }
  }
}
