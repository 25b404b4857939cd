// Controls of values that the program owns. A change is shown at once and sent; while it is under way, or an edit is in
// progress, what the program tells does not overwrite it.

const kSettleTime = 700;  // ms that a changed value is kept waiting for the program to show it
const kListPatience = 5000;  // ms that an opened list waits for a choice

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

let openList = null;  // the setting whose list was opened last
addEventListener('pointerdown', () => openList?.end(), {capture: true});

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
  // A list that was opened and left as it was follows the program again: with the next press, or after a while.
  let idle = 0;
  const begin = () => {
    open();
    setting.begin();
    openList = setting;
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
  let keyed = false;  // so was a key pressed
  // A value that could not be sent for want of a connection stays, marked, as an edit in progress.
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
  element.addEventListener('focus', () => {
    typed = element.classList.contains('unsent');
    keyed = false;
    setting.begin();
  });
  element.addEventListener('input', () => {
    typed = true;
    setting.begin();
  });
  element.addEventListener('keydown', (event) => {
    if (event.key === 'Enter') {
      commit();
    } else if (event.key === 'Escape') {
      typed = false;
      leave();
      setting.shown = undefined;
      setting.settle();
    } else if (event.key !== 'Tab') {
      keyed = true;
    }
  });
  // A time picker is done when it says so, long before the field is left; by keys, each digit gives a time, and is one
  // change, on the way to the time that is meant.
  if (element.type === 'time') {
    element.addEventListener('change', () => {
      if (!keyed) {
        commit();
      }
    });
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
