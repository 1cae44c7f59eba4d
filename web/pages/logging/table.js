// The table of activities: rows, sorting, filter, what is chosen.
// SPDX-License-Identifier: MIT
import { byId, counted, listed, make, setText, sizeText } from './dom.js';

/// From the fewest messages to the most.
export const levels = ['emerg', 'err', 'warning', 'notice', 'info', 'debug'];
const initialLevel = 'err';
const flood = 0.2; // a file that takes more of its file system stands out

const body = byId('rows');
const headings = [...document.querySelectorAll('th[data-column]')];
const lines = new Map(); // the cells of each activity
const chosen = new Set();
const asked = new Map(); // levels that are under way
let rows = [];
let room = null;
let sortedBy = '';
let falling = false;
let callbacks = {};

const ownFile = (activity) => (activity.includes('defence') ? '/log/Defence.log'
  : `/var/log/${activity}.log`);

const isElsewhere = (row) => !row.initial
  && (row.level === initialLevel || row.file !== ownFile(row.activity));

const inFlash = (row) => row.file?.startsWith('/log/') ?? false;

function compare(left, right) {
  switch (sortedBy) {
  case 'level':
    return levels.indexOf(left.level) - levels.indexOf(right.level);
  case 'size':
    return (left.size ?? -1) - (right.size ?? -1);
  default:
    return left[sortedBy].localeCompare(right[sortedBy], 'en', { numeric: true });
  }
}

const sorted = () => (sortedBy === '' ? rows
  : [...rows].sort((left, right) => (falling ? compare(right, left) : compare(left, right))));

function matches(row) {
  const words = byId('filter').value.toLowerCase().split(/\s+/).filter(Boolean);
  const text = [row.activity, row.level, row.support, row.destination].join(' ').toLowerCase();
  return words.every((word) => text.includes(word))
    && (!byId('only-changed').checked || !row.initial);
}

const hidden = (text) => make('span', { class: 'unseen' }, text);

function newLine(activity) {
  const pick = make('input', { type: 'checkbox', id: `pick-${newLine.count += 1}`,
    change: () => choose([activity], pick.checked) });
  const cell = (name, ...inside) => make('td', { role: 'cell', class: name }, ...inside);
  const line = {
    pick,
    badge: make('span', { class: 'badge' }),
    asked: make('span', { class: 'asked' }),
    note: hidden(''),
    support: cell('support'),
    destination: make('span', {}),
    away: hidden(''),
    size: make('span', { class: 'number' }),
    where: make('span', { class: 'where' }),
    bar: make('span', { class: 'bar', 'aria-hidden': 'true' }, make('span')),
  };
  line.element = make('tr', { role: 'row', 'data-activity': activity },
    cell('pick', pick),
    make('th', { role: 'rowheader', scope: 'row', class: 'name' },
      make('label', { for: pick.id }, activity)),
    cell('level', line.badge, line.asked, line.note),
    line.support,
    cell('destination', line.destination, line.away),
    cell('size', line.size, line.where, line.bar),
    cell('acts',
      make('button', { type: 'button', class: 'plain', click: () => callbacks.read(activity) },
        'Read', hidden(` the log of ${activity}`)),
      make('button', { type: 'button', class: 'plain change', 'data-trace': true,
        click: () => callbacks.trace(activity) }, 'Trace…', hidden(` ${activity}`))));
  return line;
}
newLine.count = 0;

function drawLevel(line, row) {
  setText(line.badge, row.level);
  line.badge.dataset.level = row.level;
  const wanted = asked.get(row.activity);
  setText(line.asked, wanted && wanted !== row.level ? ` → ${wanted}` : '');
  setText(line.note, row.level === initialLevel ? '' : ' (not initial)');
}

function drawSize(line, row, largest) {
  const known = row.size !== undefined;
  setText(line.size, known ? sizeText(row.size) : row.file ? 'no file yet' : '–');
  setText(line.where, known ? (inFlash(row) ? 'flash' : 'RAM') : '');
  line.bar.hidden = !known;
  if (known) {
    const share = largest > 0 ? row.size / largest : 0;
    line.bar.firstChild.style.setProperty('width', `${Math.max(share * 100, row.size ? 1 : 0)}%`);
    const total = (inFlash(row) ? room?.flash : room?.ram)?.total ?? 0;
    line.bar.dataset.kind = total > 0 && row.size > flood * total ? 'flood'
      : inFlash(row) ? 'flash' : 'ram';
  }
}

function draw() {
  const largest = Math.max(0, ...rows.map((row) => row.size ?? 0));
  let shown = 0;
  let place = body.firstElementChild;
  const focused = document.activeElement;
  for (const row of sorted()) {
    const line = lines.get(row.activity);
    line.element.hidden = !matches(row);
    shown += line.element.hidden ? 0 : 1;
    line.element.classList.toggle('changed', !row.initial);
    line.element.classList.toggle('elsewhere', isElsewhere(row));
    setText(line.support, row.support);
    setText(line.destination, row.destination);
    // On a narrow screen there is no column for it.
    line.destination.parentElement.dataset.support = row.support === 'file' ? '' : `${row.support} `;
    setText(line.away, isElsewhere(row) ? ' (not initial)' : '');
    drawLevel(line, row);
    drawSize(line, row, largest);
    if (line.element === place) {
      place = place.nextElementSibling;
    } else {
      body.insertBefore(line.element, place);
    }
  }
  if (focused !== document.activeElement && focused.isConnected) {
    focused.focus({ preventScroll: true }); // its row was moved
  }
  const changed = rows.filter((row) => !row.initial).length;
  setText(byId('shown'), `${shown === rows.length ? counted(shown, 'activity', 'activities')
    : `${shown} of ${counted(rows.length, 'activity', 'activities')} shown`}, ${
    changed === 0 ? 'all initial' : `${changed} not initial`}`);
  byId('none').hidden = shown > 0;
  setText(byId('none'), rows.length === 0 ? 'The activities are not known yet.'
    : 'No activity fits. Empty the filter to see them all.');
  drawChosen();
}

function drawChosen() {
  for (const [activity, line] of lines) {
    line.pick.checked = chosen.has(activity);
    line.element.classList.toggle('picked', chosen.has(activity));
  }
  const shown = rows.filter((row) => !lines.get(row.activity).element.hidden);
  const all = byId('pick-all');
  all.checked = shown.length > 0 && shown.every((row) => chosen.has(row.activity));
  all.indeterminate = !all.checked && shown.some((row) => chosen.has(row.activity));
  setText(byId('chosen-text'), chosen.size === 0
    ? 'Choose activities in the table to change them.'
    : `${chosen.size} chosen: ${listed(getChosen(), 4)}`);
  byId('chosen').classList.toggle('some', chosen.size > 0);
}

function choose(activities, yes) {
  for (const activity of activities) {
    if (yes) {
      chosen.add(activity);
    } else {
      chosen.delete(activity);
    }
  }
  drawChosen();
}

function sortBy(column) {
  falling = sortedBy === column ? !falling : column === 'level' || column === 'size';
  sortedBy = column;
  for (const heading of headings) {
    if (heading.dataset.column === column) {
      heading.setAttribute('aria-sort', falling ? 'descending' : 'ascending');
    } else {
      heading.removeAttribute('aria-sort');
    }
  }
  draw();
}

/// The chosen activities, in the order of the service's table.
export const getChosen = () => rows.map((row) => row.activity)
  .filter((activity) => chosen.has(activity));

export const chooseNone = () => choose([...chosen], false);

export const rowOf = (activity) => rows.find((row) => row.activity === activity);

export const activityCount = () => rows.length;

/// Shows these rows, and no others.
export function showRows(newRows, newRoom) {
  rows = newRows;
  room = newRoom ?? room;
  const names = new Set(rows.map((row) => row.activity));
  for (const [activity, line] of lines) {
    if (!names.has(activity)) {
      line.element.remove();
      lines.delete(activity);
      chosen.delete(activity);
    }
  }
  for (const activity of names) {
    if (!lines.has(activity)) {
      lines.set(activity, newLine(activity));
    }
  }
  draw();
}

/// A level that was announced: of one activity, or of "all".
export function showLevel(activity, level) {
  rows = rows.map((row) => (activity !== 'all' && row.activity !== activity) || row.level === level
    ? row : { ...row, level,
      initial: level === initialLevel && row.file === ownFile(row.activity) });
  draw();
  for (const [name, line] of lines) {
    if (activity === 'all' || name === activity) {
      line.badge.classList.remove('fresh');
      void line.badge.offsetWidth; // so that the animation begins anew
      line.badge.classList.add('fresh');
    }
  }
}

/// Levels that are being set: activity to level. They are shown as wishes until they are true.
export function showAsked(wishes) {
  asked.clear();
  for (const [activity, level] of Object.entries(wishes)) {
    asked.set(activity, level);
  }
  body.setAttribute('aria-busy', String(asked.size > 0));
  draw();
}

/// `reactions` are functions of an activity: read, trace.
export function startTable(reactions) {
  callbacks = reactions;
  body.replaceChildren();
  for (const heading of headings) {
    heading.firstElementChild.addEventListener('click', () => sortBy(heading.dataset.column));
  }
  byId('filter').addEventListener('input', draw);
  byId('only-changed').addEventListener('change', draw);
  byId('pick-all').addEventListener('change', (event) => choose(
    rows.map((row) => row.activity).filter((name) => !lines.get(name).element.hidden),
    event.target.checked));
}
