const kMouseDrag = 4;  // px after which a press is a drag
const kTouchDrag = 8;

// A number between limits: dragged, with wheel and arrow keys, or typed. A press alone moves nothing, so that nothing
// jumps under a finger, and a finger that scrolls the page moves nothing either; the wheel acts on the chosen slider
// only, so that scrolling past one changes nothing.
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
  element.title = 'Drag it, or choose it and use the wheel, the arrow keys or type a number.' +
      (home === undefined ? '' : ` A double click of the mouse returns to ${text(home)}.`) +
      ' On a touch screen, drag sideways, or tap to type.';
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
      drag = {x: event.clientX, y: event.clientY, from: setting.shown, moved: false, strayed: false,
              mouse: event.pointerType === 'mouse', width: element.clientWidth};
      element.setPointerCapture(event.pointerId);
    }
  });
  element.addEventListener('pointermove', (event) => {
    if (!drag) {
      return;
    }
    const far = event.clientX - drag.x;
    if (!drag.moved) {
      const [across, along] = [Math.abs(far), Math.abs(event.clientY - drag.y)];
      drag.strayed ||= Math.max(across, along) >= kTouchDrag;
      if (drag.mouse ? across < kMouseDrag : across < kTouchDrag || across <= 2 * along) {
        return;
      }
      drag.moved = true;
      element.classList.add('moving');
      setting.begin();
    }
    const grid = event.shiftKey ? fine : step;
    set(drag.from + (far / Math.max(120, drag.width)) * (maximum - minimum) * (grid / step), grid);
  });
  const release = (event) => {
    const tapped = drag && !drag.moved && !drag.strayed && event.type === 'pointerup' && event.pointerType === 'touch';
    if (drag?.moved && event.type === 'pointercancel' && setting.shown !== drag.from) {
      setting.set(drag.from);  // the browser took the finger for something else
    }
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
