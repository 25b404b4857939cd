// Notes beside controls, one at a time. It stays until its time is over, something is pressed, a control
// is used, or, where a lost connection was the reason, until the connection is back.
const notes = {
  shown: new Map(),  // control: {bubble, timer, kind}
  count: 0,

  // kind: 'bad', 'lost' (for want of a connection) or 'hint'.
  say(control, text, kind = 'bad') {
    this.clearAll();
    const hint = kind === 'hint';
    const bubble = make('div', {className: 'note', role: hint ? 'status' : 'alert', id: `note-${++this.count}`});
    bubble.dataset.kind = kind;
    bubble.onclick = () => this.clear(control);
    document.body.append(bubble);
    bubble.textContent = text;
    const timer = setTimeout(() => this.clear(control), hint ? 5000 : 12000);
    this.shown.set(control, {bubble, timer, kind});
    if (!hint) {
      control.setAttribute('aria-describedby', bubble.id);
      control.setAttribute('aria-invalid', 'true');
    }
    this.place();
  },
  // Why an answer is a refusal.
  refuse(control, {status, error}) {
    this.say(control, error, status === 0 ? 'lost' : 'bad');
  },
  clear(control) {
    const note = this.shown.get(control);
    if (note) {
      clearTimeout(note.timer);
      note.bubble.remove();
      this.shown.delete(control);
      control.removeAttribute('aria-describedby');
      control.removeAttribute('aria-invalid');
      control.dispatchEvent(new Event('note-gone'));
    }
  },
  clearAll(kind) {
    for (const [control, note] of [...this.shown]) {
      if (!kind || note.kind === kind) {
        this.clear(control);
      }
    }
  },
  place() {
    for (const [control, {bubble}] of this.shown) {
      if (!control.isConnected) {
        this.clear(control);
        continue;
      }
      const at = control.getBoundingClientRect();
      const size = bubble.getBoundingClientRect();
      const below = at.bottom + 6 + size.height < innerHeight - 60;
      const top = below ? at.bottom + 6 : at.top - size.height - 6;
      bubble.style.left = `${Math.max(8, Math.min(at.left, innerWidth - size.width - 8))}px`;
      bubble.style.top = `${Math.max(8, Math.min(top, innerHeight - size.height - 8))}px`;
    }
  },
};
addEventListener('scroll', () => notes.place(), {capture: true, passive: true});
addEventListener('resize', () => notes.place());
// A press anywhere else, or Escape, takes them away; a press on one goes no further, so it moves nothing below.
addEventListener('pointerdown', (event) => event.target.closest?.('.note') || notes.clearAll(), {capture: true});
addEventListener('keydown', (event) => event.key === 'Escape' && notes.clearAll(), {capture: true});
link.on('connection', (connected) => connected && notes.clearAll('lost'));

// The action of each path, as the program names it when an accepted action has failed after all.
function actionOf(path) {
  const known = {'/api/host/config': 'host-config-patch', '/api/audio/config': 'audio-config-patch',
                 '/api/cpu-steering/config': 'cpu-steering-patch', '/api/instances/add': 'add-instance',
                 '/api/instances/remove-last': 'remove-last-instance', '/api/host/start': 'start',
                 '/api/host/stop': 'stop'};
  return known[path] ?? (/^\/api\/instances\/\d+\/config$/.test(path) ? 'patch-instance'
                                                                     : path.slice('/api/'.length).replaceAll('/', '-'));
}

const isPatch = (action) => action.includes('patch');
const kFailsWithin = 30000;  // ms within which an accepted action may be told to have failed

// The actions of this page that a notice may be about, the oldest first: {action, control, at, told}. A patch is done
// with when it is answered, its notice comes before that; other actions, and the choice of an effect, fail later.
let actions = [];

// Sends an action for a control. A refusal is said beside it, in the words of the program.
async function act(control, path, parameters) {
  notes.clearAll();
  const sent = {action: actionOf(path), control, at: performance.now(), told: false};
  const brief = isPatch(sent.action) && parameters?.pluginPath === undefined;
  actions = [...actions.filter(({action}) => brief || action !== sent.action), sent];
  const answer = await link.request('POST', path, parameters);
  if (brief) {
    actions = actions.filter((one) => one !== sent);
  }
  if (!answer.ok && !sent.told) {  // a notice says more than the answer does
    notes.refuse(control, answer);
  }
  return answer;
}

link.on('notice', ({action, text}) => {
  const sent = actions.find((one) => one.action === action && performance.now() - one.at < kFailsWithin);
  if (sent) {
    sent.told = true;
  }
  if (sent?.control.isConnected) {
    notes.say(sent.control, String(text));
  } else if (sent || !isPatch(action)) {  // a value that another page's user typed wrongly is only theirs to know
    frame.banner(String(text));
  }
});
