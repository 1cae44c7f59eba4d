// Changes of levels and destinations, and what became of them.
// SPDX-License-Identifier: MIT
import { post } from './api.js';
import { askBy, byId, clearErrors, counted, listed, say, wrong } from './dom.js';

const hostName = /^[A-Za-z](?:[-.]?[A-Za-z0-9])+$/;
const number = '(?:25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])';
const ipv4 = new RegExp(`^${number}(?:\\.${number}){3}$`);
const fileName = /^[A-Za-z0-9][A-Za-z0-9._+-]{0,63}$/;
const userName = /^[a-z_][a-z0-9_-]{0,31}$/;

let page;

const kind = () => byId('send-form').elements.to.value;

const isServer = (to) => to === 'udp' || to === 'tcp';

const needsName = (to) => to === 'ram' || to === 'flash' || to === 'usertty';

/// Where the messages of a row go, as the service's table has it.
const placeOf = (row) => (row.support === 'file' ? row.destination
  : `${row.support} ${row.destination}`);

function failed(message, error) {
  if (error.lost) {
    message.change('bad', `${error.message} Whether it was done, the table shows when the phone is back.`);
  } else {
    message.change('bad', error.message);
  }
}

async function setLevels(body, wishes, what) {
  const { table } = page;
  const message = say('busy', `${what} …`);
  table.showAsked(wishes);
  try {
    const answer = await page.change(() => post('levels', body));
    table.showAsked({});
    page.takeRows(answer.activities);
    const unchanged = answer.unchanged ?? [];
    if (answer.ok && unchanged.length === 0) {
      const names = Object.keys(wishes);
      const [level] = Object.values(wishes);
      message.change('good', body.all ? `All activities are at ${level} now.`
        : `${listed(names)} ${names.length === 1 ? 'is' : 'are'} at ${level} now.`);
    } else if (unchanged.length > 0) {
      const list = unchanged.map((name) => {
        const row = table.rowOf(name);
        return row ? `${name} is at ${row.level}` : `${name} is not in the table`;
      });
      message.change('bad', `${counted(unchanged.length, 'activity', 'activities')} did not change.`,
        { list: answer.problem ? [answer.problem, ...list] : list });
    } else {
      message.change('bad', answer.problem ?? 'The service did not do it.', { said: answer.text });
    }
  } catch (error) {
    table.showAsked({});
    failed(message, error);
    page.refresh();
  }
}

function applyChosen(event) {
  event.preventDefault();
  const names = chosenOrSay();
  if (names) {
    const level = byId('level').value;
    const wishes = Object.fromEntries(names.map((name) => [name, level]));
    setLevels({ levels: wishes }, wishes, `Setting ${listed(names)} to ${level}`);
  }
}

function allToErr() {
  const wishes = Object.fromEntries(page.data.activities.map(({ activity }) => [activity, 'err']));
  setLevels({ all: 'err' }, wishes, 'Setting all activities to err');
}

function chosenOrSay() {
  const names = page.table.getChosen();
  if (names.length === 0) {
    say('bad', 'Nothing is chosen. Choose one or more activities in the table first.');
    return null;
  }
  return names;
}

/// What a redirection came to, in sentences.
function outcome(sent) {
  const { table } = page;
  const refused = [...new Set(sent.flatMap((answer) => answer.refused ?? []))];
  const lost = sent.flatMap((answer) => answer.lost ?? []);
  const list = refused.map((name) => {
    const row = table.rowOf(name);
    return row ? `${name} goes to ${placeOf(row)}` : `${name} is not in the table`;
  });
  list.push(...lost.map(({ activity, what, before, after }) => (
    `The backup also changed the ${what} of ${activity} from ${before} to ${after}.`)));
  const failure = sent.find((answer) => !answer.ok);
  if (refused.length > 0) {
    return ['bad', 'syslog-ng refused the destination. The backup of the configuration is in place again.',
      { list, said: failure?.text }];
  }
  if (failure) {
    return ['bad', failure.problem ?? 'The service did not do it.', { list, said: failure.text }];
  }
  return list.length > 0 ? ['bad', 'It was done, but not only that.', { list }] : null;
}

/// Sends the activities to a destination one after the other, all of them at once. Answers whether
/// it was tried; what is wrong with a field is thrown.
async function sendTo(targets, destination, what) {
  const all = targets.length === page.table.activityCount();
  const names = all ? ['all'] : targets;
  const whom = all ? 'All activities' : listed(targets);
  const message = say('busy', `${whom}: ${what} …`);
  const sent = [];
  try {
    await page.change(async () => {
      for (const [index, activity] of names.entries()) {
        if (names.length > 1) {
          message.change('busy', `${activity}: ${what} (${index + 1} of ${names.length}) …`);
        }
        const answer = await post('destinations', { activity, ...destination });
        sent.push(answer);
        page.takeRows(answer.activities);
        if (!answer.ok) {
          break;
        }
      }
    });
  } catch (error) {
    if (error.field && sent.length === 0) {
      message.close();
      throw error;
    }
    failed(message, error);
    page.refresh();
    return;
  }
  const bad = outcome(sent);
  if (bad) {
    message.change(...bad);
    return;
  }
  const row = page.table.rowOf(targets[0]);
  const where = destination.to === 'own' ? (all || targets.length > 1 ? 'their own files' : 'its own file')
    : placeOf(row);
  message.change('good', `${whom} ${all || targets.length > 1 ? 'go' : 'goes'} to ${where} now.`);
}

const toOwn = (targets) => sendTo(targets, { to: 'own' }, 'back to the own file');

const everything = () => page.data.activities.map(({ activity }) => activity);

function showFields() {
  const to = kind();
  clearErrors(byId('send-form'));
  byId('send-name').hidden = !needsName(to);
  byId('send-server').hidden = !isServer(to);
  byId('name-label').textContent = to === 'usertty' ? 'Name of the user' : 'Name of the file';
  showHint();
}

function showHint() {
  const to = kind();
  const name = byId('name').value.trim();
  const file = name.endsWith('.log') ? name : `${name || 'NAME'}.log`;
  byId('name-hint').textContent = to === 'usertty' ? 'Where this user is logged in, messages appear.'
    : `Becomes ${to === 'flash' ? '/log/flash/' : '/var/log/'}${file}`;
}

/// The destination that the form says, or null with the reason at the field.
function readForm() {
  const form = byId('send-form');
  const to = kind();
  let good = true;
  const check = (field, fits, text) => {
    if (!fits) {
      wrong(form, field, text);
      good = false;
    }
  };
  if (needsName(to)) {
    const name = byId('name').value.trim();
    const isUser = to === 'usertty';
    check('name', (isUser ? userName : fileName).test(name), name === ''
      ? `Give the name of the ${isUser ? 'user' : 'file'}.`
      : isUser ? 'A user’s name has small letters, digits, _ and -, and at most 32 of them.'
        : 'Only the bare name: up to 64 letters, digits and . _ + -, no / or ~, no brackets, no quotes.');
    return good ? { to, name } : null;
  }
  if (isServer(to)) {
    const address = byId('address').value.trim();
    const port = byId('port').value.trim();
    check('address', ipv4.test(address) || hostName.test(address), address === ''
      ? 'Give the address of the log server.'
      : 'An address is four numbers from 0 to 255 like 10.1.2.3, or a name of letters, digits, - and . that begins with a letter.');
    check('port', /^[0-9]{1,5}$/.test(port) && Number(port) >= 1 && Number(port) <= 65535,
      'A port is a number from 1 to 65535.');
    return good ? { to, address, port: Number(port) } : null;
  }
  return { to };
}

function openForm(targets) {
  const form = byId('send-form');
  byId('send-what').textContent = targets.length === page.table.activityCount()
    ? `The messages of all ${counted(targets.length, 'activity', 'activities')}.`
    : `The messages of ${listed(targets)}.`;
  showFields();
  askBy(byId('send'), async () => {
    const destination = readForm();
    if (!destination) {
      return false;
    }
    try {
      await sendTo(targets, destination, 'sending elsewhere');
      return true;
    } catch (error) {
      wrong(form, error.field, error.message);
      return false;
    }
  });
}

export function start(thePage) {
  page = thePage;
  byId('chosen').addEventListener('submit', applyChosen);
  byId('all-err').addEventListener('click', allToErr);
  byId('all-own').addEventListener('click', () => toOwn(everything()));
  byId('all-send').addEventListener('click', () => openForm(everything()));
  byId('choose-none').addEventListener('click', () => page.table.chooseNone());
  byId('chosen-own').addEventListener('click', () => {
    const names = chosenOrSay();
    if (names) {
      toOwn(names);
    }
  });
  byId('chosen-send').addEventListener('click', () => {
    const names = chosenOrSay();
    if (names) {
      openForm(names);
    }
  });
  byId('send-form').addEventListener('change', (event) => event.target.name === 'to' && showFields());
  byId('name').addEventListener('input', showHint);
}
