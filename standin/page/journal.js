// What crossed between library and libraries, as it comes.
import {Lines} from '/common/lines.js';
import {classroom} from '/common/texts.js';
import {callLine} from '/receivers.js';

const texts = classroom.journal;

export class Journal extends Lines {
  #misuses = 0;

  constructor() {
    super('journal', texts);
  }

  /// Before the first word of another run of the host.
  forget() {
    this.#misuses = 0;
    this.clear();
  }

  takeSaw(records) {
    this.take(records.map((record) => ({
      kind: record.call.startsWith('->') ? 'callbacks' : 'calls',
      value: record,
      text: `${record.n}  ${(record.ms / 1000).toFixed(3)}  ${record.object}  ${callLine(record)}`,
    })));
  }

  /// The whole list; those that it had before aren't taken again.
  takeMisuse(misuses) {
    if (misuses.length < this.#misuses) {
      this.#misuses = 0;
    }
    this.take(misuses.slice(this.#misuses).map((misuse) => ({
      kind: 'misuse',
      value: misuse,
      text: `${texts.misuse}  ${(misuse.ms / 1000).toFixed(3)}  ${misuse.object}  ${misuse.call}: ${misuse.text}`,
    })));
    this.#misuses = misuses.length;
  }
}
