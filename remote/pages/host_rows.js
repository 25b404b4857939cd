// The instance table: all rows stand in the page, so that they can be reached by key and found by a reader; the meters
// of those out of sight are not drawn.

const kFreshDrop = 15000;  // ms that a row stands out after its dropout count rose
const gainText = (db) => withMinus(`${Number(db)} dB`);
const percentText = (percent) => `${Number(percent)} %`;

class InstanceRow {
  constructor(index) {
    this.index = index;
    this.glitches = undefined;
    this.since = '';
    const path = () => `/api/instances/${this.index}/config`;
    const cell = (name, caption, control) => make('div', {className: `cell ${name}`},
        make('span', {className: 'caption', 'aria-hidden': 'true'}, caption), control);
    const gain = {minimum: -60, maximum: 24, step: 1, page: 6, home: 0, text: gainText};
    const percent = {minimum: 0, maximum: 100, step: 1, page: 10, text: percentText};
    this.parts = {
      name: make('input', {className: 'entry', type: 'text', maxLength: 128, autocomplete: 'off', spellcheck: false,
                           enterKeyHint: 'done'}),
      input: make('select'),
      output: make('select'),
      inputGain: make('div', {className: 'fader'}),
      outputGain: make('div', {className: 'fader'}),
      parameter: make('div', {className: 'fader'}),
      bypass: make('button', {type: 'button'}, 'Bypass'),
      pink: make('button', {type: 'button'}, 'Pink'),
      meter: make('canvas'),
    };
    const parts = this.parts;
    this.drops = make('div', {className: 'drops'});
    this.element = make('li', {className: 'row'},
        make('div', {className: 'number', 'aria-hidden': 'true'}, String(index + 1)),
        make('div', {className: 'cell name'}, parts.name), make('div', {className: 'cell level'}, parts.meter),
        cell('in', 'In', parts.input), cell('out', 'Out', parts.output),
        cell('gain-in', 'Gain in', parts.inputGain), cell('gain-out', 'Gain out', parts.outputGain),
        cell('parameter', '1st par.', parts.parameter),
        cell('bypass', '', parts.bypass), cell('pink', '', parts.pink), this.drops);
    this.meter = new Meter(parts.meter, () => this.title());
    // A tap on a name that was never given takes it whole, so that typing replaces it; keys do so by themselves.
    let entered = false;
    parts.name.addEventListener('focus', () => entered = true);
    parts.name.addEventListener('click', () => {
      if (entered && parts.name.value === parts.name.placeholder) {
        parts.name.select();
      }
      entered = false;
    });
    const channels = (key, current) => channelOptions(link.status?.[key] ?? 0, current);
    this.settings = {
      name: textSetting(parts.name, path, 'name', {parse: (text) => text.trim()}),
      inputChannel: choiceSetting(parts.input, path, 'inputChannel',
                                  (value) => channels('availableInputChannels', value)),
      outputChannel: choiceSetting(parts.output, path, 'outputChannel',
                                   (value) => channels('availableOutputChannels', value)),
      inputGainDb: faderSetting(parts.inputGain, path, 'inputGainDb', gain),
      outputGainDb: faderSetting(parts.outputGain, path, 'outputGainDb', gain),
      firstParamPercent: faderSetting(parts.parameter, path, 'firstParamPercent', percent),
      bypassEnabled: toggleSetting(parts.bypass, path, 'bypassEnabled'),
      testSignalEnabled: toggleSetting(parts.pink, path, 'testSignalEnabled'),
    };
  }
  title() {
    return `instance ${this.index + 1}${this.name ? `, ${this.name}` : ''}`;
  }
  // The text that the filter looks through.
  words(instance) {
    const channel = (word, index) => index < 0 ? '' : `${word} ${index + 1}`;
    const words = [this.index + 1, instance.name, channel('in', instance.inputChannel),
                   channel('out', instance.outputChannel)];
    return words.join(' ').toLowerCase();
  }
  // A switch for all lies over the row's own state; words say so.
  label(instance, status) {
    const absent = (index, count) => status.asioRunning && index >= count ?
        `, channel ${index + 1} is not there` : '';
    const forAll = (on) => on ? ', on for all instances' : '';
    const labels = {
      name: ['Name', ''],
      input: ['Input channel', absent(instance.inputChannel, status.availableInputChannels)],
      output: ['Output channel', absent(instance.outputChannel, status.availableOutputChannels)],
      inputGain: ['Input gain', ''],
      outputGain: ['Output gain', ''],
      parameter: ['First parameter', ''],
      bypass: ['Bypass', forAll(status.bypassAllEnabled)],
      pink: ['Pink noise', forAll(status.testSignalAllEnabled)],
    };
    const mark = `${instance.name} ${Object.values(labels).map(([, more]) => more).join()}`;
    if (mark === this.labelled) {
      return;
    }
    this.labelled = mark;
    for (const [part, [label, more]] of Object.entries(labels)) {
      this.parts[part].setAttribute('aria-label', `${label} of ${this.title()}${more}`);
    }
    for (const part of ['input', 'output']) {
      this.parts[part].classList.toggle('absent', labels[part][1] !== '');
      this.parts[part].title = labels[part][1].slice(2);
    }
    for (const [part, word] of [['bypass', 'Bypass'], ['pink', 'Pink']]) {
      const all = labels[part][1] !== '';
      setText(this.parts[part], all ? `${word} (all)` : word);
      this.parts[part].title = all ? 'On for all instances. This button is the instance\u2019s own switch.' : '';
    }
  }
  take(instance, channelsChanged) {
    if (instance.name !== this.name) {
      this.name = instance.name;
      this.parts.name.placeholder = `Instance ${this.index + 1}`;
      this.element.setAttribute('aria-label', this.title());
      this.meter.describe();
    }
    for (const [key, setting] of Object.entries(this.settings)) {
      setting.push(instance[key]);
    }
    if (channelsChanged) {
      this.settings.inputChannel.refresh();
      this.settings.outputChannel.refresh();
    }
    this.label(instance, link.status);
    this.parts.parameter.classList.toggle('unset', !instance.hasSavedFirstParam);
    this.takeGlitches(instance.glitchCount);
  }
  takeGlitches(count) {
    if (count === this.glitches) {
      return;
    }
    const first = this.glitches === undefined;
    const rose = !first && count > this.glitches;
    if (count === 0) {
      this.since = '';
    } else if (first) {
      this.since = `before ${timeOfDay().slice(0, 5)}`;
    } else if (rose && (this.since === '' || this.glitches === 0)) {
      this.since = `since ${timeOfDay().slice(0, 5)}`;
    }
    this.glitches = count;
    this.drops.classList.toggle('some', count > 0);
    this.drops.replaceChildren(make('span', {className: 'count'}, String(count)),
        make('span', {className: 'caption'}, count > 0 ? this.since : ''), make('span', {className: 'unseen'},
        count === 1 ? ' dropout' : ' dropouts'));
    this.drops.title = rose ? `Last dropout at ${timeOfDay()}` : '';
    clearTimeout(this.freshTimer);
    this.element.classList.toggle('fresh', rose);
    if (rose) {
      this.freshTimer = setTimeout(() => this.element.classList.remove('fresh'), kFreshDrop);
      table.dropped(this);
    }
  }
  remove() {
    clearTimeout(this.freshTimer);
    meters.remove(this.meter);
    this.element.remove();
  }
}

// None, the channels of the device, and the chosen one where the device does not have it.
function channelOptions(count, current) {
  const options = [[-1, 'None']];
  for (let index = 0; index < count; ++index) {
    options.push([index, String(index + 1)]);
  }
  if (current >= count) {
    options.push([current, link.status?.asioRunning ? `${current + 1} !` : String(current + 1)]);
  }
  return options;
}

const table = {
  rows: [],
  channels: '',
  announcedAt: -Infinity,

  take(status) {
    const {instances} = status;
    while (this.rows.length > instances.length) {
      const row = this.rows.pop();
      if (row.element.contains(document.activeElement)) {
        byId('rows').focus();
      }
      row.remove();
    }
    const first = document.activeElement === byId('add-first');
    const fresh = [];
    while (this.rows.length < instances.length) {
      this.rows.push(new InstanceRow(this.rows.length));
      fresh.push(this.rows.at(-1).element);
    }
    byId('rows').append(...fresh);
    const channels = `${status.availableInputChannels} ${status.availableOutputChannels} ${status.asioRunning}`;
    const changed = channels !== this.channels;
    this.channels = channels;
    instances.forEach((instance, index) => this.rows[index].take(instance, changed));
    byId('rows').classList.toggle('bypass-all', status.bypassAllEnabled);
    byId('rows').classList.toggle('pink-all', status.testSignalAllEnabled);
    this.filter();
    this.summary();
    if (first && this.rows.length > 0) {
      this.rows[0].parts.name.focus();
    }
  },
  takeMeters(levels) {
    for (const {index, inputMeterDb, outputMeterDb} of levels) {
      this.rows[index]?.meter.take(inputMeterDb, outputMeterDb);
    }
    meters.wake();
  },
  silence() {
    for (const row of this.rows) {
      row.meter.take(-100, -100);
    }
    meters.wake();
  },
  filter() {
    const wanted = byId('filter').value.trim().toLowerCase().split(/\s+/).join(' ');
    const {instances} = link.status ?? {instances: []};
    let found = 0;
    this.rows.forEach((row, index) => {
      const hit = wanted === '' || row.words(instances[index]).includes(wanted);
      // A row that is being edited stays.
      row.element.hidden = !hit && !row.element.contains(document.activeElement);
      found += hit ? 1 : 0;
    });
    const count = this.rows.length;
    const noun = count === 1 ? 'instance' : 'instances';
    setText(byId('count'), found === count ? `${count} ${noun}` : `${found} of ${count} ${noun}`);
    byId('none').hidden = count > 0 || !link.status;
    byId('no-match').hidden = count === 0 || found > 0;
    setText(byId('no-match-text'), `No instance matches \u201c${byId('filter').value.trim()}\u201d.`);
  },
  // Dropouts of rows that are out of sight are still seen here.
  summary() {
    const hit = this.rows.filter((row) => row.glitches > 0);
    const total = hit.reduce((sum, row) => sum + row.glitches, 0);
    const button = byId('dropouts');
    button.hidden = total === 0;
    setText(button, `\u25b2 ${total} ${total === 1 ? 'dropout' : 'dropouts'} in ${hit.length} ` +
        `${hit.length === 1 ? 'instance' : 'instances'}`);
  },
  dropped(row) {
    this.lastDropped = row;
    const now = performance.now();
    if (now - this.announcedAt > 10000) {
      this.announcedAt = now;
      frame.announce(`Dropout in ${row.title()}, ${row.glitches} so far.`);
    }
  },
  showDropped() {
    const row = this.rows.includes(this.lastDropped) ? this.lastDropped : this.rows.find(({glitches}) => glitches > 0);
    if (row) {
      byId('filter').value = '';
      this.filter();
      row.element.scrollIntoView({block: 'center'});
      row.parts.name.focus({preventScroll: true});
    }
  },
};
