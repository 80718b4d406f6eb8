// The whole log on one strip: where questions stood, where presses were silent, and what the lanes show of it.
import {h, oncePerFrame} from '/common/dom.js';
import {texts} from './texts.js';
import {prepare} from './marks.js';

const HEIGHT = 40;

export class Overview {
  constructor(log, view, plot) {
    this.log = log;
    this.view = view;
    this.plot = plot;
    this.canvas = h('canvas', {'aria-hidden': 'true'});
    this.element = h('div', {class: 'overview', title: texts.overview}, this.canvas);
    this.draw = oncePerFrame(() => this.#draw());
    new ResizeObserver(() => this.draw()).observe(this.element);
    let held = null;  // where in the frame it is held
    const time = (event) => {
      const box = this.element.getBoundingClientRect();
      return (event.clientX - box.left - this.#left) / this.#width * this.log.duration;
    };
    this.element.addEventListener('pointerdown', (event) => {
      const at = time(event);
      const half = this.view.length / 2;
      held = at >= this.view.begin && at <= this.view.end && !this.view.isWhole ? at - this.view.begin - half : 0;
      this.element.setPointerCapture(event.pointerId);
      this.#center(at - held);
    });
    this.element.addEventListener('pointermove', (event) => held !== null && this.#center(time(event) - held));
    for (const name of ['pointerup', 'pointercancel']) {
      this.element.addEventListener(name, () => { held = null; });
    }
    this.element.addEventListener('wheel', (event) => {
      const middle = time(event);
      this.#center(middle);
      this.view.zoom(Math.exp(Math.max(-200, Math.min(200, event.deltaY)) * 0.003));
      event.preventDefault();
    }, {passive: false});
  }

  get #left() {
    return this.plot.gutter;
  }

  get #width() {
    return Math.max(1, this.element.clientWidth - this.#left - 8);
  }

  #center(time) {
    const half = this.view.length / 2;
    this.view.show(time - half, time + half);
  }

  #draw() {
    const {log, view} = this;
    const {colours} = this.plot;
    const context = prepare(this.canvas, this.element.clientWidth, HEIGHT);
    const x = (time) => this.#left + time / log.duration * this.#width;
    context.fillStyle = colours.panel;
    context.fillRect(this.#left, 0, this.#width, HEIGHT);
    for (const lane of log.lanes) {
      if (lane.isKeypad || lane.things[0]?.kindName !== 'question') {
        continue;
      }
      context.fillStyle = colours.question;
      context.globalAlpha = 0.55;
      let last = -Infinity;
      for (const thing of lane.things) {
        const [from, to] = [x(thing.begin), Math.max(x(thing.end), x(thing.begin) + 1)];
        if (to > last + 0.5) {
          context.fillRect(Math.max(from, last), HEIGHT - 12, to - Math.max(from, last), 8);
          last = to;
        }
      }
      context.globalAlpha = 1;
    }
    // Silent presses as a heap over each pixel.
    const heaps = new Map();
    for (const thing of log.found) {
      const at = Math.round(x(thing.begin));
      const heap = heaps.get(at) ?? {count: 0, worst: thing};
      ++heap.count;
      heap.worst = thing.weight > heap.worst.weight ? thing : heap.worst;
      heaps.set(at, heap);
    }
    for (const [at, {count, worst}] of heaps) {
      const high = Math.min(HEIGHT - 14, 5 + 4 * Math.log2(count + 1));
      context.fillStyle = colours[worst.stateName] ?? colours.press;
      context.fillRect(at - 1, HEIGHT - 14 - high, 2, high);
    }
    const [from, to] = [Math.max(this.#left, x(view.begin)), Math.min(this.#left + this.#width, x(view.end))];
    context.fillStyle = colours.paper;
    context.globalAlpha = 0.7;
    context.fillRect(this.#left, 0, from - this.#left, HEIGHT);
    context.fillRect(to, 0, this.#left + this.#width - to, HEIGHT);
    context.globalAlpha = 1;
    context.strokeStyle = colours.accent;
    context.lineWidth = 2;
    context.strokeRect(from + 1, 1, Math.max(3, to - from - 2), HEIGHT - 2);
  }
}
