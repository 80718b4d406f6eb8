// The log as the page has it: lanes, the things on them, and what of it is shown.

const DAY = 24 * 60 * 60 * 1000;
const WORST_FIRST = ['silent', 'failed', 'surprise', 'unanswered', 'held', 'plain'];

const two = (number) => String(number).padStart(2, '0');

/// "10:15:30.250". The log has the local time of its machine and no zone: it is shown as it stands.
export function timeText(time, milliseconds = true) {
  const date = new Date(time);
  const text = `${two(date.getUTCHours())}:${two(date.getUTCMinutes())}:${two(date.getUTCSeconds())}`;
  return milliseconds ? `${text}.${String(date.getUTCMilliseconds()).padStart(3, '0')}` : text;
}

export function dateText(time) {
  const date = new Date(time);
  return `${date.getUTCFullYear()}-${two(date.getUTCMonth() + 1)}-${two(date.getUTCDate())}`;
}

export const dayOf = (time) => Math.floor(time / DAY);

/// The first index from which on `fits` is true.
export function firstIndex(count, fits) {
  let low = 0;
  let high = count;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (fits(middle)) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return low;
}

/// Spans by their begin; they may overlap a little. Finds those in a stretch of time without looking at all.
class Layer {
  constructor() {
    this.spans = [];
    this.latest = [];  // end of all spans up to this one
  }

  add(span) {
    this.latest.push(Math.max(this.latest.at(-1) ?? -Infinity, span.end));
    this.spans.push(span);
  }

  forEach(begin, end, visit) {
    for (let i = firstIndex(this.spans.length, (at) => this.latest[at] >= begin); i < this.spans.length; ++i) {
      if (this.spans[i].begin > end) {
        return;
      }
      if (this.spans[i].end >= begin) {
        visit(this.spans[i]);
      }
    }
  }
}

class Lane {
  constructor(index, [group, rows, name]) {
    this.index = index;
    this.group = group;
    this.rows = rows;
    this.name = name;
    this.moments = [];
    this.layers = [];
    this.things = [];
    this.hidden = false;
  }

  add(thing) {
    this.things.push(thing);
    if (thing.isSpan) {
      const layer = this.isKeypad ? thing.kindName : thing.row;
      (this.layers[layer] ??= new Layer()).add(thing);
    } else {
      this.moments.push(thing);
    }
  }

  /// Spans in a stretch of time, those that lie over others last.
  forEachSpan(begin, end, visit) {
    for (const name of this.isKeypad ? ['logged on', 'asked', 'recording'] : this.layers.keys()) {
      this.layers[name]?.forEach(begin, end, visit);
    }
  }

  forEachMoment(begin, end, visit) {
    const moments = this.moments;
    for (let i = firstIndex(moments.length, (at) => moments[at].begin >= begin); i < moments.length && moments[i].begin <= end; ++i) {
      visit(moments[i]);
    }
  }
}

/// Words to look for. A number is a keypad's or stands in a "custom": sentences are full of times and counts. It is a whole
/// one: 7 isn't 17.
function wordsOf(text) {
  return text.toLowerCase().replace(/\bkeypad\s+(?=\d)/g, 'keypad\u00a0').split(/[ \t]+/).filter(Boolean)
    .map((word) => /^(keypad\u00a0)?\d+$/.test(word) ? new RegExp(`(?<!\\d)${word.replace('\u00a0', ' ')}(?!\\d)`) : word);
}

export class Log {
  #words = [];
  #silentOnly = false;
  #reason = -1;

  constructor(data) {
    this.data = data;
    this.origin = data.begin;
    this.duration = Math.max(1, data.end - data.begin);
    const keypads = data.groups.indexOf('Keypads');
    this.lanes = data.lanes.map((lane, index) => {
      const made = new Lane(index, lane);
      made.isKeypad = made.group === keypads;
      return made;
    });
    this.things = data.things.map(([lane, row, kind, state, reason, begin, duration, label, sentence, lines], index) => {
      const thing = {
        index, lane: this.lanes[lane], row, kindName: data.kinds[kind], stateName: data.states[state], reason, begin,
        isSpan: duration >= 0, end: begin + Math.max(0, duration), label, sentence, lines, search: '',
      };
      thing.weight = WORST_FIRST.length - WORST_FIRST.indexOf(thing.stateName);
      thing.lane.add(thing);
      return thing;
    });
    this.silent = this.things.filter((thing) => thing.stateName === 'silent');
    this.outstanding = this.things.filter((thing) => thing.lane.group !== data.groups.indexOf('Speech') &&
      ['silent', 'surprise', 'failed'].includes(thing.stateName));
    this.presses = this.things.filter((thing) => ['press', 'recording'].includes(thing.kindName)).length;
    this.runs = this.things.filter((thing) => thing.kindName === 'run');
    this.dim = new Uint8Array(this.things.length);
    this.filter({});
  }

  /// Counts of all reasons that there are, the most frequent first.
  reasons() {
    const counts = new Map();
    for (const thing of this.things) {
      if (thing.reason >= 0 && thing.lane.group !== this.data.groups.indexOf('Speech')) {
        counts.set(thing.reason, (counts.get(thing.reason) ?? 0) + 1);
      }
    }
    return [...counts].sort(([, one], [, other]) => other - one)
      .map(([reason, count]) => ({reason, count, title: this.data.reasons[reason][1]}));
  }

  /// What is asked for: words that all have to be there, silent presses alone, one reason.
  filter({words = '', silentOnly = false, reason = -1}) {
    this.#words = wordsOf(words);
    this.#silentOnly = silentOnly;
    this.#reason = reason;
    const searched = this.#words.length > 0;
    const found = searched || reason >= 0 ? this.things : silentOnly ? this.silent : this.outstanding;
    this.found = found.filter((thing) => (!silentOnly || thing.stateName === 'silent') && this.#fits(thing));
    this.searched = searched;
    this.dim.fill(searched || reason >= 0 ? 1 : 0);
    for (const thing of searched || reason >= 0 ? this.found : []) {
      this.dim[thing.index] = 0;
    }
    const kept = new Set(silentOnly ? this.found.map((thing) => thing.lane) : []);
    for (const lane of this.lanes) {
      lane.hidden = silentOnly && lane.isKeypad && !kept.has(lane);
    }
  }

  #fits(thing) {
    if (this.#reason >= 0 && thing.reason !== this.#reason) {
      return false;
    }
    if (this.#words.length === 0) {
      return true;
    }
    thing.search ||= `${thing.lane.name} ${thing.kindName} ${thing.label} ${thing.sentence} ${
      thing.reason >= 0 ? this.data.reasons[thing.reason].join(' ') : ''}`.toLowerCase();
    return this.#words.every((word) => word instanceof RegExp ? word.test(`${thing.lane.name} ${thing.label}`.toLowerCase())
      : thing.search.includes(word));
  }

  /// Whether a thing is drawn: with silent presses alone, questions stay around them.
  isShown(thing) {
    return !this.#silentOnly || !thing.lane.isKeypad || thing.stateName === 'silent' || thing.kindName === 'asked' ||
      thing.kindName === 'logged on';
  }

  /// Moments and spans that a keypad's lane leads through.
  stepsOf(lane) {
    return lane.things.filter((thing) => this.isShown(thing));
  }

  /// A line of the log: where it stands, and its text.
  line(number) {
    const [file, line, time, thread, level, name, text] = this.data.lines[number];
    return {file, line, text: `[${dateText(this.origin + time)} ${timeText(this.origin + time)}][${this.data.levels[level]}][${
      thread.toString(16).padStart(5, '0')}] ${this.data.functions[name]} ${text}`};
  }

  when(thing, milliseconds = true) {
    return timeText(this.origin + thing.begin, milliseconds);
  }

  get severalDays() {
    return dayOf(this.origin) !== dayOf(this.origin + this.duration);
  }
}
