// Requests to the phone, and its events.
// SPDX-License-Identifier: MIT

const api = new URL('api/', document.baseURI);
const longest = 150000; // ms; the gateway gives up earlier

/// What a request did not get. `field` is the name of the wrong value, where there is one; `lost`
/// is whether nobody answered, so that nobody knows what was done.
export class Problem extends Error {
  constructor(text, { status = 0, field = '', lost = false } = {}) {
    super(text);
    Object.assign(this, { status, field, lost });
  }
}

/// What the phone says of an answer that is a failure.
function problemOf(status, answer) {
  const unspoken = status === 401 ? 'The phone asks for name and password again. Load the page anew.'
    : `The phone’s web server answered with ${status}.`;
  return new Problem(typeof answer?.error === 'string' ? answer.error : unspoken,
    { status, field: typeof answer?.field === 'string' ? answer.field : '' });
}

async function request(path, options) {
  let response;
  let text;
  try {
    response = await fetch(new URL(path, api), {
      cache: 'no-store', credentials: 'same-origin', redirect: 'error',
      signal: AbortSignal.timeout(longest), ...options,
    });
    text = await response.text();
  } catch (error) {
    throw new Problem(error.name === 'TimeoutError' ? 'The phone did not answer in time.'
      : 'The phone does not answer.', { lost: true });
  }
  let answer = null;
  try {
    answer = JSON.parse(text);
  } catch {
    // The sentence below says enough.
  }
  if (response.ok && answer !== null && typeof answer === 'object') {
    return answer;
  }
  throw problemOf(response.status, answer);
}

export const get = (path) => request(path, {});

export const post = (path, body) => request(path, {
  method: 'POST', body: JSON.stringify(body),
  headers: { 'Content-Type': 'application/json', 'X-Logging-Page': '1' },
});

/// Why the stream is refused; an empty text when nobody says. The browser tells no more of it than
/// that it is closed.
async function refusalOf(url) {
  const stop = new AbortController();
  try {
    const response = await fetch(url, { cache: 'no-store', signal: stop.signal });
    return response.ok ? '' : problemOf(response.status, await response.json()).message;
  } catch {
    return '';
  } finally {
    stop.abort();
  }
}

/// The stream of events. One for the whole page: what it follows besides is set by follow(). It
/// connects again by itself, at once when the network is back.
export class Events extends EventTarget {
  #source = null;
  #query = '';
  #tries = 0;
  #timer = 0;
  #heard = 0;
  #begun = 0;
  #beats = false;

  constructor() {
    super();
    addEventListener('online', () => this.connect());
    addEventListener('offline', () => this.#lose());
    document.addEventListener('visibilitychange', () => this.#check());
    addEventListener('pageshow', (event) => event.persisted && this.connect());
    setInterval(() => this.#check(), 5000);
  }

  /// Follows something besides, as the parameters say: a log.
  follow(parameters) {
    const given = Object.entries(parameters).filter(([, value]) => value !== '');
    const query = given.map(([key, value]) => `${key}=${encodeURIComponent(value)}`).join('&');
    if (query !== this.#query) {
      this.#query = query;
      this.connect();
    }
  }

  connect() {
    clearTimeout(this.#timer);
    this.#source?.close();
    const source = new EventSource(new URL(`events${this.#query && '?'}${this.#query}`, api));
    this.#source = source;
    this.#beats = false;
    this.#begun = Date.now();
    source.addEventListener('open', () => {
      this.#tries = 0;
      this.#heard = Date.now();
      this.#tell('connected', {});
    });
    source.addEventListener('error', () => this.#source === source && this.#fail());
    source.addEventListener('beat', () => {
      this.#beats = true;
      this.#heard = Date.now();
    });
    for (const name of ['service', 'activities', 'level', 'lines', 'log']) {
      source.addEventListener(name, (event) => {
        this.#heard = Date.now();
        let data;
        try {
          data = JSON.parse(event.data);
        } catch {
          return; // cut off; the connection ends then
        }
        this.#tell(name, data);
      });
    }
  }

  #tell(name, detail) {
    this.dispatchEvent(new CustomEvent(name, { detail }));
  }

  async #fail() {
    const source = this.#source;
    const closed = source.readyState === EventSource.CLOSED;
    this.#lose();
    const reason = closed ? await refusalOf(source.url) : '';
    if (this.#source === source) {
      this.#tell('lost', { reason });
    }
  }

  #lose() {
    this.#source?.close();
    clearTimeout(this.#timer);
    const wait = Math.min(10000, 500 * 2 ** this.#tries);
    this.#tries += 1;
    this.#timer = setTimeout(() => this.connect(), wait);
    this.#tell('lost', {});
  }

  // A cable that was pulled ends no connection; the beats that stay out tell.
  #check() {
    const state = this.#source?.readyState;
    const silent = state === EventSource.OPEN && this.#beats && Date.now() - this.#heard > 12000;
    const stuck = state === EventSource.CONNECTING && Date.now() - this.#begun > 20000;
    if (silent || stuck) {
      this.#lose();
    }
  }
}
