// The classroom as the page knows it: what its server told last, and who wants to hear of it.

export const KINDS = ['RV2', 'TQ1', 'TQ2', 'RV1', 'LW'];
export const USB_KINDS = ['TQ1', 'TQ2', 'RV1', 'LW'];

/// Keys by their numbers, as pupils know them.
export const KEY_NAMES = {1: 'A', 2: 'B', 3: 'C', 4: 'D', 5: 'T', 6: 'F', 7: 'T2', 8: 'F2', 9: 'G'};

export const keyOf = (keypad) => `${keypad.kind} ${keypad.keypad}`;

export class World {
  constructor() {
    this.forget();
  }

  /// Before the first word of another run of the host.
  forget() {
    this.state = null;
    this.keypads = new Map();
    this.asked = {};
    this.clock = 0;
  }

  takeKeypads({ms, keypads}) {
    // The classroom's clock on ours.
    this.clock = performance.now() - ms;
    let news = false;
    for (const keypad of keypads) {
      const key = keyOf(keypad);
      news ||= !this.keypads.has(key);
      this.keypads.set(key, keypad);
    }
    if (news) {
      const order = (keypad) => KINDS.indexOf(keypad.kind);
      this.keypads = new Map([...this.keypads].sort(([, one], [, other]) =>
        order(one) - order(other) || one.keypad - other.keypad));
    }
  }

  takeSaw(records) {
    for (const record of records) {
      if (!record.call.startsWith('->')) {
        this.asked[record.object] = record;
      }
    }
  }

  /// The last call to an object of this kind: objects are numbered as they are made.
  lastAsked(name) {
    return Object.values(this.asked).filter((record) => record.object.startsWith(`${name} `))
      .reduce((last, record) => (!last || record.n > last.n ? record : last), null);
  }

  /// Milliseconds for which a signal of lamp, motor or beeper still runs. Units are the receivers' own; a tenth of a
  /// second is what people can follow, between one second and ten.
  remains(signal) {
    if (!signal || signal.times === 0 || signal.duration === 0) {
      return 0;
    }
    const units = Math.max(1, signal.times) * Math.max(1, signal.duration + signal.interval);
    return this.clock + signal.ms + Math.min(100, Math.max(10, units)) * 100 - performance.now();
  }
}
