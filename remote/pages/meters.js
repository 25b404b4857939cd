// Level meters: a canvas for each row, drawn only while it can be seen and only when what it shows has changed.

const kMeterBottom = -60;   // dB, the left end; the right end is 0
const kMeterTicks = [0, -20, -40, -60, -10, -6];  // the order in which labels get their place
const kPeakHold = 1.5;      // seconds
const kPeakFall = 20;       // dB a second
const kGlide = 0.04;        // seconds, time constant between two messages
const kNumberEvery = 200;   // ms between two changes of a number, so that it can be read

const partOf = (db) => Math.min(1, Math.max(0, 1 - db / kMeterBottom));
const hasSignal = (db) => db >= kMeterBottom;
const levelText = (db) => hasSignal(db) ? withMinus(db.toFixed(1)) : 'no signal';

// One level with what is drawn of it.
class Level {
  target = -100;
  shown = -100;
  peak = -100;
  peakAt = 0;  // seconds

  peakNow(now) {
    return this.peak - kPeakFall * Math.max(0, now - this.peakAt - kPeakHold);
  }
  take(db, now) {
    this.target = db;
    if (db >= this.peakNow(now)) {
      this.peak = db;
      this.peakAt = now;
    }
  }
  glide(seconds) {
    const far = this.target - this.shown;
    if (meters.calm || Math.abs(far) < 0.2 || !hasSignal(Math.max(this.target, this.shown))) {
      this.shown = this.target;
    } else {
      this.shown += far * (1 - Math.exp(-seconds / kGlide));
    }
  }
}

const meters = {
  calm: matchMedia('(prefers-reduced-motion: reduce)').matches,
  visible: new Set(),
  byCanvas: new Map(),
  scales: new Map(),  // drawn wells and ticks by size
  frame: 0,
  last: 0,

  begin() {
    const style = getComputedStyle(document.documentElement);
    const colour = (name) => style.getPropertyValue(name).trim();
    this.colours = {text: colour('--text'), soft: colour('--soft'), faint: colour('--faint'), well: colour('--well'),
                    edge: colour('--line'), zones: [[-18, '#2f8f5b'], [-6, '#c9a63f'], [0, '#d9574d']]};
    this.family = style.fontFamily;
    this.rem = parseFloat(style.fontSize);
    this.watcher = new IntersectionObserver((entries) => {
      for (const {target, isIntersecting} of entries) {
        const meter = this.byCanvas.get(target);
        if (meter && isIntersecting) {
          this.visible.add(meter);
          meter.drawn = '';
        } else if (meter) {
          this.visible.delete(meter);
        }
      }
      this.wake();
    }, {rootMargin: '80px'});
    this.sizes = new ResizeObserver((entries) => {
      this.rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
      for (const {target, contentRect} of entries) {
        this.byCanvas.get(target)?.resize(contentRect.width, contentRect.height);
      }
      this.wake();
    });
    // Readers are told less often than the picture moves, and only about what can be seen.
    setInterval(() => {
      for (const meter of this.visible) {
        meter.describe();
      }
    }, 1000);
  },
  add(meter) {
    this.byCanvas.set(meter.canvas, meter);
    this.watcher.observe(meter.canvas);
    this.sizes.observe(meter.canvas);
  },
  remove(meter) {
    this.byCanvas.delete(meter.canvas);
    this.visible.delete(meter);
    this.watcher.unobserve(meter.canvas);
    this.sizes.unobserve(meter.canvas);
  },
  // Frames are asked for only as long as something moves.
  wake() {
    if (!this.frame) {
      this.last = performance.now();
      this.frame = requestAnimationFrame((now) => this.step(now));
    }
  },
  step(now) {
    const seconds = Math.min(0.1, Math.max(0, (now - this.last) / 1000));
    this.last = now;
    let moving = false;
    for (const meter of this.visible) {
      moving = meter.draw(now, seconds) || moving;
    }
    this.frame = moving ? requestAnimationFrame((next) => this.step(next)) : 0;
  },
  // The wells with their ticks are the same for all meters of a size.
  scale(width, height, ratio) {
    const key = `${width} ${height} ${ratio}`;
    let picture = this.scales.get(key);
    if (!picture) {
      picture = make('canvas', {width: Math.round(width * ratio), height: Math.round(height * ratio)});
      const pen = picture.getContext('2d');
      pen.scale(ratio, ratio);
      const at = meterGeometry(width, height);
      pen.fillStyle = this.colours.well;
      pen.fillRect(at.left, at.inTop, at.length, at.inHeight);
      pen.fillRect(at.left, at.outTop, at.length, at.outHeight);
      pen.font = `${at.small}px ${this.family}`;
      pen.textAlign = 'center';
      pen.textBaseline = 'alphabetic';
      const taken = [];
      for (const db of kMeterTicks) {
        const x = at.left + partOf(db) * at.length;
        pen.fillStyle = this.colours.faint;
        pen.fillRect(Math.min(x, at.left + at.length - 1), at.outTop + at.outHeight + 1, 1, 3);
        const label = withMinus(String(db));
        const half = pen.measureText(label).width / 2 + 3;
        const middle = Math.min(Math.max(x, at.left + half - 3), at.left + at.length - half + 3);
        if (taken.every(([from, to]) => middle + half <= from || middle - half >= to)) {
          taken.push([middle - half, middle + half]);
          pen.fillText(label, middle, height - 1);
        }
      }
      this.scales.set(key, picture);
      if (this.scales.size > 40) {
        this.scales.delete(this.scales.keys().next().value);
      }
    }
    return picture;
  },
};

// Numbers on the left, the bars with their scale beside them. A high meter is for reading from afar: it gives the room
// to the level and its bar, less of it to the scale.
function meterGeometry(width, height) {
  const high = height > 3.5 * meters.rem;
  const small = height * (high ? 0.22 : 0.28);
  const large = height * 0.42;
  const left = Math.round(Math.max(large * 3.1, small * 4.9)) + 8;
  const inHeight = Math.round(height * (high ? 0.4 : 0.32));
  return {left, length: Math.max(20, width - left - 2), small, large, inTop: 2, inHeight, outTop: inHeight + 5,
          outHeight: Math.max(3, Math.round(height * 0.12)), baseline: 2 + inHeight / 2 + large * 0.36};
}

class Meter {
  constructor(canvas, name) {
    this.canvas = canvas;
    this.name = name;  // function that gives what is metered
    this.pen = canvas.getContext('2d');
    this.input = new Level();
    this.output = new Level();
    this.drawn = '';
    this.numbers = ['', ''];
    this.numbersAt = 0;
    this.width = 0;
    canvas.setAttribute('role', 'meter');
    canvas.setAttribute('aria-valuemin', String(kMeterBottom));
    canvas.setAttribute('aria-valuemax', '0');
    meters.add(this);
  }
  take(input, output) {
    const now = performance.now() / 1000;
    this.input.take(input, now);
    this.output.take(output, now);
  }
  resize(width, height) {
    const ratio = devicePixelRatio || 1;
    if (width !== this.width || height !== this.height || ratio !== this.ratio) {
      Object.assign(this, {width, height, ratio, drawn: ''});
      this.canvas.width = Math.round(width * ratio);
      this.canvas.height = Math.round(height * ratio);
    }
  }
  describe() {
    const db = this.input.target;
    setAttribute(this.canvas, 'aria-valuenow', String(Math.max(kMeterBottom, Math.min(0, Math.round(db)))));
    setAttribute(this.canvas, 'aria-valuetext',
        `${levelText(db)}${hasSignal(db) ? ' dB' : ''} in, ${levelText(this.output.target)} out`);
    setAttribute(this.canvas, 'aria-label', `Level of ${this.name()}`);
  }
  // True while there is more to come.
  draw(now, seconds) {
    if (!this.width) {
      return false;
    }
    this.input.glide(seconds);
    this.output.glide(seconds);
    if (now - this.numbersAt > kNumberEvery) {
      const out = this.output.target;
      const next = [levelText(this.input.target), hasSignal(out) ? levelText(out) : '\u2013'];
      if (next.join() !== this.numbers.join()) {
        this.numbers = next;
        this.numbersAt = now;
      }
    }
    const at = meterGeometry(this.width, this.height);
    const levels = [this.input, this.output].map((level) => {
      const peak = level.peakNow(now / 1000);
      return [Math.round(partOf(level.shown) * at.length * this.ratio) / this.ratio,
              hasSignal(peak) ? Math.round(partOf(peak) * at.length * this.ratio) / this.ratio : -1];
    });
    const picture = `${levels.join()} ${this.numbers.join()}`;
    if (picture !== this.drawn) {
      this.drawn = picture;
      this.paint(at, levels);
    }
    return [this.input, this.output].some(
        (level) => level.shown !== level.target || hasSignal(level.peakNow(now / 1000)));
  }
  paint(at, levels) {
    const {pen} = this;
    const {colours} = meters;
    pen.setTransform(1, 0, 0, 1, 0, 0);
    pen.clearRect(0, 0, this.canvas.width, this.canvas.height);
    pen.drawImage(meters.scale(this.width, this.height, this.ratio), 0, 0);
    pen.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    const bars = [[at.inTop, at.inHeight], [at.outTop, at.outHeight]];
    levels.forEach(([length, peak], index) => {
      const [top, height] = bars[index];
      let from = 0;
      for (const [upTo, colour] of colours.zones) {
        const to = Math.min(length, partOf(upTo) * at.length);
        if (to > from) {
          pen.fillStyle = colour;
          pen.fillRect(at.left + from, top, to - from, height);
          from = to;
        }
      }
      if (peak >= 0) {
        pen.fillStyle = '#ffffff';
        pen.fillRect(at.left + Math.min(peak, at.length - 2), top, 2, height);
      }
    });
    pen.textAlign = 'right';
    pen.textBaseline = 'alphabetic';
    const quiet = this.numbers[0] === 'no signal';
    pen.fillStyle = quiet ? colours.soft : colours.text;
    pen.font = `${quiet ? at.small : at.large}px ${meters.family}`;
    pen.fillText(this.numbers[0], at.left - 8, at.baseline);
    pen.fillStyle = colours.soft;
    pen.font = `${at.small}px ${meters.family}`;
    pen.fillText(this.numbers[1], at.left - 8, this.height - 1);
  }
}
