'use strict';
// Shared by all pages: the connection to the program and the frame around the page.

const kBeat = 100;       // ms between the program's messages when all is well
const kProbeAfter = 350;  // ms of silence after which the program is asked whether it is there
const kLostAfter = 800;   // ms of silence that count as a lost connection
const kGiveUpAfter = 3000;  // ms of silence after which a connection is replaced, or one that does not come about

// make('p', {className: 'x'}, child, 'text'): an element. Attributes with a dash, `role` and `for` are set as such.
function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [key, value] of Object.entries(properties)) {
    if (key.includes('-') || key === 'role' || key === 'for') {
      element.setAttribute(key, value);
    } else {
      element[key] = value;
    }
  }
  element.append(...children);
  return element;
}

const byId = (id) => document.getElementById(id);

function setText(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

function setAttribute(element, name, value) {
  if (element.getAttribute(name) !== value) {
    element.setAttribute(name, value);
  }
}

// A button that has nothing to do keeps the focus, so it is not disabled in the browser's sense.
const isOff = (button) => button.getAttribute('aria-disabled') === 'true';
const setOff = (button, off) => setAttribute(button, 'aria-disabled', String(off));

const withMinus = (text) => text.replace('-', '\u2212');

function clockText(seconds) {
  const whole = Math.max(0, Math.floor(seconds));
  const two = (number) => String(number).padStart(2, '0');
  return `${two(Math.floor(whole / 3600))}:${two(Math.floor(whole / 60) % 60)}:${two(whole % 60)}`;
}

// The name by which people know an effect: that of its bundle, or of its file.
const effectName = (path) => /([^\\/]+)\.vst3(?:[\\/]|$)/i.exec(path)?.[1] ?? path.split(/[\\/]/).at(-1);

const timeOfDay = (date = new Date()) => [date.getHours(), date.getMinutes(), date.getSeconds()]
    .map((number) => String(number).padStart(2, '0')).join(':');

// The connection. Messages are handed to the listeners of their type; "connection" tells of its loss and return.
const link = {
  status: null,     // the last status document
  connected: false,
  listeners: new Map(),
  waiting: new Map(),  // requests without an answer, by id
  lastId: 0,
  socket: null,
  since: 0,       // when the socket was made
  lastHeard: 0,
  probed: false,
  refusal: '',    // why the program does not talk to this page; it says so over plain HTTP only
  retryAt: 0,
  retryIn: 250,

  on(type, listener) {
    this.listeners.set(type, [...(this.listeners.get(type) ?? []), listener]);
  },
  tell(type, value) {
    for (const listener of this.listeners.get(type) ?? []) {
      listener(value);
    }
  },

  open() {
    const scheme = location.protocol === 'https:' ? 'wss' : 'ws';
    const socket = new WebSocket(`${scheme}://${location.host}/ws`);
    this.socket = socket;
    this.since = this.lastHeard = performance.now();
    this.probed = false;
    socket.onmessage = (event) => {
      if (socket === this.socket) {
        this.take(event.data);
      }
    };
    let opened = false;
    socket.onopen = () => opened = true;
    socket.onclose = () => {
      if (socket === this.socket) {
        this.drop();
        opened || this.askWhy();
      }
    };
  },
  // A browser does not tell a page why it was refused; an action that does not exist is refused for the same reason.
  async askWhy() {
    const answer = await fetch('/ws', {method: 'POST'}).catch(() => null);
    const refusal = answer?.status === 403 ? (await answer.json().catch(() => ({}))).error ?? '' : '';
    if (refusal !== this.refusal && !this.connected) {
      this.refusal = refusal;
      this.tell('connection', false);
    }
  },
  drop() {
    const socket = this.socket;
    this.socket = null;
    socket?.close();
    this.lose();
    for (const answer of this.waiting.values()) {
      answer({ok: false, status: 0, error: 'The connection was lost before the program answered.'});
    }
    this.waiting.clear();
    this.retryAt = performance.now() + this.retryIn;
    this.retryIn = Math.min(this.retryIn * 2, 2000);
  },
  lose() {
    if (this.connected) {
      this.connected = false;
      this.tell('connection', false);
    }
  },
  heard() {
    this.lastHeard = performance.now();
    this.probed = false;
    if (!this.connected && this.status) {
      this.connected = true;
      this.refusal = '';
      this.retryIn = 250;
      this.tell('connection', true);
    }
  },
  take(text) {
    let message;
    try {
      message = JSON.parse(text);
    } catch {
      return;
    }
    if (message.type === 'monitor') {
      this.status = message;
    }
    this.heard();
    if (message.type === 'response') {
      const answer = this.waiting.get(message.id);
      this.waiting.delete(message.id);
      answer?.({ok: message.ok, status: message.status, body: message.body,
                error: message.ok ? '' : message.body?.error || `The program refused (${message.status}).`});
    } else {
      this.tell(message.type, message);
    }
  },

  // Resolves to {ok, status, body, error}; never rejects. Parameters that are undefined are left out.
  request(method, path, parameters = {}) {
    if (!this.connected || this.socket?.readyState !== WebSocket.OPEN) {
      return Promise.resolve({ok: false, status: 0, error: 'No connection to the program: nothing was changed.'});
    }
    return this.send(method, path, parameters);
  },
  send(method, path, parameters = {}) {
    const query = new URLSearchParams(Object.entries(parameters).filter(([, value]) => value !== undefined)).toString();
    const id = ++this.lastId;
    return new Promise((resolve) => {
      this.waiting.set(id, resolve);
      this.socket.send(JSON.stringify({type: 'request', id, method, path: query ? `${path}?${query}` : path}));
    });
  },

  // Ten times a second. A round that comes late says nothing about the program: this page was held up itself.
  watch() {
    let last = performance.now();
    setInterval(() => {
      const now = performance.now();
      const late = now - last > 3 * kBeat;
      last = now;
      if (late) {
        this.lastHeard = Math.max(this.lastHeard, now - kProbeAfter);
        return;
      }
      const silence = now - this.lastHeard;
      if (!this.socket) {
        if (now >= this.retryAt) {
          this.open();
        }
      } else if (this.socket.readyState !== WebSocket.OPEN) {
        if (now - this.since > kGiveUpAfter) {
          this.drop();
        }
      } else if (silence > kGiveUpAfter) {
        this.drop();
      } else if (silence > kLostAfter) {
        this.lose();
      } else if (silence > kProbeAfter && !this.probed) {
        this.probed = true;
        this.send('GET', '/healthz');
      }
    }, kBeat);
  },
};

// Asks for a document every two seconds while the page is seen. take(null) when the program does not have it.
function keepAsking(path, take) {
  const ask = async () => {
    if (!document.hidden && link.connected) {
      const {ok, status, body} = await link.request('GET', path);
      if (status !== 0) {
        take(ok ? body : null);
      }
    }
  };
  setInterval(ask, 2000);
  link.on('connection', (connected) => connected && ask());
}

function stateOf(status) {
  if (!link.connected) {
    return ['lost', status ? 'Connection lost' : link.refusal ? 'Refused' : 'Connecting'];
  }
  if (status.stopping) {
    return ['stopping', 'Stopping'];
  }
  if (status.running) {
    return status.asioRunning ? ['running', 'Running'] : ['lost', 'Device lost'];
  }
  return ['stopped', 'Stopped'];
}

// The frame: state, the way to the other pages, banners. Only changes of state are announced.
const frame = {
  build() {
    const pages = [['/', 'Host'], ['/record-remote', 'Record'], ['/playback-remote', 'Playback'],
                   ['/cpu-monitor', 'CPU'], ['/cpu-steering', 'Steering'], ['/plugin-browser-remote', 'Plug-in']];
    const here = ['/remote', '/index.html'].includes(location.pathname) ? '/' : location.pathname;
    this.word = make('span', {className: 'word'});
    // From wherever one has scrolled to, this leads to Stop.
    this.state = make('a', {className: 'state', href: '/#host-button', title: 'To start and stop'},
        make('span', {className: 'lamp', 'aria-hidden': 'true'}), this.word);
    this.announcer = make('div', {className: 'unseen', role: 'status'});
    const links = pages.map(([path, name]) =>
      make('li', {}, make('a', {href: path, ...(path === here && {'aria-current': 'page'})}, name)));
    this.lostText = make('p');
    this.lost = make('div', {className: 'banner', hidden: true, id: 'lost'}, this.lostText);
    this.lost.dataset.kind = 'bad';
    this.header = make('header', {},
        make('a', {className: 'skip', href: '#main'}, 'To the content'),
        make('div', {className: 'bar'}, make('div', {className: 'brand'}, 'Tarnwick'), this.state,
             make('nav', {'aria-label': 'Pages'}, make('ul', {}, ...links))),
        this.lost);
    document.body.prepend(this.header);
    document.body.append(this.announcer);
    new ResizeObserver(() => {
      document.documentElement.style.setProperty('--header', `${this.header.offsetHeight}px`);
      notes.place();
    }).observe(this.header);
    this.show();
  },
  announce(text) {
    setText(this.announcer, text);
  },
  show() {
    const [state, word] = stateOf(link.status);
    if (this.word.textContent && this.word.textContent !== word) {
      this.announce(word);
    }
    this.state.dataset.state = state;
    setText(this.word, word);
  },
  connection(connected) {
    document.body.classList.toggle('lost', !connected);
    if (!connected) {
      setText(this.lostText, link.refusal ? link.refusal : !link.status
          ? 'The program does not answer yet. This page connects by itself as soon as it does.'
          : `Connection lost at ${timeOfDay()}. What is shown is the last known state; nothing can ` +
              'be changed from here until the program answers. Trying again by itself.');
    }
    this.lost.hidden = connected;
    this.show();
  },
  banner(text) {
    for (const old of this.header.querySelectorAll('.banner[role=alert]')) {
      if (old.firstChild.textContent === text) {
        old.remove();  // said again: once is enough
      }
    }
    const close = make('button', {type: 'button'}, 'Dismiss');
    const banner = make('div', {className: 'banner', role: 'alert'}, make('p', {}, text), close);
    banner.dataset.kind = 'warn';
    close.onclick = () => banner.remove();
    for (const old of [...this.header.querySelectorAll('.banner[role=alert]')].slice(0, -2)) {
      old.remove();
    }
    this.header.append(banner);
  },
};

// A key that is kept down presses a button once, also when the focus has moved on to another one meanwhile.
addEventListener('keydown', (event) => event.repeat && event.target.tagName === 'BUTTON' &&
    ['Enter', ' '].includes(event.key) && event.preventDefault(), {capture: true});

link.on('connection', (connected) => frame.connection(connected));
link.on('monitor', () => frame.show());

// A page calls this last, with its listeners in place.
function startPage() {
  // A foreign page could lay something over ours and borrow the user's clicks.
  if (top !== self) {
    document.body.textContent = 'This page does not work inside another one.';
    return;
  }
  frame.build();
  // Browsers like to open a spare connection with the page's. The program serves one connection at a time, so it would
  // wait for that one to speak before it took up the channel: this request uses it up.
  fetch('/healthz').catch(() => {});
  link.open();
  link.watch();
  // Without a first answer within a second the page says so too.
  setTimeout(() => link.connected || frame.connection(false), 1000);
}
