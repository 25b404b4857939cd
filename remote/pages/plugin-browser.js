// VST3 browser: the folders of the computer that runs the program.

const kAtOnce = 1000;  // entries shown without being asked for more

// `marks` show in the rows which module is in use.
const folder = {path: null, entries: [], marks: [], shown: kAtOnce, asked: 0};

const separatorOf = (path) => path.includes('\\') || /^[A-Za-z]:/.test(path) ? '\\' : '/';
const joined = (path, name) => path.endsWith(separatorOf(path)) ? path + name : path + separatorOf(path) + name;
const isModule = ({name, isDirectory}) => !isDirectory && /\.(vst3|so)$/i.test(name);

// Asks for a folder and shows it; what is shown stays when it cannot be read. False when it was not.
async function open(path, control = byId('path')) {
  const asked = ++folder.asked;
  notes.clearAll();
  document.body.setAttribute('aria-busy', 'true');
  const answer = await link.request('GET', '/api/plugin/files', {path});
  if (asked !== folder.asked) {
    return true;
  }
  document.body.removeAttribute('aria-busy');
  if (!answer.ok) {
    notes.refuse(control, answer);
    return false;
  }
  Object.assign(folder, {path: answer.body.path, entries: answer.body.entries, shown: kAtOnce});
  byId('filter').value = '';
  if (document.activeElement !== byId('path')) {
    byId('path').value = folder.path;
  }
  show();
  return true;
}

// The folder above; above a root, which is its own parent, are the places.
async function up() {
  const here = folder.path;
  if (!here) {
    return;
  }
  if (/^(\/|[A-Za-z]:\\?)$/.test(here)) {
    await open('', byId('up'));
  } else if (await open(joined(here, '..'), byId('up')) && folder.path === here) {
    await open('', byId('up'));
  }
}

function entryRow(entry) {
  const path = entry.isDrive || !folder.path ? entry.name : joined(folder.path, entry.name);
  const module = isModule(entry);
  if (entry.isDirectory || entry.isDrive) {
    const button = make('button', {type: 'button', className: 'item'},
        make('span', {className: 'mark'}, entry.isDrive ? 'Place' : 'Folder'),
        make('span', {className: 'title'}, entry.name));
    button.onclick = () => open(path, button);
    return make('li', {}, button);
  }
  const row = make('div', {className: `item ${module ? 'module' : 'other'}`},
      make('span', {className: 'mark'}, module ? 'VST3' : 'File'), make('span', {className: 'title'}, entry.name));
  if (module) {
    const button = make('button', {type: 'button'});
    const hold = holdButton(button, () => choose(path, button, mark));
    const mark = () => {
      const used = inUse(path);
      row.classList.toggle('in-use', used);
      setOff(button, used || Boolean(button.checking));
      hold.setLabel(button.checking ? 'Checking\u2026' : used ? 'Chosen' : 'Hold to use');
      setAttribute(button, 'aria-label', used ? `${entry.name} is chosen` : `Hold to use ${entry.name}`);
    };
    folder.marks.push(mark);
    mark();
    row.append(button);
  }
  return make('li', {}, row);
}

// The stored path may be that of the module inside the bundle that was chosen.
function inUse(path) {
  const used = link.status?.pluginPath ?? '';
  return used === path || used.startsWith(joined(path, ''));
}

async function choose(path, button, mark) {
  button.checking = true;
  mark();
  const answer = await act(button, '/api/host/config', {pluginPath: path});
  button.checking = false;
  mark();
  if (answer.ok && link.status.running) {
    notes.say(button, 'Accepted. It is loaded at the next start of the host.', 'hint');
  }
}

// The list anew; the focus, if it was in it, goes to the first entry from `next` on that can be pressed.
function show(next = 0) {
  const inside = byId('entries').contains(document.activeElement);
  const wanted = byId('filter').value.trim().toLowerCase();
  const found = folder.entries.filter(({name}) => name.toLowerCase().includes(wanted));
  const modules = found.filter(isModule).length;
  const more = found.length - folder.shown;
  folder.marks = [];
  const rows = found.slice(0, folder.shown).map(entryRow);
  if (more > 0) {
    const button = make('button', {type: 'button', className: 'item'},
                        `Show ${Math.min(more, kAtOnce)} more of ${more}`);
    button.onclick = () => {
      folder.shown += kAtOnce;
      show(folder.shown - kAtOnce);
    };
    rows.push(make('li', {}, button));
  }
  byId('entries').replaceChildren(...rows);
  if (inside) {
    (rows.slice(next).map((row) => row.querySelector('button')).find(Boolean) ?? byId('up')).focus();
  }
  setText(byId('count'), folder.path === '' ? 'Places on this computer' :
      `${found.length} ${found.length === 1 ? 'entry' : 'entries'}, ` +
      `${modules} ${modules === 1 ? 'effect' : 'effects'}`);
  setOff(byId('up'), folder.path === '');
  byId('nothing').hidden = found.length > 0;
  setText(byId('nothing-title'), wanted ? 'Nothing matches' : 'This folder is empty');
  setText(byId('nothing-text'), wanted ? 'Clear the filter to see everything.' : 'Go up, or choose a place.');
}

byId('up').onclick = up;
byId('places').onclick = () => open('', byId('places'));
byId('go').onsubmit = (event) => {
  event.preventDefault();
  byId('path').blur();
  open(byId('path').value.trim());
};
// A path that was typed stays while a note says why it fails, and while the field is in use.
const restorePath = () => setTimeout(() => {
  if (document.activeElement !== byId('path') && folder.path !== null && !notes.shown.has(byId('path'))) {
    byId('path').value = folder.path;
  }
}, 1000);
byId('path').addEventListener('blur', restorePath);
byId('path').addEventListener('note-gone', restorePath);
byId('filter').oninput = () => {
  folder.shown = kAtOnce;
  show();
};

let used = null;
link.on('monitor', ({pluginPath}) => {
  if (pluginPath === used) {
    return;
  }
  used = pluginPath;
  setText(byId('chosen-name'), effectName(pluginPath) || 'None chosen');
  setText(byId('chosen-path'), pluginPath);
  folder.marks.forEach((mark) => mark());
});
link.on('connection', async (connected) => {
  if (!connected || folder.path !== null) {
    return;
  }
  // The folder that the effect in use lies in, outside its bundle; else the places.
  const outside = link.status.pluginPath
      .replace(/[\\/][^\\/]*\.vst3[\\/].*$/i, '').replace(/[\\/][^\\/]*\.(vst3|so)$/i, '');
  if (!outside || !(await open(outside))) {
    notes.clear(byId('path'));
    await open('');
  }
});
startPage();
