// What a keypad can be let say, as a form and as keys of the action "audio".
import {h, field, select, choice} from '/common/dom.js';
import {classroom} from '/common/texts.js';

const texts = classroom.dialog;

/// The bytes of a file as the action takes them.
export async function hexOf(file) {
  const bytes = new Uint8Array(await file.arrayBuffer());
  const digits = Array.from({length: 256}, (_, byte) => byte.toString(16).padStart(2, '0'));
  return Array.from(bytes, (byte) => digits[byte]).join('');
}

export class Sound {
  constructor() {
    this.what = select(Object.entries(texts.sounds));
    this.milliseconds = h('input', {type: 'number', min: 0, max: 600000, value: 1500, required: true});
    this.hertz = h('input', {type: 'number', min: 1, max: 8000, value: 440, required: true});
    this.file = h('input', {type: 'file', accept: '.wav,audio/wav'});
    const fields = {
      milliseconds: field(texts.milliseconds, this.milliseconds),
      hertz: field(texts.hertz, this.hertz),
      file: field(texts.file, this.file),
    };
    this.element = h('div', {class: 'row'}, field(texts.what, this.what), Object.values(fields));
    const show = () => {
      const what = this.what.value;
      fields.file.hidden = what !== 'wav';
      fields.milliseconds.hidden = what === 'wav';
      fields.hertz.hidden = what !== 'tone';
    };
    this.what.addEventListener('change', show);
    show();
  }

  /// Raises an error with words for people where there is no file.
  async keys() {
    const make = this.what.value;
    if (make === 'wav') {
      if (!this.file.files[0]) {
        throw new Error(texts.noFile);
      }
      return {hex: await hexOf(this.file.files[0])};
    }
    const keys = {make, ms: Number(this.milliseconds.value)};
    return make === 'tone' ? {...keys, hz: Number(this.hertz.value)} : keys;
  }
}

/// The two sides of a recording that a receiver adds: an error or a mark at the station, lost packages at the others.
export class Flaws {
  constructor() {
    this.error = h('input', {type: 'checkbox'});
    this.invalid = h('input', {type: 'checkbox'});
    this.lost = h('input', {type: 'number', min: 0, max: 1, step: 'any', value: 0});
    this.station = h('div', {class: 'switches'}, choice(texts.error, this.error), choice(texts.invalid, this.invalid));
    this.usb = field(texts.lost, this.lost);
    this.element = h('div', {}, this.station, this.usb);
  }

  show(kind) {
    this.station.hidden = kind !== 'RV2';
    this.usb.hidden = kind === 'RV2';
  }

  keys(kind) {
    return kind === 'RV2' ? {error: this.error.checked, valid: !this.invalid.checked} : {lost: Number(this.lost.value)};
  }
}
