// The archive, the deletion of logs, and the defence log.
// SPDX-License-Identifier: MIT
import { get, post } from './api.js';
import { askBy, byId, clearErrors, counted, isUsable, make, say, setText, sizeText, timeText,
  wholeNumber } from './dom.js';

let page;
let packing = false;
let defenceSize; // of the file, as the table has it

const sum = (files) => files.reduce((total, file) => total + file.size, 0);

const wait = (milliseconds) => new Promise((resolve) => {
  setTimeout(resolve, milliseconds);
});

/// Shows how far the archive is, until it is packed.
async function watchPacking(progress) {
  const begun = Date.now();
  let size = 0;
  const show = () => setText(progress, `Packing: ${timeText(Date.now() - begun)}${
    size > 0 ? `, ${sizeText(size)} so far` : ''}`);
  const clock = setInterval(show, 250);
  show();
  while (packing) {
    try {
      const answer = await get('archive');
      size = Number.isFinite(answer.size) ? answer.size : size;
    } catch {
      // The answer to the packing says what is wrong.
    }
    await wait(1000);
  }
  clearInterval(clock);
}

function offer(answer) {
  const name = answer.url.slice(answer.url.lastIndexOf('/') + 1);
  const link = make('a', { href: answer.url, download: name, class: 'download' }, name);
  byId('packed').replaceChildren(link, ` ${sizeText(answer.size)}, ${counted(answer.files, 'file')}, packed at ${
    new Date().toLocaleTimeString([], { timeStyle: 'short' })}`);
  byId('packed').hidden = false;
  link.click();
}

async function pack() {
  if (packing) {
    return;
  }
  packing = true;
  const button = byId('pack');
  button.setAttribute('aria-busy', 'true');
  const progress = byId('packing');
  progress.hidden = false;
  byId('packed').hidden = true;
  const message = say('busy', 'Packing all logs …');
  watchPacking(progress);
  try {
    const answer = await page.change(() => post('archive', {}));
    if (!answer.ok) {
      message.change('bad', answer.problem ?? 'The archive could not be packed.', { said: answer.text });
    } else if (!/^\/[^/\\]/.test(answer.url)) {
      message.change('bad', 'The archive is packed, but not where the page may fetch it.');
    } else {
      const again = answer.tries > 1 ? ' A log grew meanwhile, so it was packed once more.' : '';
      message.change('good', `The archive is packed: ${counted(answer.files, 'file')}, ${
        sizeText(answer.size)}.${again} The download begins.`);
      offer(answer);
    }
  } catch (error) {
    message.change('bad', error.message);
  } finally {
    packing = false;
    button.removeAttribute('aria-busy');
    progress.hidden = true;
  }
}

function confirm({ title, text, lines, yes, no }, act) {
  byId('confirm-title').textContent = title;
  byId('confirm-text').textContent = text;
  byId('confirm-yes').textContent = yes;
  byId('confirm-form').querySelector('.cancel').textContent = no;
  byId('confirm-list').replaceChildren(...lines.map(([line, size]) => make('div',
    { class: size ? 'log-line sized' : 'log-line' }, make('span', {}, line),
    size && make('span', {}, size))));
  byId('confirm-list').hidden = lines.length === 0;
  askBy(byId('confirm'), async () => {
    act();
    return true;
  });
}

async function deleteLogs(withFlash) {
  const where = withFlash ? 'RAM and flash' : 'RAM';
  let files;
  try {
    const found = await get('logs');
    files = withFlash ? [...found.ram, ...found.flash] : found.ram;
  } catch (error) {
    say('bad', error.message);
    return;
  }
  if (files.length === 0) {
    say('good', `There is no log file to delete in ${where}.`);
    return;
  }
  confirm({
    title: `Delete the ${where} logs?`,
    text: `${counted(files.length, 'file')} with ${sizeText(sum(files))} will be lost. To keep a copy, pack and download first.`,
    lines: files.map(({ path, size }) => [path, sizeText(size)]),
    yes: `Delete ${counted(files.length, 'file')}`, no: 'Keep them',
  }, async () => {
    const message = say('busy', `Deleting the ${where} logs …`);
    try {
      const answer = await page.change(() => post('logs',
        { delete: withFlash ? 'ram and flash' : 'ram' }));
      const removed = answer.removed ?? [];
      const done = `${counted(removed.length, 'file')} with ${sizeText(sum(removed))} removed.`;
      if (answer.ok) {
        message.change('good', done, { said: answer.text });
      } else {
        message.change('bad', answer.problem ?? 'Not all could be deleted.',
          { list: [done], said: answer.text });
      }
    } catch (error) {
      message.change('bad', error.message);
    }
    page.refresh();
  });
}

const countText = (count) => (count === 0 ? 'Empty.' : `${counted(count, 'line')} in flash.`);

function defenceLines() {
  const form = byId('defence-show');
  clearErrors(form.parentElement);
  return wholeNumber(form, byId('defence-lines'), 1, 2000, 'The number of lines');
}

async function readDefence(lines) {
  const answer = await get(`defence?lines=${lines}`);
  setText(byId('defence-count'), countText(answer.count));
  return answer;
}

async function showDefence() {
  const lines = defenceLines();
  if (lines === null) {
    return;
  }
  try {
    const answer = await readDefence(lines);
    const text = byId('defence-text');
    text.replaceChildren(...(answer.lines.length === 0 ? [make('p', { class: 'empty' }, 'No lines.')]
      : answer.lines.map((line) => make('div', { class: 'log-line' }, line))));
    text.hidden = false;
    text.scrollTop = text.scrollHeight;
  } catch (error) {
    say('bad', error.message);
  }
}

async function removeDefence() {
  const lines = defenceLines();
  if (lines === null) {
    return;
  }
  let answer;
  try {
    answer = await readDefence(lines);
  } catch (error) {
    say('bad', error.message);
    return;
  }
  const count = Math.min(lines, answer.count);
  if (count === 0) {
    say('good', 'The defence log is empty.');
    return;
  }
  confirm({
    title: 'Remove lines of the defence log?',
    text: count === answer.count ? `All ${counted(count, 'line')} will be lost.`
      : `The newest ${count} of ${answer.count} lines will be lost.`,
    lines: answer.lines.map((line) => [line]), yes: `Remove ${counted(count, 'line')}`, no: 'Keep them',
  }, async () => {
    const message = say('busy', 'Removing lines of the defence log …');
    try {
      const done = await page.change(() => post('defence', { remove: count }));
      const list = done.notice ? ['The service has put a notice of its own into the log.'] : [];
      message.change(done.ok ? 'good' : 'bad', done.ok
        ? `The defence log had ${counted(done.before, 'line')} and has ${done.after} now.`
        : done.problem ?? 'The lines could not be removed.', { list, said: done.text });
    } catch (error) {
      message.change('bad', error.message);
    }
    if (byId('defence-text').hidden) {
      readDefence(1).catch(() => {});
    } else {
      showDefence();
    }
    page.refresh();
  });
}

/// Asks for the count again when the file has another size.
function watchDefence() {
  const size = page.data.activities.find(({ activity }) => activity === 'defence')?.size;
  if (size === defenceSize || !isUsable(byId('defence-remove'))) {
    return;
  }
  defenceSize = size;
  if (byId('defence-text').hidden) {
    readDefence(1).catch(() => {});
  } else {
    showDefence();
  }
}

export function start(thePage) {
  page = thePage;
  byId('pack').addEventListener('click', pack);
  byId('delete-ram').addEventListener('click', () => deleteLogs(false));
  byId('delete-flash').addEventListener('click', () => deleteLogs(true));
  byId('defence-show').addEventListener('submit', (event) => {
    event.preventDefault();
    showDefence();
  });
  byId('defence-remove').addEventListener('click', removeDefence);
  page.addEventListener('data', watchDefence);
}
