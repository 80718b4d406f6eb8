// How things look on a canvas. Each state has a shape of its own, so that colours aren't needed to tell them apart.

const COLOURS = ['paper', 'panel', 'shade', 'edge', 'ink', 'faint', 'accent', 'press', 'silent', 'held', 'surprise', 'failed', 'asked',
  'unanswered', 'logged', 'run', 'connection', 'up', 'question', 'speech', 'on-mark', 'chosen'];

/// The colours of the style sheet, as they are in light or dark.
export function readColours() {
  const style = getComputedStyle(document.documentElement);
  return Object.fromEntries(COLOURS.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]));
}

/// Makes a canvas as large as its place, and gives its context in the units of the page.
export function prepare(canvas, width, height) {
  const ratio = globalThis.devicePixelRatio || 1;
  const [wide, high] = [Math.round(width * ratio), Math.round(height * ratio)];
  if (canvas.width !== wide || canvas.height !== high) {
    canvas.width = wide;
    canvas.height = high;
    canvas.style.width = `${width}px`;
    canvas.style.height = `${height}px`;
  }
  const context = canvas.getContext('2d');
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  context.clearRect(0, 0, width, height);
  return context;
}

/// As much of a text as fits, with a sign where it is cut; empty where nothing readable would be left.
export function fitText(context, text, width) {
  const whole = context.measureText(text).width;
  if (whole <= width) {
    return text;
  }
  const characters = [...text];
  let cut = '';
  let count = Math.floor(characters.length * width / whole);
  do {
    cut = `${characters.slice(0, count--).join('')}\u2026`;
  } while (count > 0 && context.measureText(cut).width > width);
  return count > 0 ? cut : '';
}

function polygon(context, points) {
  context.beginPath();
  points.forEach(([x, y], i) => (i === 0 ? context.moveTo(x, y) : context.lineTo(x, y)));
  context.closePath();
}

/// A moment. `size` is about half its height; a label fits into one of 8 or more.
export function drawMoment(context, colours, state, x, y, size, label = '') {
  switch (state) {
    case 'silent':
      polygon(context, [[x, y - size - 1], [x + size + 1, y], [x, y + size + 1], [x - size - 1, y]]);
      context.fillStyle = colours.silent;
      break;
    case 'surprise':
      polygon(context, [[x, y - size], [x + size, y + size * 0.8], [x - size, y + size * 0.8]]);
      context.fillStyle = colours.surprise;
      break;
    case 'failed':
      context.beginPath();
      context.rect(x - size * 0.8, y - size * 0.8, size * 1.6, size * 1.6);
      context.fillStyle = colours.failed;
      break;
    default:
      context.beginPath();
      context.arc(x, y, state === 'held' ? size - 0.75 : size, 0, 2 * Math.PI);
      context.fillStyle = {held: colours.panel, neutral: colours.run}[state] ?? colours.press;
  }
  context.fill();
  if (state === 'held') {
    context.strokeStyle = colours.held;
    context.lineWidth = 1.5;
    context.stroke();
  }
  if (label && size >= 7) {
    context.fillStyle = state === 'held' ? colours.held : colours['on-mark'];
    context.font = `600 ${label.length > 1 ? 8 : 10}px system-ui, sans-serif`;
    context.textAlign = 'center';
    context.textBaseline = 'middle';
    context.fillText(label.slice(0, 3), x, y + (state === 'surprise' ? 2.5 : 0.5));
  }
}

const BARS = {run: 'run', connection: 'connection', up: 'up', question: 'question', 'speech request': 'speech'};

/// A span, from x to x + width, in a row of that height.
export function drawSpan(context, colours, thing, x, y, width, height) {
  const wide = Math.max(width, 1);
  switch (thing.kindName) {
    case 'logged on':
      context.fillStyle = colours.logged;
      context.fillRect(x, y + height - 3, wide, 2);
      return;
    case 'asked':
      if (thing.stateName === 'unanswered') {
        context.strokeStyle = colours.unanswered;
        context.lineWidth = 1;
        if (wide < 3) {
          context.fillStyle = colours.unanswered;
          context.fillRect(x, y + 4, 1, height - 9);
        } else {
          context.setLineDash([3, 2]);
          context.strokeRect(x + 0.5, y + 4.5, wide - 1, height - 10);
          context.setLineDash([]);
        }
      } else {
        context.fillStyle = colours.asked;
        context.fillRect(x, y + 4, Math.max(1, wide - 1), height - 9);
      }
      return;
    case 'recording':
      context.fillStyle = {silent: colours.silent, surprise: colours.surprise}[thing.stateName] ?? colours.press;
      if (wide < 6) {
        // As moments look, so that it can be seen and met.
        drawMoment(context, colours, thing.stateName, x + wide / 2, y + height / 2 - 0.5, 4);
      } else {
        context.fillRect(x, y + height / 2 - 3, wide, 6);
        if (thing.stateName === 'silent') {
          drawMoment(context, colours, 'silent', x, y + height / 2, 4);
        }
      }
      return;
    default: {
      const failed = thing.stateName !== 'plain';
      context.fillStyle = failed && thing.kindName !== 'connection' ? colours.failed : colours[BARS[thing.kindName]] ?? colours.faint;
      context.fillRect(x, y + 2, Math.max(1, wide - 1), height - 4);
      if (failed && thing.kindName === 'connection') {
        context.fillStyle = colours.failed;
        context.fillRect(x + wide - 3, y + 2, 3, height - 4);
      }
    }
  }
}
