// CPU monitor: what the processors do, for two minutes back, one figure a second.

const kHistory = 120;  // seconds
const kHigh = 80;      // percent, from which on it is one to look at
const kVeryHigh = 95;

class Graph {
  constructor(section, name) {
    this.name = name;
    this.canvas = section.querySelector('canvas');
    this.now = section.querySelector('.now');
    this.most = section.querySelector('.most');
    this.canvas.setAttribute('aria-label', `${name}: no figure yet`);
    this.values = new Array(kHistory).fill(null);  // null where nothing was known
    new ResizeObserver(() => this.draw()).observe(this.canvas);
  }
  add(value) {
    this.values.push(value);
    this.values.shift();
    const known = this.values.filter((one) => one !== null);
    const text = value === null ? '\u2013' : `${value.toFixed(0)} %`;
    setText(this.now, text);
    setText(this.most, known.length ? `most ${Math.max(...known).toFixed(0)} %` : '');
    setAttribute(this.canvas, 'aria-label', `${this.name}: ${text}`);
    this.draw();
  }
  draw() {
    const ratio = devicePixelRatio || 1;
    const width = this.canvas.clientWidth;
    const height = this.canvas.clientHeight;
    if (!width || !height) {
      return;
    }
    if (this.canvas.width !== Math.round(width * ratio) || this.canvas.height !== Math.round(height * ratio)) {
      this.canvas.width = Math.round(width * ratio);
      this.canvas.height = Math.round(height * ratio);
    }
    const pen = this.canvas.getContext('2d');
    pen.setTransform(ratio, 0, 0, ratio, 0, 0);
    pen.fillStyle = '#050607';
    pen.fillRect(0, 0, width, height);
    pen.fillStyle = '#2d353a';
    for (const percent of [25, 50, 75]) {
      pen.fillRect(0, Math.round(height * (1 - percent / 100)), width, 1);
    }
    const x = (index) => ((index + 1) / kHistory) * width;
    const y = (value) => 1 + (height - 2) * (1 - value / 100);
    // The colour goes by the height, not by the moment.
    const colour = pen.createLinearGradient(0, 0, 0, height);
    const bands = [[100, kVeryHigh, '#e8695f'], [kVeryHigh, kHigh, '#e0b34a'], [kHigh, 0, '#5fb3d4']];
    for (const [from, to, name] of bands) {
      colour.addColorStop(y(from) / height, name);
      colour.addColorStop(y(to) / height, name);
    }
    // Each stretch without a gap is a line of its own.
    for (let from = 0; from < kHistory; ++from) {
      if (this.values[from] === null) {
        continue;
      }
      let to = from;
      while (to + 1 < kHistory && this.values[to + 1] !== null) {
        ++to;
      }
      pen.beginPath();
      pen.moveTo(from === to ? x(from) - 2 : x(from), y(this.values[from]));
      for (let index = from; index <= to; ++index) {
        pen.lineTo(x(index), y(this.values[index]));
      }
      pen.strokeStyle = colour;
      pen.lineWidth = 2;
      pen.lineJoin = 'round';
      pen.stroke();
      pen.lineTo(x(to), height);
      pen.lineTo(x(from), height);
      pen.globalAlpha = 0.18;
      pen.fillStyle = colour;
      pen.fill();
      pen.globalAlpha = 1;
      from = to;
    }
  }
}

const total = new Graph(document.querySelector('.total'), 'CPU, total');
const cores = [];
let subscribedAt = 0;

function coreGraph(index) {
  const element = make('li', {className: 'panel'},
      make('div', {className: 'graph-head'}, make('h2', {}, `Core ${index}`), make('span', {className: 'most caption'}),
           make('span', {className: 'now'}, '\u2013')), make('canvas', {role: 'img'}));
  byId('cores').append(element);
  const graph = new Graph(element, `Core ${index}`);
  graph.element = element;
  return graph;
}

// An unchanged figure is not sent again, so the page takes one every second by itself. Seconds in which the browser let
// this page sleep are filled with gaps.
let due = performance.now();
function tick() {
  const now = performance.now();
  const missed = Math.min(kHistory, Math.floor((now - due) / 1000));
  for (let second = 0; second <= missed; ++second) {
    const status = second === missed && link.connected ? link.status : null;
    const figures = status?.cpuCoreUsagePercents ?? [];
    total.add(status ? status.cpuUsagePercent : null);
    cores.forEach((core, index) => core.add(figures[index] ?? null));
  }
  due = now + 1000;
  setTimeout(tick, 1000);
}

link.on('monitor', (status) => {
  setText(byId('cpu-name'), status.cpuDisplayName || 'Unknown CPU');
  const count = status.cpuCoreUsagePercents.length;
  while (count > 0 && cores.length > count) {
    cores.pop().element.remove();
  }
  while (cores.length < count) {
    cores.push(coreGraph(cores.length));
  }
  document.body.classList.toggle('many', cores.length > 24);
  byId('no-cores').hidden = cores.length > 0;
  if (cores.length === 0 && subscribedAt && performance.now() - subscribedAt > 5000) {
    setText(byId('no-cores'), 'The program gives no figures for single processors on this computer.');
  }
});
link.on('connection', async (connected) => {
  if (connected) {
    const answer = await link.request('POST', '/api/cpu-monitor/subscribe', {enabled: true});
    subscribedAt = performance.now();
    if (!answer.ok) {
      setText(byId('no-cores'), answer.error);
    }
  }
});
startPage();
tick();
