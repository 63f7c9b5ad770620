// The way to the server: requests with the token, and the stream of events, taken up again for ever.

import { now } from "./clock.js";

/** The server sends at least a comment every 15 s. */
const kSilence = 30_000;
const kAnswer = 10_000;
const kLongestPause = 5_000;
const kLongestLine = 1_000_000;
const kTokenKey = "token";

export class ApiError extends Error {
  constructor(status, words) {
    super(words);
    this.status = status;
  }
}

export function useToken(token) {
  sessionStorage.setItem(kTokenKey, token);
}

export function hasToken() {
  return sessionStorage.getItem(kTokenKey) !== null;
}

/** Resolves to the answer; throws ApiError with the server's words where it refuses. */
export async function request(path, options = {}) {
  const headers = new Headers(options.headers);
  const token = sessionStorage.getItem(kTokenKey);
  if (token !== null) headers.set("Authorization", `Bearer ${token}`);
  const answer = await fetch(path, { cache: "no-store", ...options, headers });
  if (answer.ok) return answer;
  const body = await answer.json().catch(() => ({}));
  throw new ApiError(answer.status, body.error ?? `status ${answer.status}`);
}

async function getJson(path) {
  return (await request(path, { signal: AbortSignal.timeout(kAnswer) })).json();
}

/** Calls back with the events of a stream, and for each piece that arrives. */
async function readEvents(body, onHeard, onEvent) {
  const reader = body.pipeThrough(new TextDecoderStream()).getReader();
  let rest = "";
  let name = "";
  let data = "";
  for (;;) {
    const { value, done } = await reader.read();
    if (done) return;
    onHeard();
    const lines = (rest + value).split(/\r?\n/);
    rest = lines.pop();
    if (rest.length > kLongestLine) throw new Error("a line without end");
    for (const line of lines) {
      if (line.startsWith("event:")) name = line.slice(6).trim();
      if (line.startsWith("data:")) data += line.slice(5);
      if (line !== "") continue;
      if (data !== "") onEvent(name, JSON.parse(data));
      name = data = "";
    }
  }
}

export class Connection {
  #handlers;
  #abort = null;
  #heard = 0;
  #wake = () => {};
  isLive = false;
  /** When something came last, by the wall; null before the first time. */
  lastHeard = null;

  /** `handlers`: start({server, scales, records}), weight, record, lost, changed (of isLive), and
   * askToken(words), which resolves when there is another token. */
  constructor(handlers) {
    this.#handlers = handlers;
  }

  /** Milliseconds since the server was heard. */
  get silence() {
    return now() - this.#heard;
  }

  /** Never ends. */
  async run() {
    for (let failures = 0; ; failures++) {
      try {
        await this.#follow(() => (failures = 0));
      } catch (error) {
        console.debug(error);
        this.#lose();
        if (error.status === 401) {
          await this.#handlers.askToken(hasToken() ? "The token is not accepted." : "");
          continue;
        }
      }
      this.#lose();
      await new Promise((resolve) => {
        this.#wake = resolve;
        setTimeout(resolve, Math.min(250 * 2 ** failures, kLongestPause));
      });
    }
  }

  /** To be called every second, and whenever the page may have slept. */
  check() {
    if (!this.isLive || this.silence < kSilence) return;
    this.#lose();
    this.#abort.abort();
  }

  retryNow() {
    this.#wake();
  }

  async #follow(onOpen) {
    const [server, scales, records] = await Promise.all(
      ["/api/server", "/api/scales", "/api/records?limit=100"].map(getJson));
    const abort = (this.#abort = new AbortController());
    const tooLong = setTimeout(() => abort.abort(), kAnswer);
    const stream = await request(`/api/events?after=${records.latest}`, { signal: abort.signal })
      .finally(() => clearTimeout(tooLong));
    onOpen();
    this.#handlers.start({ server, scales, records: records.records });
    this.#hear();
    this.isLive = true;
    this.#handlers.changed();
    await readEvents(stream.body, () => this.#hear(), (name, data) => {
      if (this.isLive) this.#handlers[name]?.(data);
    });
  }

  #hear() {
    this.#heard = now();
    this.lastHeard = new Date();
  }

  #lose() {
    if (!this.isLive) return;
    this.isLive = false;
    this.#handlers.changed();
  }
}
