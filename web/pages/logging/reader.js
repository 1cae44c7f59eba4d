// The reader of a log: newest lines, followed live, with a filter, pause and copy.
// SPDX-License-Identifier: MIT
import { get } from './api.js';
import { byId, counted, make, say, setText, sizeText, speak } from './dom.js';

const most = 2000; // lines that are kept
const dialog = byId('reader');
const log = byId('log');

let page;
let activity = ''; // that is read, or none
let grep = '';
let paused = false;
let early = null; // lines that came before the newest were there
let held = []; // lines that came in a pause
let asking = 0; // tells the answer that is waited for from older ones
let returnTo = null;
let timer = 0;

/// How many of the first lines of `later` are the last ones of `earlier`.
function overlap(earlier, later) {
  for (let count = Math.min(earlier.length, later.length); count > 0; count -= 1) {
    const start = earlier.length - count;
    if (later.slice(0, count).every((line, index) => line === earlier[start + index])) {
      return count;
    }
  }
  return 0;
}

/// A line with what the filter found in it marked. Capitals in the filter count.
function lineOf(text) {
  const line = make('div', { class: 'log-line' });
  const found = grep === '' ? -1
    : (grep === grep.toLowerCase() ? text.toLowerCase() : text).indexOf(grep);
  if (found < 0) {
    line.textContent = text;
  } else {
    const end = found + grep.length;
    line.append(text.slice(0, found), make('mark', {}, text.slice(found, end)), text.slice(end));
  }
  return line;
}

function drawState(problem = '') {
  const count = log.querySelectorAll('.log-line').length;
  setText(byId('reader-state'), problem || (paused
    ? `Paused${held.length > 0 ? `, ${counted(held.length, 'new line')} waiting` : ''}`
    : counted(count, 'line')));
}

function append(lines) {
  if (lines.length === 0) {
    return;
  }
  const atEnd = log.scrollHeight - log.scrollTop - log.clientHeight < 40;
  log.querySelector('.empty')?.remove();
  log.append(...lines.slice(-most).map(lineOf));
  while (log.children.length > most) {
    log.firstElementChild.remove();
  }
  if (atEnd) {
    log.scrollTop = log.scrollHeight;
  }
  drawState();
}

function replace(lines, nothing) {
  log.replaceChildren();
  if (lines.length === 0) {
    log.append(make('p', { class: 'empty' }, nothing));
  }
  append(lines);
  drawState();
  log.scrollTop = log.scrollHeight;
}

function showPlace({ file, place, searched }) {
  const part = searched ? `; only its newest ${sizeText(searched)} were searched` : '';
  setText(byId('reader-place'), (file ?? place ?? '') + part);
}

function showNewest(answer, lines) {
  showPlace(answer);
  held = [];
  replace(lines, answer.problem ? answer.problem : answer.file === undefined
    ? `Its messages go to ${answer.place ?? 'no file'}: nothing of them can be read here.`
    : grep ? `No line contains ${grep} yet.` : 'There are no lines yet.');
}

// For a phone whose stream does not begin with the newest lines itself.
async function fetchNewest() {
  const mine = asking += 1;
  early = [];
  const query = new URLSearchParams({ lines: byId('count').value });
  if (grep) {
    query.set('grep', grep);
  }
  try {
    const answer = await get(`logs/${encodeURIComponent(activity)}?${query}`);
    if (mine !== asking) {
      return;
    }
    const lines = answer.lines ?? [];
    const later = early;
    early = null;
    showNewest(answer, [...lines, ...later.slice(overlap(lines, later))]);
  } catch (error) {
    if (mine === asking) {
      early = null;
      replace([], error.message);
    }
  }
}

function take(lines) {
  if (!activity || !Array.isArray(lines)) {
    return;
  }
  if (early) {
    early.push(...lines);
  } else if (paused) {
    held = [...held, ...lines].slice(-most);
    drawState();
  } else {
    append(lines);
  }
}

function setPaused(yes) {
  paused = yes;
  byId('pause').setAttribute('aria-pressed', String(yes));
  byId('pause').textContent = yes ? 'Go on' : 'Pause';
  if (!yes) {
    append(held.splice(0));
  }
  drawState();
}

const follow = () => page.events.follow({ log: activity, grep, lines: byId('count').value });

function open(name) {
  const isNew = name !== activity;
  returnTo = document.activeElement;
  activity = name;
  byId('reader-title').textContent = `Log of ${name}`;
  log.setAttribute('aria-label', `Newest lines of ${name}`);
  if (isNew) {
    clearTimeout(timer);
    grep = '';
    byId('grep').value = '';
    showPlace({});
    replace([], 'Reading …');
    setPaused(false);
    follow();
  }
  if (!dialog.open) {
    if (matchMedia('(max-width: 700px)').matches) {
      dialog.showModal();
    } else {
      dialog.show();
    }
    document.body.classList.add('reading');
  }
  log.focus();
}

function closed() {
  asking += 1;
  activity = '';
  early = null;
  held = [];
  document.body.classList.remove('reading');
  page.events.follow({});
  if (returnTo?.isConnected) {
    returnTo.focus({ preventScroll: true });
  }
}

/// Over an unencrypted connection browsers have no clipboard for pages, but the older way.
async function copy() {
  const lines = [...log.querySelectorAll('.log-line')].map((line) => line.textContent);
  const text = lines.map((line) => `${line}\n`).join('');
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    const area = make('textarea', { class: 'unseen', 'aria-hidden': 'true' });
    area.value = text;
    dialog.append(area);
    area.select();
    const done = document.execCommand('copy');
    area.remove();
    byId('copy').focus();
    if (!done) {
      say('bad', 'The browser does not let the page copy. Select the lines and copy them.');
      return;
    }
  }
  byId('reader-state').textContent = `${counted(lines.length, 'line')} copied`;
  speak(`${counted(lines.length, 'line')} copied`);
}

export function start(thePage) {
  page = thePage;
  page.read = open;
  page.reading = () => activity;
  page.events.addEventListener('lines', ({ detail }) => take(detail.lines));
  page.events.addEventListener('log', ({ detail }) => {
    if (activity && Array.isArray(detail.lines)) {
      showNewest(detail, detail.lines);
    } else if (activity) {
      fetchNewest();
    }
  });
  page.events.addEventListener('lost', () => activity && drawState('No connection'));
  byId('grep').addEventListener('input', () => {
    clearTimeout(timer);
    timer = setTimeout(() => {
      grep = byId('grep').value;
      if (activity) {
        follow();
      }
    }, 300);
  });
  byId('count').addEventListener('change', follow);
  byId('pause').addEventListener('click', () => setPaused(!paused));
  byId('copy').addEventListener('click', copy);
  byId('reader-close').addEventListener('click', () => dialog.close());
  dialog.addEventListener('close', closed);
  dialog.addEventListener('keydown', (event) => {
    if (event.key === 'Escape' && event.target.type !== 'search') {
      dialog.close();
    }
  });
}
