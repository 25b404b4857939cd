// CPU steering: a row of processor check boxes for each work group. The processors come from the texts, because a mask
// may be a larger number than a script can hold exactly.

const kGroups = [['engine', 'Engine'], ['record', 'Record'], ['playback', 'Playback'], ['networkUi', 'Network/UI'],
                 ['otherProcesses', 'All processes except Tarnwick']];

const processorsOf = (text) => (text.match(/\d+/g) ?? []).map(Number).filter((cpu) => cpu < 64);

class Group {
  constructor(key, label) {
    this.key = key;
    this.cells = [];
    this.chosen = make('span', {className: 'chosen'});
    this.granted = make('p', {className: 'granted'});
    this.all = make('button', {type: 'button'}, 'All CPUs');
    this.all.setAttribute('aria-label', `${label}: all CPUs`);
    this.cpus = make('div', {className: 'cpus'});
    this.element = make('section', {className: 'panel', role: 'group', 'aria-label': label},
        make('div', {className: 'group-head'}, make('h2', {}, label), this.chosen, this.all), this.granted, this.cpus);
    // The value is the list of processors as a text, so that equal choices are equal values.
    this.setting = new Setting((text) => this.show(text), (text) => act(this.all, '/api/cpu-steering/config', {
      [`${key}Mask`]: processorsOf(text).reduce((mask, cpu) => mask | (1n << BigInt(cpu)), 0n).toString(),
    }));
    this.all.onclick = () => this.setting.set('');
    this.cpus.onkeydown = (event) => this.walk(event);
  }
  take(steering) {
    const chosen = processorsOf(steering[`${this.key}Display`]);
    const count = Math.max(steering.cpuCount, ...chosen.map((cpu) => cpu + 1));
    while (this.cells.length < count) {
      this.addCell(this.cells.length);
    }
    while (this.cells.length > count) {
      this.cells.pop().label.remove();
    }
    this.cells.forEach(({label}, cpu) => {
      label.classList.toggle('absent', cpu >= steering.cpuCount);
      label.title = cpu >= steering.cpuCount ? 'This computer does not have it; the next change drops it.' : '';
    });
    this.setting.push(chosen.join(', '));
  }
  addCell(cpu) {
    const box = make('input', {type: 'checkbox', 'aria-label': `CPU ${cpu}`, tabIndex: cpu === 0 ? 0 : -1});
    const label = make('label', {className: 'cpu'}, box, String(cpu));
    box.onchange = () => this.setting.set(this.checked());
    box.onfocus = () => this.cells.forEach((cell, other) => cell.box.tabIndex = other === cpu ? 0 : -1);
    this.cells.push({box, label});
    this.cpus.append(label);
  }
  // Without the processors that this computer does not have: the program takes none of those.
  checked() {
    const count = link.status.cpuSteering.cpuCount;
    return this.cells.flatMap(({box}, cpu) => box.checked && cpu < count ? [cpu] : []).join(', ');
  }
  // One tab stop for a group; the arrow keys go through it.
  walk(event) {
    const at = this.cells.findIndex(({box}) => box === event.target);
    const to = {ArrowRight: at + 1, ArrowDown: at + 1, ArrowLeft: at - 1, ArrowUp: at - 1, Home: 0,
                End: this.cells.length - 1}[event.key];
    if (at >= 0 && this.cells[to]) {
      event.preventDefault();
      this.cells[to].box.focus();
    }
  }
  show(text) {
    const chosen = new Set(processorsOf(text));
    this.cells.forEach(({box}, cpu) => box.checked = chosen.has(cpu));
    setText(this.chosen, chosen.size === 0 ? 'All CPUs' : chosen.size === 1 ? `CPU ${text}` : `CPUs ${text}`);
    setAttribute(this.all, 'aria-pressed', String(chosen.size === 0));
  }
}

// The processors that a group's threads run on, beside the chosen ones: [words, whether they differ].
function grantOf({running, refused}, chosen, cpuCount) {
  const [runs, asked] = [processorsOf(running), processorsOf(chosen).filter((cpu) => cpu < cpuCount)];
  if (runs.length === 0) {
    return ['', false];
  }
  const place = runs.length === cpuCount ? 'all CPUs' : running;
  if (refused) {
    return [`The system refused the choice: runs on ${place}`, true];
  }
  if (asked.length === 0) {
    return [runs.length === cpuCount ? `Runs on ${place}` : `Runs on ${place}, the CPUs of the other groups`, false];
  }
  return runs.join() === asked.join() ? [`Runs on ${place}`, false] : [`Asked for ${chosen}, runs on ${place}`, true];
}

// The processors and priorities that the system granted; null when the program does not tell.
function takeGrants(grants) {
  for (const group of groups ?? []) {
    const told = grants?.[group.key];
    const [words, differs] = told ? grantOf(told, group.setting.known, link.status.cpuSteering.cpuCount) : ['', false];
    setText(group.granted, words);
    group.granted.classList.toggle('differs', differs);
  }
  byId('process-refused').hidden = !grants?.processRefused;
  const rows = grants?.priorities ?? [];
  byId('priorities').hidden = rows.length === 0;
  const texts = JSON.stringify(rows);
  if (texts !== takeGrants.shown) {
    takeGrants.shown = texts;
    byId('priority-rows').replaceChildren(...rows.flatMap(({work, asked, granted, met}) => [make('dt', {}, work),
      make('dd', {className: met ? '' : 'differs'}, met ? `${granted}, as asked` : `asked for ${asked}, got ${granted}`)]));
  }
}

let groups = null;

link.on('monitor', ({cpuSteering}) => {
  if (!groups) {
    groups = kGroups.map(([key, label]) => new Group(key, label));
    byId('groups').replaceChildren(...groups.map(({element}) => element));
  }
  for (const group of groups) {
    group.take(cpuSteering);
  }
});
keepAsking('/api/cpu-steering/granted', takeGrants);
startPage();
