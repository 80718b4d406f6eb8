// The stretch of time that is drawn, in milliseconds from the log's begin.

const LEAST = 20;
const STEPS = [1, 2, 5, 10, 20, 50, 100, 200, 500, 1e3, 2e3, 5e3, 10e3, 15e3, 30e3, 60e3, 120e3, 300e3, 600e3, 900e3, 1800e3, 3600e3,
  7200e3, 14400e3, 21600e3, 43200e3, 86400e3, 172800e3, 604800e3];

export class View {
  constructor(duration, changed) {
    // A little room at both ends, so that what stands there can be seen.
    this.room = Math.max(LEAST / 4, duration * 0.01);
    this.duration = duration;
    this.changed = changed;
    this.begin = -this.room;
    this.end = duration + this.room;
    this.width = 1;
  }

  get length() {
    return this.end - this.begin;
  }

  /// The part of it that lies in the log.
  get shown() {
    return [Math.max(0, this.begin), Math.min(this.duration, this.end)];
  }

  get isWhole() {
    return this.length >= this.duration + 2 * this.room - 1e-6;
  }

  x(time) {
    return (time - this.begin) / this.length * this.width;
  }

  time(x) {
    return this.begin + x / this.width * this.length;
  }

  show(begin, end) {
    const most = this.duration + 2 * this.room;
    const length = Math.min(most, Math.max(LEAST, end - begin));
    const middle = (begin + end) / 2;
    this.begin = Math.min(Math.max(middle - length / 2, -this.room), this.duration + this.room - length);
    this.end = this.begin + length;
    this.changed();
  }

  showAll() {
    this.show(-this.room, this.duration + this.room);
  }

  /// Zooms by a factor below 1 in, above 1 out; the time at `x` stays where it is.
  zoom(factor, x = this.width / 2) {
    const time = this.time(x);
    const length = Math.min(this.duration + 2 * this.room, Math.max(LEAST, this.length * factor));
    const begin = time - x / this.width * length;
    this.show(begin, begin + length);
  }

  /// Moves by pixels.
  move(pixels) {
    const time = pixels / this.width * this.length;
    this.show(this.begin + time, this.end + time);
  }

  /// Brings a stretch of time into view, no further away than `most`.
  reveal(begin, end, most) {
    const length = Math.min(this.length, Math.max(most, (end - begin) * 1.5));
    if (length < this.length || begin < this.begin + length * 0.05 || end > this.end - length * 0.05) {
      // Of what is longer than the view, its begin.
      const middle = end - begin > length ? begin + length * 0.4 : (begin + end) / 2;
      this.show(middle - length / 2, middle + length / 2);
    }
  }

  /// Times for the axis, at least `pixels` from one another.
  ticks(origin, pixels) {
    const least = pixels / this.width * this.length;
    const step = STEPS.find((one) => one >= least) ?? Math.ceil(least / 604800e3) * 604800e3;
    const ticks = [];
    for (let time = Math.ceil((origin + this.begin) / step) * step; time <= origin + this.end; time += step) {
      ticks.push(time - origin);
    }
    return {step, ticks};
  }
}
