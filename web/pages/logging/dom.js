// Elements, messages, dialogs and words that all parts of the page use.
// SPDX-License-Identifier: MIT

export const byId = (id) => document.getElementById(id);

/// A new element. Attributes that are functions listen to the event of that name, false and
/// undefined ones are left out. Texts among the children stay texts.
export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === 'function') {
      element.addEventListener(name, value);
    } else if (value !== false && value !== undefined) {
      element.setAttribute(name, value === true ? '' : value);
    }
  }
  element.append(...children.filter((child) => child !== undefined));
  return element;
}

/// Sets a text only where it is another, so that nothing is read out twice.
export function setText(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

/// Bytes as a person reads them, in the same words as the console.
export function sizeText(size) {
  if (size < 1000) {
    return size === 1 ? '1 byte' : `${size} bytes`;
  }
  if (size < 1e6) {
    return `${Math.round(size / 1000)} kB`;
  }
  return size < 1e9 ? `${(size / 1e6).toFixed(1)} MB` : `${(size / 1e9).toFixed(1)} GB`;
}

/// Milliseconds as minutes and seconds: "8:05".
export function timeText(milliseconds) {
  const seconds = Math.max(0, Math.ceil(milliseconds / 1000));
  return `${Math.floor(seconds / 60)}:${String(seconds % 60).padStart(2, '0')}`;
}

export const counted = (count, one, many = `${one}s`) => `${count} ${count === 1 ? one : many}`;

/// "a, b and c"; of many only the first.
export function listed(names, most = 6) {
  if (names.length > most) {
    return `${names.slice(0, most).join(', ')} and ${names.length - most} more`;
  }
  return names.length < 2 ? names.join('')
    : `${names.slice(0, -1).join(', ')} and ${names[names.length - 1]}`;
}

/// Reads a text out. What comes within a moment is said together.
const unsaid = [];
export function speak(text) {
  if (unsaid.push(text) > 1) {
    return;
  }
  setTimeout(() => {
    byId('spoken').textContent = listed(unsaid.splice(0), 3);
  }, 300);
}

/// Shows a message: kind is "busy", "good" or "bad". Answers a handle by which it is changed.
/// `said` is a text of the service, which is shown as it is; `list` are further lines.
export function say(kind, text, { said, list = [] } = {}) {
  const body = make('div', { class: 'body' });
  const close = make('button', { type: 'button', class: 'plain', 'aria-label': 'Close the message',
    click: () => box.remove() }, '×');
  const box = make('div', { class: 'message' }, body, close);
  const handle = {
    change(newKind, newText, more = {}) {
      box.dataset.kind = newKind;
      close.hidden = newKind === 'busy';
      body.replaceChildren(make('p', {}, newText));
      for (const line of more.list ?? []) {
        body.append(make('p', { class: 'more' }, line));
      }
      if (more.said) {
        body.append(make('p', { class: 'more' }, 'The service says: ',
          make('q', { class: 'said' }, more.said)));
      }
      if (!box.isConnected && newKind !== 'busy') {
        byId('messages').prepend(box);
      }
      const spoken = [newText, ...(more.list ?? [])].join('. ');
      if (newKind === 'bad') {
        byId('alarm').textContent = spoken;
      } else {
        speak(spoken);
      }
    },
    close: () => box.remove(),
  };
  const messages = byId('messages');
  // What somebody does next makes older outcomes old; news by themselves hide no trouble.
  const over = kind === 'good' ? '[data-kind="good"]' : ':not([data-kind="busy"])';
  for (const old of messages.querySelectorAll(`:scope > ${over}`)) {
    old.remove();
  }
  messages.prepend(box);
  handle.change(kind, text, { said, list });
  return handle;
}

/// A dialog for a form: `send` is called with nothing when the person wants it, and answers whether
/// the dialog is done with. It may put errors at fields with `wrong`.
export function askBy(dialog, send) {
  const form = dialog.querySelector('form');
  const yes = form.querySelector('[type=submit]');
  const done = new AbortController();
  const { signal } = done;
  let busy = false;
  const close = () => dialog.open && !busy && dialog.close();
  clearErrors(form);
  form.addEventListener('submit', async (event) => {
    event.preventDefault();
    if (busy || yes.getAttribute('aria-disabled') === 'true') {
      return;
    }
    clearErrors(form);
    busy = true;
    form.setAttribute('aria-busy', 'true');
    let finished = false;
    try {
      finished = await send();
    } finally {
      busy = false;
      form.removeAttribute('aria-busy');
    }
    if (finished) {
      close();
    }
  }, { signal });
  form.querySelector('.cancel').addEventListener('click', close, { signal });
  dialog.addEventListener('cancel', (event) => busy && event.preventDefault(), { signal });
  dialog.addEventListener('close', () => done.abort(), { signal });
  dialog.showModal();
}

/// Says at a field what is wrong with it, or below the form where there is no such field.
export function wrong(form, field, text) {
  const input = field && form.querySelector(`#${CSS.escape(field)}`);
  const error = input ? byId(`${field}-error`) : form.querySelector('.form-error');
  error.textContent = text;
  error.hidden = false;
  if (input) {
    input.setAttribute('aria-invalid', 'true');
    if (!form.contains(document.activeElement)
        || document.activeElement.getAttribute('aria-invalid') !== 'true') {
      input.focus();
    }
  } else {
    byId('alarm').textContent = text;
  }
}

export function clearErrors(form) {
  for (const input of form.querySelectorAll('[aria-invalid]')) {
    input.removeAttribute('aria-invalid');
  }
  for (const error of form.querySelectorAll('.error')) {
    error.hidden = true;
    error.textContent = '';
  }
}

/// Whole number of a field between two, or null with the reason said at the field.
export function wholeNumber(form, input, least, most, what) {
  const text = input.value.trim();
  if (/^[0-9]{1,9}$/.test(text) && Number(text) >= least && Number(text) <= most) {
    return Number(text);
  }
  wrong(form, input.id, `${what} is a whole number from ${least} to ${most}.`);
  return null;
}

/// Buttons that cannot be used now keep the focus and say so, rather than vanish from the keyboard.
export function setUsable(button, usable) {
  if (usable) {
    button.removeAttribute('aria-disabled');
  } else {
    button.setAttribute('aria-disabled', 'true');
  }
}

export const isUsable = (button) => button.getAttribute('aria-disabled') !== 'true';
