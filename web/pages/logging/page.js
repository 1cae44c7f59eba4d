// The page's beginning: first data, events, the state of the connection, and its parts.
// SPDX-License-Identifier: MIT
import { Events, get } from './api.js';
import { byId, make, say, setText, setUsable, sizeText, speak } from './dom.js';
import * as table from './table.js';

const events = new Events();

/// What the page's parts share. Tells "data" when there is news from the phone.
const page = Object.assign(new EventTarget(), {
  events,
  table,
  data: { activities: [], room: null, remote: undefined, traces: [] },
  ahead: 0, // ms that the phone's clock is before this one
  now: () => Date.now() + page.ahead,

  /// Takes over what an answer says of the activities and the rest.
  take(data) {
    if (!Array.isArray(data?.activities)) {
      return;
    }
    const { activities, room, remote, traces } = data;
    Object.assign(page.data, { activities, room, remote, traces: traces ?? [] });
    table.showRows(activities, room);
    drawRoom(page.data.room);
    drawRemote(page.data.remote);
    drawButtons();
    page.dispatchEvent(new Event('data'));
  },

  /// Takes over the rows that a change answers with.
  takeRows(rows) {
    const news = new Map((rows ?? []).map((row) => [row.activity, row]));
    const activities = page.data.activities.map((row) => news.get(row.activity) ?? row);
    page.take({ ...page.data, activities });
  },

  /// Asks again, when it is not known what was done.
  async refresh() {
    try {
      page.take(await get('activities'));
    } catch {
      // The state of the connection says it.
    }
  },

  /// Does one change at a time; the buttons for others wait.
  async change(work) {
    changing += 1;
    drawButtons();
    try {
      return await work();
    } finally {
      changing -= 1;
      drawButtons();
    }
  },
});

let changing = 0;
let connection = 'starting'; // then "live" or "lost"
let present = true;
let since = null;
let reason = ''; // why there is no connection, where the phone says it

function drawButtons() {
  const usable = connection === 'live' && present;
  for (const button of document.querySelectorAll('.change, .needs-service')) {
    setUsable(button, usable && (changing === 0 || !button.classList.contains('change')));
  }
}

function drawState() {
  const names = { starting: 'Connecting', lost: 'No connection' };
  const state = names[connection] ? connection : present ? 'live' : 'absent';
  const word = names[connection] ?? (present ? 'Live' : 'Service not running');
  const element = byId('state');
  const before = element.dataset.state;
  element.dataset.state = state;
  setText(element, word);
  const trouble = state === 'lost' || state === 'absent';
  since = trouble ? since ?? new Date() : null;
  const time = since?.toLocaleTimeString([], { timeStyle: 'short' });
  const told = byId('absent').textContent;
  byId('absent').hidden = !trouble;
  setText(byId('absent'), state === 'lost'
    ? reason ? `${reason.replace(/\.$/, '')}. What is shown was true at ${time}. The page tries again by itself.`
      : `No connection to the phone since ${time}. What is shown was true then. The page goes on by itself when the phone answers again.`
    : state === 'absent'
      ? `The logging service is not running on the phone (noticed at ${time}). Nothing can be changed now. The page goes on by itself when it is back.`
      : '');
  if (trouble && (before !== state || byId('absent').textContent !== told)) {
    byId('alarm').textContent = byId('absent').textContent;
  } else if (state === 'live' && (before === 'lost' || before === 'absent')) {
    speak('The page is live again.');
  }
  drawButtons();
}

function drawRoom(room) {
  const list = byId('room');
  list.replaceChildren();
  for (const [name, disk] of [['RAM', room?.ram], ['Flash', room?.flash]]) {
    const known = disk && disk.total > 0;
    const used = known ? Math.min(1, 1 - disk.free / disk.total) : 0;
    const bar = make('span', { class: 'bar', 'aria-hidden': 'true',
      'data-kind': used > 0.9 ? 'flood' : name === 'RAM' ? 'ram' : 'flash' }, make('span'));
    bar.firstChild.style.setProperty('width', `${used * 100}%`);
    list.append(make('dt', {}, name, ' ', make('code', {}, disk?.directory ?? '')),
      make('dd', {}, known ? `${sizeText(disk.free)} free of ${sizeText(disk.total)}` : 'not known',
        bar));
  }
}

function drawRemote(remote) {
  const names = { LogRemoteServerExist: 'In use', LogRemoteServerAddress: 'Address',
    LogRemoteServerPort: 'Port', LogRemoteServerProtocol: 'Protocol' };
  const list = byId('remote');
  list.replaceChildren();
  if (!remote) {
    list.append(make('dt', {}, 'Settings'), make('dd', {}, remote === null
      ? 'The phone’s settings service does not answer.' : 'Not known yet.'));
    return;
  }
  for (const [key, name] of Object.entries(names)) {
    list.append(make('dt', {}, name), make('dd', {}, make('code', {}, String(remote[key] ?? ''))));
  }
}

function listen() {
  events.addEventListener('connected', () => {
    connection = 'live';
    reason = '';
    drawState();
  });
  events.addEventListener('lost', ({ detail }) => {
    connection = 'lost';
    reason = detail.reason ?? reason;
    drawState();
  });
  events.addEventListener('service', ({ detail }) => {
    present = detail.present === true;
    if (Number.isFinite(detail.now)) {
      page.ahead = detail.now - Date.now();
    }
    drawState();
  });
  events.addEventListener('activities', ({ detail }) => page.take(detail));
  events.addEventListener('level', ({ detail: { activity, level } }) => {
    const before = activity === 'all' ? '' : table.rowOf(activity)?.level;
    table.showLevel(activity, level);
    if (changing === 0 && before !== level) {
      speak(activity === 'all' ? `All activities are at ${level}` : `${activity} is at ${level}`);
    }
  });
}

// What the first view does not need comes behind it.
async function loadParts() {
  const names = ['changes', 'reader', 'traces', 'tools'];
  for (const part of await Promise.all(names.map((name) => import(`./${name}.js`)))) {
    part.start(page);
  }
}

// A button that cannot be used now does nothing, whether it is clicked or its form is sent.
document.addEventListener('click', (event) => {
  if (event.target.closest?.('button[aria-disabled=true]')) {
    event.preventDefault();
    event.stopImmediatePropagation();
  }
}, true);

function firstData() {
  try {
    return JSON.parse(byId('first').textContent);
  } catch {
    return null; // the web server gave out the page as it is
  }
}

const first = firstData();
table.startTable({
  read: (activity) => page.read?.(activity),
  trace: (activity) => page.trace?.(activity),
});
table.showRows([], null);
drawState();
page.take(first);
listen();
events.connect();
loadParts().then(() => {
  document.body.dataset.ready = 'true';
  page.dispatchEvent(new Event('data'));
}, () => say('bad', 'A part of this page could not be loaded. Load the page anew.'));
