// Traces: a level raised for a while, its log, the time that is left.
// SPDX-License-Identifier: MIT
import { post } from './api.js';
import { askBy, byId, make, say, setText, timeText, wholeNumber, wrong } from './dom.js';

const longest = 1440; // minutes

let page;
let shown = new Map(); // activity to the trace and its elements
let forActivity = '';
const stopping = new Set();

const until = (trace) => trace.until - page.now();

function leftText(trace) {
  if (stopping.has(trace.activity)) {
    return 'is being ended …';
  }
  return until(trace) > 0 ? `${timeText(until(trace))} left, then ${trace.former} again`
    : `time is over, going back to ${trace.former} …`;
}

async function stop(activity) {
  if (stopping.has(activity)) {
    return;
  }
  stopping.add(activity);
  tick();
  const message = say('busy', `Ending the trace of ${activity} …`);
  try {
    const answer = await page.change(() => post('traces', { activity, stop: true }));
    if (answer.ok) {
      message.change('good', `The trace of ${activity} has ended; it is at ${answer.level} now.`);
      forget(activity);
    } else {
      message.change('bad', answer.problem ?? 'The trace could not be ended.');
    }
  } catch (error) {
    message.change('bad', error.message);
  } finally {
    stopping.delete(activity);
    page.refresh();
  }
}

function newItem(trace) {
  const { activity } = trace;
  const left = make('span', { class: 'left number' });
  const buttons = make('span', { class: 'group' },
    make('button', { type: 'button', click: () => page.read(activity) },
      'Show log', make('span', { class: 'unseen' }, ` of ${activity}`)));
  if (trace.own) {
    buttons.append(make('button', { type: 'button', class: 'change', click: () => stop(activity) },
      'Stop', make('span', { class: 'unseen' }, ` the trace of ${activity}`)));
  }
  const item = make('li', { 'data-activity': activity },
    make('p', {}, make('strong', {}, activity), ` at ${trace.level}`,
      trace.own ? undefined : `, begun at the console by ${trace.user} and ended there`),
    left, buttons);
  return { trace, item, left };
}

function tick() {
  for (const { trace, left } of shown.values()) {
    setText(left, leftText(trace));
  }
  const read = shown.get(page.reading())?.trace;
  const button = byId('reader-stop');
  button.hidden = !read?.own || stopping.has(read.activity);
  if (!button.hidden) {
    setText(button, `Stop the trace (${timeText(until(read))})`);
  }
}

function forget(activity) {
  shown.get(activity)?.item.remove();
  shown.delete(activity);
  byId('traces').hidden = shown.size === 0;
}

function draw() {
  const traces = page.data.traces ?? [];
  const names = new Set(traces.map(({ activity }) => activity));
  for (const activity of [...shown.keys()]) {
    if (!names.has(activity)) {
      forget(activity);
      const row = page.table.rowOf(activity);
      if (!stopping.has(activity) && row) {
        say('good', `The trace of ${activity} is over; it is at ${row.level} now.`);
      }
    }
  }
  for (const trace of traces) {
    const old = shown.get(trace.activity);
    if (old && old.trace.own === trace.own && old.trace.level === trace.level) {
      old.trace = trace;
    } else {
      old?.item.remove();
      const fresh = newItem(trace);
      shown.set(trace.activity, fresh);
      byId('trace-list').append(fresh.item);
    }
  }
  byId('traces').hidden = shown.size === 0;
  tick();
}

async function begin() {
  const form = byId('trace-form');
  const minutes = wholeNumber(form, byId('minutes'), 1, longest, 'The number of minutes');
  if (minutes === null) {
    return false;
  }
  const activity = forActivity;
  const level = byId('trace-level').value;
  try {
    const answer = await page.change(() => post('traces',
      { activity, level, seconds: minutes * 60 }));
    if (!answer.ok) {
      wrong(form, '', answer.problem ?? 'The trace could not be begun.');
      return false;
    }
    say('good', `${activity} is at ${level} for ${minutes === 1 ? '1 minute' : `${minutes} minutes`
    }. The phone puts it back to ${answer.former}, also when this page is closed.`);
  } catch (error) {
    wrong(form, error.field === 'seconds' ? 'minutes' : '', error.message);
    return false;
  } finally {
    page.refresh();
  }
  setTimeout(() => page.read(activity)); // when the dialog has gone
  return true;
}

function open(activity) {
  forActivity = activity;
  byId('trace-title').textContent = `Trace ${activity}`;
  askBy(byId('trace'), begin);
}

export function start(thePage) {
  page = thePage;
  page.trace = open;
  page.addEventListener('data', draw);
  byId('reader-stop').addEventListener('click', () => stop(page.reading()));
  setInterval(tick, 1000);
}
