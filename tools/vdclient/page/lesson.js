// What the messages tell of the lesson: who is there, what was asked, who has answered what.
import {teacher} from '/common/texts.js';

const texts = teacher.answers;
const ANSWERS = ['key-pressed', 'audio-recognized', 'voice-evaluated', 'evaluated', 'voice-record'];
/// Types to which a pupil may answer again and again, each press an answer.
const AGAIN = ['continous-red-envelope', 'general', 'multiple-question-single-choice'];

/// Under which bar an answer stands.
function labelOf(event) {
  switch (event.event) {
    case 'key-pressed':
      return event.key;
    case 'audio-recognized':
      return event.data.result || texts.empty;
    case 'voice-evaluated':
      return event.data.score < 0 ? texts.unusable(event.data.score) : texts.points(Math.floor(event.data.score / 10) * 10);
    case 'evaluated': {
      const overall = event.data.raw_result?.overall ?? event.data.raw_result?.score;
      return event.data.error < 0 ? texts.unusable(event.data.error)
        : typeof overall === 'number' ? texts.points(Math.floor(overall / 10) * 10) : texts.recorded;
    }
    default:
      return texts.recorded;
  }
}

/// Numbers of keypads in their shortest form: 1–12, 14.
export function ranges(devices) {
  const numbers = [...devices].map(Number).sort((one, other) => one - other);
  const parts = [];
  for (let i = 0; i < numbers.length; ++i) {
    const first = numbers[i];
    while (numbers[i + 1] === numbers[i] + 1) {
      ++i;
    }
    parts.push(first === numbers[i] ? `${first}` : `${first}\u2013${numbers[i]}`);
  }
  return parts.join(', ');
}

export class Lesson {
  constructor() {
    this.forget();
  }

  forget() {
    this.present = new Set();
    this.inited = null;
    this.question = null;
  }

  take({kind, message}) {
    if (kind === 'sent') {
      this.#sent(message);
    } else if (message.event === 'activated') {
      this.present.add(message.device);
    } else if (message.event === 'inactivated') {
      this.present.delete(message.device);
    } else if (message.event === 'device-inited') {
      this.inited = message;
    } else if (ANSWERS.includes(message.event) && this.question) {
      this.#answered(message);
    }
  }

  #sent(command) {
    if (command.command === 'ask') {
      this.question = {
        ask: command,
        stopped: false,
        asked: new Set(command.device === '0' ? this.present : [command.device]),
        answers: new Map(),   // keypad -> label of its last answer
        presses: new Map(),   // label -> number, of those that may answer again and again
        without: new Set(),
      };
    } else if (command.command === 'stop' && this.question) {
      this.question.stopped = true;
    } else if (command.command === 'drop') {
      this.present.delete(command.device);
    }
  }

  #answered(event) {
    const {question} = this;
    const other = event.custom !== (question.ask.custom ?? '');
    const label = labelOf(event);
    if (other || label === '') {
      // A key without a text, or an answer to a question before this one.
      if (!question.answers.has(event.device)) {
        question.without.add(event.device);
      }
      return;
    }
    question.without.delete(event.device);
    question.answers.set(event.device, label);
    question.presses.set(label, (question.presses.get(label) ?? 0) + 1);
  }

  /// The bars of the open question: label, number and keypads of each.
  bars() {
    const {question} = this;
    if (!question) {
      return [];
    }
    const again = AGAIN.includes(question.ask.type);
    const bars = new Map();
    const letters = {'single-choice': 'ABCD', 'true-false': 'TF', 'red-envelope': 'G'}[question.ask.type] ?? '';
    for (const label of [...letters, ...[...question.answers.values()].sort()]) {
      bars.set(label, {label, number: 0, keypads: []});
    }
    for (const [keypad, label] of question.answers) {
      const bar = bars.get(label);
      bar.keypads.push(keypad);
      bar.number = again ? question.presses.get(label) : bar.keypads.length;
    }
    return [...bars.values()];
  }

  silent() {
    const {question} = this;
    return question ? [...question.asked].filter((keypad) => !question.answers.has(keypad) && !question.without.has(keypad)) : [];
  }
}
