// The host page: device and host, system, and what acts on all instances.

const kPlaceholders = ['(No ASIO drivers found)', '(ASIO SDK not configured)', '(No online ASIO devices)'];

function lengthText(samples, rate) {
  return !(samples >= 0 && rate > 1) ? '\u2013' : `${samples} smp \u00b7 ${((samples * 1000) / rate).toFixed(2)} ms`;
}

// The clock runs here between the program's messages.
const clock = {
  take(status, anew) {
    const now = performance.now() / 1000;
    const runs = status.running && link.connected;
    if (anew || status.runningClockSyncId !== this.id || runs !== this.runs ||
        Math.abs(this.seconds(now) - status.runningElapsedSeconds) > 1.5) {
      Object.assign(this, {id: status.runningClockSyncId, runs, from: status.runningElapsedSeconds, at: now});
    }
    this.show();
  },
  seconds(now) {
    return this.from + (this.runs ? now - this.at : 0);
  },
  show() {
    if (this.from !== undefined) {
      setText(byId('clock'), clockText(this.seconds(performance.now() / 1000)));
    }
  },
};

const audioPath = () => '/api/audio/config';
const hostPath = () => '/api/host/config';

const settings = {};  // by the name of the document's member

function buildSettings() {
  const number = (element, low, high, unit) => ({
    parse: (text) => {
      const value = numberFrom(text);
      if (value === undefined || value < low || value > high) {
        notes.say(element, `A number from ${low} to ${high} ${unit}, please.`);
        return undefined;
      }
      return value;
    },
  });
  settings.device = choiceSetting(byId('device'), audioPath, 'device', (value) => {
    const devices = link.status.deviceOptions;
    return [...(devices.includes(value) ? [] : [[value, value || 'No device selected']]),
            ...devices.map((device) => [device, device])];
  });
  settings.sampleRate = textSetting(byId('rate'), audioPath, 'sampleRate', number(byId('rate'), 1000, 384000, 'Hz'));
  settings.bufferSize = textSetting(byId('block'), audioPath, 'bufferSize', {
    format: (value) => value === 0 ? '' : String(value),  // the field then says that it is the device's own
    parse: (text) => {
      const value = text.trim() === '' ? 0 : numberFrom(text);
      if (!Number.isInteger(value) || value < 0 || value > 65536) {
        notes.say(byId('block'), 'A whole number of samples up to 65536, please; 0 is the device\u2019s own length.');
        return undefined;
      }
      return value;
    },
  });
  for (const [key, path] of [['autoStartAsioEnabled', audioPath], ['mmcssEnabled', audioPath],
                             ['autoStartInstancesEnabled', hostPath], ['runAtStartupEnabled', hostPath],
                             ['rememberSettingsEnabled', hostPath], ['scheduleSystemRebootEnabled', hostPath]]) {
    settings[key] = toggleSetting(byId(key), path, key);
  }
  for (const [key, path] of [['enginePriority', audioPath], ['uiPriority', audioPath], ['audioPriority', audioPath],
                             ['networkPriority', hostPath]]) {
    settings[key] = choiceSetting(byId(key), path, key,
                                  () => link.status.priorityOptions.map((name, index) => [index, name]));
  }
  const minutes = byId('scheduleRebootMinutes');
  settings.scheduleRebootMinutes = textSetting(minutes, hostPath, 'scheduleRebootMinutes', {
    format: (value) => clockText(value * 60).slice(0, 5),
    parse: (text) => {
      const [, hours, rest] = /^(\d\d):(\d\d)/.exec(text) ?? [];
      return hours === undefined ? undefined : Number(hours) * 60 + Number(rest);
    },
  });
}

let lists = '';  // the choices as last shown

function takeStatus(status) {
  const {running, stopping, asioRunning} = status;
  clock.take(status, false);
  const [state, word] = stateOf(status);
  byId('host-state').dataset.state = state;
  setText(byId('state-word'), stopping || running || !asioRunning ? word : 'Stopped, device running');
  hostButton.setLabel(stopping ? 'Stopping\u2026' : running ? 'Stop host' : 'Start host');
  deviceButton.setLabel(asioRunning ? 'ASIO Stop' : 'ASIO Start');
  setOff(byId('host-button'), stopping);
  setOff(byId('device-button'), stopping);
  byId('host-button').classList.toggle('irreversible', running && !stopping);
  byId('host-button').classList.toggle('go', !running && asioRunning && !stopping);
  byId('device-button').classList.toggle('go', !asioRunning);
  setText(byId('next-step'), asioRunning || stopping ? '' : kPlaceholders.includes(status.device)
      ? 'No audio device answers. Check its power and cable, then refresh the devices.'
      : 'Press ASIO Start first, then start the host.');

  setText(byId('fact-device'), status.device || 'none');
  setText(byId('fact-rate'), `${status.sampleRate.toLocaleString('en').replaceAll(',', '\u202f')} Hz \u00b7 ` +
          (status.bufferSize > 0 ? `${status.bufferSize} smp` : 'device\u2019s own'));
  setText(byId('fact-in'), lengthText(status.inputLatency, status.sampleRate));
  setText(byId('fact-out'), lengthText(status.outputLatency, status.sampleRate));
  setText(byId('fact-cpu'), `${status.cpuUsagePercent.toFixed(0)} %`);
  setText(byId('fact-channels'), `${status.availableInputChannels} in, ${status.availableOutputChannels} out`);
  const effect = byId('fact-effect');
  setText(effect, effectName(status.pluginPath) || 'none chosen');
  effect.title = status.pluginPath;

  const listsNow = JSON.stringify([status.deviceOptions, status.sampleRateOptions, status.bufferSizeOptions]);
  for (const [key, setting] of Object.entries(settings)) {
    setting.push(status[key]);
  }
  if (listsNow !== lists) {
    lists = listsNow;
    settings.device.refresh();
    for (const [id, options] of [['rates', status.sampleRateOptions], ['blocks', status.bufferSizeOptions]]) {
      byId(id).replaceChildren(...options.map((option) => make('option', {value: String(option)})));
    }
  }
  setAttribute(byId('bypass-all'), 'aria-pressed', String(status.bypassAllEnabled));
  setAttribute(byId('pink-all'), 'aria-pressed', String(status.testSignalAllEnabled));
  table.take(status);
  setOff(byId('remove'), status.instanceCount === 0);
  if (status.instanceCount === 0 && document.activeElement === byId('remove')) {
    byId('add').focus();
  }
}

meters.begin();
new ResizeObserver(() => document.documentElement.style.setProperty('--above', `${byId('above').offsetHeight}px`))
    .observe(byId('above'));
const runs = () => Boolean(link.status?.running);
const hostButton = holdButton(byId('host-button'),
    (button) => act(button, runs() ? '/api/host/stop' : '/api/host/start'), runs);
const deviceButton = holdButton(byId('device-button'),
    (button) => act(button, link.status?.asioRunning ? '/api/asio/stop' : '/api/asio/start'),
    () => Boolean(link.status?.asioRunning));
holdButton(byId('remove'), (button) => act(button, '/api/instances/remove-last'));
holdButton(byId('pink-all'), (button) => act(button, '/api/test-signal-all/toggle'),
           () => !link.status?.testSignalAllEnabled);
for (const [id, text] of [['reboot', 'Restart asked for. The computer goes down in a moment.'],
                          ['shutdown', 'Shutdown asked for. The computer goes down in a moment.']]) {
  holdButton(byId(id), async (button) => {
    const answer = await act(button, `/api/system/${id}`);
    if (answer.ok && !notes.shown.has(button)) {
      notes.say(button, text, 'hint');
    }
  });
}
for (const [id, path] of [['add', '/api/instances/add'], ['add-first', '/api/instances/add'],
                          ['bypass-all', '/api/bypass-all/toggle'], ['refresh', '/api/asio/refresh']]) {
  byId(id).onclick = () => act(byId(id), path);
}
byId('filter').oninput = () => table.filter();
byId('clear-filter').onclick = () => {
  byId('filter').value = '';
  table.filter();
  byId('filter').focus();
};
byId('dropouts').onclick = () => table.showDropped();
buildSettings();
// On a narrow screen the instances come first; what is set up once stays folded.
if (matchMedia('(max-width: 999px)').matches) {
  for (const fold of document.querySelectorAll('details')) {
    fold.open = false;
  }
}

// Blocks that the device or its server reported as late or lost.
keepAsking('/api/device/xruns', (xruns) => {
  const count = xruns?.count ?? 0;
  byId('late-title').hidden = byId('fact-late').hidden = count === 0;
  setText(byId('fact-late'), count === 0 ? ''
      : `${count} late ${count === 1 ? 'block' : 'blocks'} reported by the device, last ${xruns.last}`);
});
link.on('monitor', takeStatus);
link.on('meters', (message) => table.takeMeters(message.instances));
link.on('connection', (connected) => {
  if (link.status) {
    clock.take(link.status, connected);
    byId('host-state').dataset.state = stateOf(link.status)[0];
    setText(byId('state-word'), stateOf(link.status)[1]);
  }
  if (!connected) {
    table.silence();
  }
});
setInterval(() => clock.show(), 250);
startPage();
