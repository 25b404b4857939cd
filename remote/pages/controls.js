// Controls of values that the program owns. A change is shown at once and sent; while it is under way, or an edit is in
// progress, what the program tells does not overwrite it.

const kSettleTime = 700;  // ms that a changed value is kept waiting for the program to show it
const kListPatience = 15000;  // an open list may be read for so long

class Setting {
  // show(value) draws a value. send(value) resolves to an answer.
  constructor(show, send) {
    this.draw = show;
    this.send = send;
    this.known = undefined;   // the program's value
    this.wanted = undefined;  // a value sent and not yet confirmed
    this.shown = undefined;
    this.editing = false;
    this.busy = false;
    this.timer = 0;
  }
  show(value) {
    if (value !== this.shown) {
      this.shown = value;
      this.draw(value);
    }
  }
  push(value) {
    this.known = value;
    if (this.wanted !== undefined && !this.busy && this.wanted === value) {
      this.wanted = undefined;
    }
    this.settle();
  }
  settle() {
    if (!this.editing && this.wanted === undefined && this.known !== undefined) {
      this.show(this.known);
    }
  }
  begin() {
    this.editing = true;
  }
  end() {
    this.editing = false;
    this.settle();
  }
  // Changes that come while one is under way are sent as one.
  async set(value) {
    this.wanted = value;
    this.show(value);
    if (this.busy) {
      return;
    }
    this.busy = true;
    clearTimeout(this.timer);
    let sent;
    let answer;
    do {
      sent = this.wanted;
      answer = await this.send(sent);
    } while (answer.ok && this.wanted !== sent);
    this.busy = false;
    if (answer.status === 0 && this.keepUnsent) {
      this.wanted = undefined;
      this.keepUnsent();
      return;
    }
    if (!answer.ok || this.wanted === this.known) {
      this.wanted = undefined;
      if (!this.editing) {
        this.shown = undefined;  // drawn again even when the value is the old one
        this.settle();
      }
      return;
    }
    this.timer = setTimeout(() => {
      this.wanted = this.busy ? this.wanted : undefined;
      this.settle();
    }, kSettleTime);
  }
}

// A button that is on or off, or a check box.
function toggleSetting(element, path, key) {
  const isBox = element.type === 'checkbox';
  const setting = new Setting((on) => {
    if (isBox) {
      element.checked = on;
    } else {
      setAttribute(element, 'aria-pressed', String(on));
    }
  }, (on) => act(element, path(), {[key]: on}));
  element.addEventListener(isBox ? 'change' : 'click', () => setting.set(isBox ? element.checked : !setting.shown));
  return setting;
}

// A list of choices. fill(value) gives the options as [value, text] pairs; it is asked when the list is about to open,
// so that a long list costs nothing until then.
function choiceSetting(element, path, key, fill) {
  let filled = '';
  const refill = (value, all) => {
    const options = all ? fill(value) : fill(value).filter(([option]) => String(option) === String(value));
    const mark = JSON.stringify(options);
    if (mark !== filled) {
      filled = mark;
      element.replaceChildren(...options.map(([option, text]) => make('option', {value: String(option)}, text)));
    }
    element.value = String(value);
  };
  const setting = new Setting((value) => refill(value, document.activeElement === element),
                              (value) => act(element, path(), {[key]: value}));
  const open = () => {
    if (!setting.editing) {
      refill(setting.shown, true);
    }
  };
  // A list that was opened and left as it was follows the program again after a while.
  let idle = 0;
  const begin = () => {
    open();
    setting.begin();
    clearTimeout(idle);
    idle = setTimeout(() => setting.end(), kListPatience);
  };
  element.addEventListener('focus', open);
  element.addEventListener('pointerdown', begin);
  element.addEventListener('keydown', (event) => {
    if (event.key === 'Escape' || event.key === 'Tab') {
      setting.end();
    } else if (!['Shift', 'Control', 'Alt', 'Meta'].includes(event.key)) {
      begin();
    }
  });
  element.addEventListener('change', () => {
    clearTimeout(idle);
    const value = element.value;
    setting.editing = false;
    setting.set(typeof setting.known === 'number' ? Number(value) : value);
  });
  element.addEventListener('blur', () => setting.end());
  setting.refresh = () => {
    if (!setting.editing) {
      refill(setting.shown, document.activeElement === element);
    }
  };
  return setting;
}

// A line of text, sent on Enter or when it is left. parse(text) gives the value, or undefined with a message said.
function textSetting(element, path, key, {parse = (text) => text, format = String} = {}) {
  const setting = new Setting((value) => {
    element.value = format(value);
    element.title = element.value;
  }, (value) => act(element, path(), {[key]: value}));
  let typed = false;  // since the field was entered: leaving it as it was sends nothing
  // What could not be sent for want of a connection stays, marked, as an edit in progress.
  setting.keepUnsent = () => {
    setting.editing = true;
    typed = true;
    element.classList.add('unsent');
  };
  const leave = () => {
    setting.editing = false;
    element.classList.remove('unsent');
  };
  const commit = () => {
    const value = typed ? parse(element.value) : undefined;
    typed = false;
    leave();
    if (value === undefined || value === setting.known) {
      setting.shown = undefined;
      setting.settle();
    } else {
      setting.set(value);
    }
  };
  element.addEventListener('focus', () => setting.begin());
  element.addEventListener('input', () => {
    typed = true;
    setting.begin();
  });
  element.addEventListener('keydown', (event) => {
    if (event.key === 'Enter') {
      commit();
    } else if (event.key === 'Escape') {
      leave();
      setting.shown = undefined;
      setting.settle();
    }
  });
  // A time picker is done when it says so, long before it is left.
  if (element.type === 'time') {
    element.addEventListener('change', commit);
  }
  element.addEventListener('blur', () => {
    if (setting.editing) {
      commit();
    }
  });
  return setting;
}

const decimalPattern = /^\s*([+\-\u2212]?)\s*(\d{1,6}(?:[.,]\d{0,6})?)\s*(?:dB|%|Hz)?\s*$/i;

function numberFrom(text) {
  const parts = decimalPattern.exec(text);
  return parts ? Number(parts[2].replace(',', '.')) * (parts[1] && parts[1] !== '+' ? -1 : 1) : undefined;
}

// A number between limits: dragged, with wheel and arrow keys, or typed. A press alone moves nothing, so that nothing
// jumps under a finger; the wheel acts on the chosen slider only, so that scrolling past one changes nothing.
// options: minimum, maximum, step, fine (with shift), page, home (value of a double click), text(value), label
function faderSetting(element, path, key, options) {
  const {minimum, maximum, step, fine = step, page, home, text} = options;
  const fill = make('span', {className: 'fill'});
  const value = make('span', {className: 'value'});
  element.append(fill, value);
  if (home !== undefined && home > minimum) {
    const mark = make('span', {className: 'home'});
    mark.style.left = `${((home - minimum) / (maximum - minimum)) * 100}%`;
    element.append(mark);
  }
  element.tabIndex = 0;
  element.setAttribute('role', 'slider');
  element.setAttribute('aria-valuemin', minimum);
  element.setAttribute('aria-valuemax', maximum);
  element.title = 'Drag, or choose it and use the wheel, the arrow keys or type a number' +
      (home === undefined ? '.' : `; a double click returns to ${text(home)}.`);
  const setting = new Setting((number) => {
    const part = Math.min(1, Math.max(0, (number - minimum) / (maximum - minimum)));
    fill.style.transform = `translateX(${(part - 1) * 100}%)`;
    setText(value, text(number));
    setAttribute(element, 'aria-valuenow', String(number));
    setAttribute(element, 'aria-valuetext', text(number));
  }, (number) => act(element, path(), {[key]: number}));
  const limited = (number, grid) => Number(
      Math.min(maximum, Math.max(minimum, Math.round(number / grid) * grid)).toFixed(3));
  const set = (number, grid = step) => {
    const next = limited(number, grid);
    if (next !== setting.shown) {
      setting.set(next);
    }
  };
  const move = (steps, event) => {
    const grid = event.shiftKey ? fine : step;
    set(setting.shown + steps * grid, grid);
  };

  let editor = null;
  const edit = (start) => {
    if (editor || setting.shown === undefined) {
      return;
    }
    setting.begin();
    editor = make('input', {type: 'text', autocomplete: 'off', enterKeyHint: 'done', maxLength: 12,
                            inputMode: minimum < 0 ? 'text' : 'decimal',
                            'aria-label': element.getAttribute('aria-label') ?? ''});
    editor.value = start ?? String(setting.shown);
    const finish = (keep, focus) => {
      if (!editor) {
        return;
      }
      const typed = editor.value;
      const old = editor;
      editor = null;
      old.remove();
      const number = numberFrom(typed);
      setting.editing = false;
      if (focus) {
        element.focus();
      }
      if (keep && number !== undefined) {
        set(number, fine);
      } else if (keep && typed.trim() !== '') {
        notes.say(element, `A number from ${text(minimum)} to ${text(maximum)}, please.`);
      }
      setting.settle();
    };
    editor.onkeydown = (event) => {
      event.stopPropagation();
      if (event.key === 'Enter' || event.key === 'Escape') {
        finish(event.key === 'Enter', true);
      }
    };
    editor.onblur = () => finish(true, false);
    element.append(editor);
    editor.focus();
    if (start === undefined) {
      editor.select();
    }
  };

  let drag = null;
  element.addEventListener('pointerdown', (event) => {
    if (event.button === 0 && !editor && setting.shown !== undefined) {
      drag = {x: event.clientX, from: setting.shown, moved: false, width: element.clientWidth};
      element.setPointerCapture(event.pointerId);
    }
  });
  element.addEventListener('pointermove', (event) => {
    if (!drag) {
      return;
    }
    const far = event.clientX - drag.x;
    if (!drag.moved && Math.abs(far) < 4) {
      return;
    }
    if (!drag.moved) {
      drag.moved = true;
      element.classList.add('moving');
      setting.begin();
    }
    const grid = event.shiftKey ? fine : step;
    set(drag.from + (far / Math.max(120, drag.width)) * (maximum - minimum) * (grid / step), grid);
  });
  const release = (event) => {
    const tapped = drag && !drag.moved && event.type === 'pointerup' && event.pointerType === 'touch';
    drag = null;
    element.classList.remove('moving');
    if (!editor) {
      setting.end();
    }
    if (tapped) {
      edit();
    }
  };
  element.addEventListener('pointerup', release);
  element.addEventListener('pointercancel', release);
  element.addEventListener('dblclick', () => {
    if (home !== undefined && !editor) {
      set(home);
    }
  });
  element.addEventListener('wheel', (event) => {
    if (document.activeElement === element && event.deltaY !== 0 && !event.ctrlKey) {
      event.preventDefault();
      move(event.deltaY < 0 ? 1 : -1, event);
    }
  }, {passive: false});
  element.addEventListener('keydown', (event) => {
    const steps = {ArrowUp: 1, ArrowRight: 1, ArrowDown: -1, ArrowLeft: -1}[event.key];
    const pages = {PageUp: 1, PageDown: -1}[event.key];
    if (event.ctrlKey || event.altKey || event.metaKey || setting.shown === undefined) {
      return;
    }
    if (steps) {
      move(steps, event);
    } else if (pages) {
      set(setting.shown + pages * page);
    } else if (/^[\d.,+-]$/.test(event.key)) {
      edit(event.key);
    } else if (event.key === 'Enter' || event.key === 'F2') {
      edit();
    } else {
      return;
    }
    event.preventDefault();
  });
  return setting;
}

// A button that acts after it was held for a second, by pointer or by key. A press that comes from neither (a screen
// reader's) asks for a second one instead.
function holdButton(button, action, needsHold = () => true) {
  const fill = make('span', {className: 'fill'});
  const label = make('span', {className: 'label'}, button.textContent);
  button.replaceChildren(fill, label);
  button.classList.add('hold');
  let timer = 0;
  let key = '';
  let free = false;  // pressed while no hold was asked for: acts when it is let go
  let armedUntil = 0;
  const run = () => {
    armedUntil = 0;
    action(button);
  };
  const begin = () => {
    if (timer || button.disabled) {
      return;
    }
    notes.clear(button);
    free = !needsHold();
    if (free) {
      return;
    }
    button.classList.add('held');
    timer = setTimeout(() => {
      stop();
      // What was to be stopped may have stopped meanwhile, and the button now stands for its opposite.
      if (!button.disabled && needsHold()) {
        run();
      }
    }, 1000);
  };
  const stop = () => {
    clearTimeout(timer);
    timer = 0;
    button.classList.remove('held');
  };
  const cancel = () => {
    if (timer) {
      stop();
      notes.say(button, 'Hold it for one second.', 'hint');
    }
  };
  button.addEventListener('pointerdown', (event) => {
    if (event.button === 0) {
      begin();
    }
  });
  for (const type of ['pointerup', 'pointerleave', 'pointercancel', 'blur']) {
    button.addEventListener(type, cancel);
  }
  button.addEventListener('contextmenu', (event) => event.preventDefault());
  button.addEventListener('keydown', (event) => {
    if (event.key === 'Enter' || event.key === ' ') {
      event.preventDefault();
      key = event.key;
      if (!event.repeat) {
        begin();
      }
    }
  });
  button.addEventListener('keyup', (event) => {
    if (event.key === key) {
      event.preventDefault();
      key = '';
      cancel();
      if (free && !needsHold()) {
        run();
      }
      free = false;
    }
  });
  button.addEventListener('click', (event) => {
    if (event.detail !== 0 || event.pointerType) {
      if (free && !needsHold()) {
        run();
      }
      free = false;
      return;
    }
    if (!needsHold() || performance.now() < armedUntil) {
      run();
    } else {
      armedUntil = performance.now() + 5000;
      notes.say(button, 'Press again within five seconds to confirm.', 'hint');
    }
  });
  return {setLabel: (text) => setText(label, text)};
}
