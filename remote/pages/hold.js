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
    if (timer) {
      return;
    }
    free = false;
    if (isOff(button)) {
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
      // The host may have stopped meanwhile, and the button now stands for the opposite.
      if (!isOff(button) && needsHold()) {
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
  for (const type of ['pointerup', 'pointerleave', 'blur']) {
    button.addEventListener(type, cancel);
  }
  // The browser took the finger for something else, a scroll for one: no press, so nothing to explain.
  button.addEventListener('pointercancel', () => {
    stop();
    free = false;
  });
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
    if (isOff(button)) {
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
