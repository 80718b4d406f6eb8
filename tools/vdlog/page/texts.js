// All texts of the page, in one place. What the log says comes with its data.

const counted = (number, one, many) => `${number.toLocaleString('en')} ${number === 1 ? one : many}`;

export const texts = {
  title: 'Timeline',
  skip: 'Skip to the lanes',
  files: (files) => files.join(', '),
  redacted: 'texts are left out (--redact)',
  narrowed: (options) => `a part of the log: ${options}`,
  total: (silent, presses) => `${counted(silent, 'silent press or recording', 'silent presses and recordings')} among ${
    counted(presses, 'press and recording', 'presses and recordings')}`,
  empty: 'There is nothing to draw: no line of the log is in the part that was asked for.',
  tools: 'Tools',
  search: 'Search',
  searchHint: 'Words, a keypad\'s number, a "custom"',
  silent: 'Silent presses only',
  run: 'Go to',
  all: 'All of it',
  runOf: (name, begin, end) => `${begin} to ${end}${name ? `, version ${name}` : ''}`,
  zoomIn: 'Zoom in',
  zoomOut: 'Zoom out',
  whole: 'Whole',
  previous: 'Previous',
  next: 'Next',
  plot: 'Lanes',
  plotHelp: 'Arrow keys left and right go from one thing to the next in a lane, up and down to another lane. Plus and minus zoom, ' +
    'Shift with an arrow moves the view, Home shows all, N and P go to the next and the previous one in the list.',
  plotHint: 'Drag to move, Ctrl and wheel to zoom, wheel to scroll; two fingers zoom. The wheel zooms over the times, too.',
  overview: 'The whole log; what is drawn below is framed. Drag to move.',
  legend: 'What is drawn',
  marks: {
    press: 'press that became an event',
    silent: 'silent press or recording',
    held: 'letter that waits for T',
    surprise: 'event that may surprise',
    failed: 'without effect, or down',
    asked: 'asked, and answered',
    unanswered: 'asked, without an answer',
    logged: 'logged on',
  },
  list: {
    heading: 'What stands out',
    found: 'Found',
    label: 'List',
    reason: 'Reason',
    standsOut: 'all that stands out',
    ofReason: (title, count) => `${title} (${count.toLocaleString('en')})`,
    count: (at, count) => count === 0 ? 'none' : at < 0 ? counted(count, 'entry', 'entries') :
      `${(at + 1).toLocaleString('en')} of ${count.toLocaleString('en')}`,
    none: 'Nothing of this kind is in the log, or nothing fits the search.',
  },
  detail: {
    heading: 'What is chosen',
    nothing: 'Choose something on a lane or in the list: here stand the sentence and the log\'s lines that prove it.',
    reasons: 'Reasons in this log',
    span: (begin, end) => `${begin} to ${end}`,
    lines: 'Lines of the log',
    noLines: 'The log\'s lines behind it are not in this page.',
    line: (line) => `line ${line}`,
    fileLine: (file, line) => `file ${file}, line ${line}`,
    zoom: 'Show it closer',
  },
};
