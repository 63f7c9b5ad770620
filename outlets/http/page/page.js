// The page: scales as cards, one scale for a wall, the last records.

import { now, timeText } from "./clock.js";
import { followRecord, followWeight, give, giveUpFollowing } from "./commands.js";
import { Connection, hasToken, request, useToken } from "./connection.js";
import { byId, rows, say, setAttribute, setHidden, setText } from "./dom.js";
import { Rhythm, judge, kStates } from "./judgement.js";
import {
  addRecord, downloadCsv, kMostRecords, recordWords, replaceRecords, showLastRecord,
} from "./records.js";
import { ScaleView } from "./scale_view.js";
import { Trend } from "./trend.js";

const scales = new Map(); // by number, in ascending order
let allowed = new Set(); // numbers of the scales that may be commanded
let title = "Scales";
let shown = { view: "overview", scale: 0 };

// Drawing: at most ten times a second, for all that has changed since; nobody reads more.

const kLeastDrawGap = 90; // ms
const dirty = new Set();
let lastDraw = 0;
let drawIsDue = false;

function drawSoon(scale) {
  dirty.add(scale);
  if (drawIsDue) return;
  drawIsDue = true;
  const wait = lastDraw + kLeastDrawGap - performance.now();
  if (wait > 0) setTimeout(() => requestAnimationFrame(drawDirty), wait);
  else requestAnimationFrame(drawDirty);
}

function drawDirty() {
  drawIsDue = false;
  lastDraw = performance.now();
  for (const scale of dirty) scale.draw();
  dirty.clear();
}

const single = new ScaleView(byId("single"), 600, "00.00");

class Scale {
  rhythm = new Rhythm();
  trend = new Trend();
  state = null;
  stillSince = 0;
  announced = "";

  constructor(number) {
    const card = byId("card").content.cloneNode(true).firstElementChild;
    card.querySelector("a").href = `#/scale/${number}`;
    this.number = number;
    card.dataset.scale = number;
    this.view = new ScaleView(card, 180, "000.00");
    const after = [...scales.values()].find((other) => other.number > number);
    byId("cards").insertBefore(card, after ? after.view.root : null);
  }

  get name() {
    const { scale, alias } = this.weight;
    return alias && alias !== `Scale${scale}` ? `Scale ${scale}, ${alias}` : `Scale ${scale}`;
  }

  get mayBeCommanded() {
    return allowed.has(this.number);
  }

  get amount() {
    return `${this.weight.netText.trim()} ${this.weight.unit}`;
  }

  take(weight) {
    this.weight = weight;
    const isReading = weight.quality === "good";
    this.rhythm.arrive(isReading);
    if (isReading && weight.net !== null && !weight.outOfRange) {
      this.lastGood = weight;
      this.trend.add(weight.net);
    }
    this.judge();
    drawSoon(this);
  }

  judge() {
    const former = this.state;
    this.state = judge(this, connection);
    if (former && former.key === this.state.key && former.detail === this.state.detail) return;
    if (former?.key !== this.state.key) this.stillSince = now();
    drawSoon(this);
  }

  get views() {
    if (shown.view === "overview") return [this.view];
    return shown.view === "single" && shown.scale === this.number ? [single] : [];
  }

  draw() {
    for (const view of this.views) if (view.isOnScreen) view.draw(this);
  }

  drawEachSecond() {
    for (const view of this.views) {
      if (!view.isOnScreen) view.draw(this);
      view.drawEachSecond(this);
    }
  }

  /** What a listener should hear of it, or nothing: never each number, and a normal change only of
   * the one scale that is shown, once it has settled. */
  news() {
    const { key, word, detail } = this.state;
    const isAlone = shown.view === "single" && shown.scale === this.number;
    const isNormal = !kStates[key].abnormal && key !== "off";
    const former = this.announced;
    const present = !isNormal ? key : isAlone ? `normal since ${this.stillSince}` : "";
    if (present === former || key === "lost" || now() - this.stillSince < 1000) return "";
    this.announced = present;
    if (isNormal && !(former in kStates) && (!isAlone || key === "moving")) return "";
    const amount = kStates[key].live && this.weight.net !== null ? ` ${this.amount}` : "";
    return `${this.name}: ${word}${amount}. ${detail}`;
  }
}

// The connection.

function takeWeight(weight) {
  let scale = scales.get(weight.scale);
  if (!scale) {
    scale = new Scale(weight.scale);
    scale.rhythm.start();
    scales.set(weight.scale, scale);
    const sorted = [...scales].sort(([a], [b]) => a - b);
    scales.clear();
    for (const [number, one] of sorted) scales.set(number, one);
    setHidden(byId("none"), true);
  }
  scale.take(weight);
  followWeight(scale);
}

const connection = new Connection({
  start({ server, scales: weights, records: list }) {
    title = server.title || "Scales";
    allowed = new Set(server.commands);
    setText(byId("title"), title);
    const isMany = weights.length > 12;
    document.body.classList.toggle("many", isMany);
    setText(byId("version"), `Version ${server.version}`);
    setHidden(byId("command-keys"), allowed.size === 0);
    const present = new Set(weights.map(({ scale }) => scale));
    for (const [number, scale] of scales) {
      scale.rhythm.start();
      if (present.has(number)) continue;
      scale.view.remove();
      scales.delete(number);
    }
    setHidden(byId("none"), weights.length > 0);
    weights.forEach(takeWeight);
    for (const scale of scales.values()) scale.view.isBrief = isMany || window.innerWidth < 480;
    replaceRecords(list);
    showView();
  },
  weight: takeWeight,
  record(record) {
    addRecord(record);
    followRecord(record, recordWords(record));
    showLastRecord(shown.scale);
  },
  async lost() {
    try {
      const answer = await request(`/api/records?limit=${kMostRecords}`);
      replaceRecords((await answer.json()).records);
    } catch {
      // The next start of the stream fetches them.
    }
  },
  changed() {
    drawAll();
    showLink();
    tick();
    if (connection.isLive) setText(byId("news"), "Connected.");
  },
  askToken,
});

let tokenAsked = null;
function askToken(problem) {
  tokenAsked ??= new Promise((resolve) => {
    const dialog = byId("token");
    byId("token-problem").textContent = problem;
    byId("token-text").value = "";
    dialog.addEventListener("close", () => {
      if (byId("token-text").value) useToken(byId("token-text").value.trim());
      tokenAsked = null;
      resolve();
    }, { once: true });
    dialog.showModal();
  });
  return tokenAsked;
}

function showLink() {
  const { isLive, lastHeard } = connection;
  setAttribute(byId("link"), "data-link", isLive ? "live" : "lost");
  setHidden(byId("outage"), isLive);
  setAttribute(document.body, "data-link", isLive ? "live" : "lost");
  if (isLive) return;
  setText(byId("link-words"), "no connection");
  setText(byId("outage-words"), lastHeard ? `No connection since ${timeText(lastHeard)}.`
                                          : "No connection yet.");
  setText(byId("outage-more"), "No weight is live until the server answers. The page keeps trying.");
}

/** Refreshes what the server words by the second, "no byte for 12 s", while there is any. */
let refreshing = false;
async function refreshReasons() {
  if (refreshing || document.hidden || !connection.isLive) return;
  if (![...scales.values()].some(({ weight }) => weight.enabled && weight.quality !== "good")) return;
  refreshing = true;
  try {
    const answer = await request("/api/scales", { signal: AbortSignal.timeout(5_000) });
    for (const weight of await answer.json()) {
      const scale = scales.get(weight.scale);
      // Where the stream was faster, it is right.
      if (!scale || weight.quality === "good" || scale.weight.quality !== weight.quality) continue;
      scale.weight = { ...scale.weight, reason: weight.reason };
      scale.judge();
    }
  } catch {
    // The stream shows whether the server is there.
  }
  refreshing = false;
}

async function refreshLine() {
  if (shown.view !== "single" || !byId("line").open || document.hidden || !connection.isLive) return;
  try {
    const answer = await request(`/api/scales/${shown.scale}/line`,
                                 { signal: AbortSignal.timeout(5_000) });
    const { counters, lastError, latestBytes, readingsPerSecond } = await answer.json();
    const bytes = (latestBytes.match(/../g) ?? []).slice(-64).join(" ");
    const values = { "readings/s": readingsPerSecond.toFixed(1), ...counters,
                     "last error": lastError || "none", "latest bytes": bytes };
    byId("line-values").replaceChildren(...rows(Object.entries(values)));
  } catch {
    // As above.
  }
}

// Each second.

function tick() {
  connection.check();
  let readings = 0;
  const counts = new Map();
  const news = [];
  for (const scale of scales.values()) {
    scale.judge();
    scale.drawEachSecond();
    const { key, word } = scale.state;
    const group = kStates[key].abnormal || key === "off" ? word.toLowerCase() : "good";
    counts.set(group, (counts.get(group) ?? 0) + 1);
    readings += scale.rhythm.perSecond;
    const words = scale.news();
    if (words) news.push(words);
  }
  if (news.length) {
    setText(byId("news"), news.length > 3 ? `${news.length} scales have changed their state.`
                                          : news.join(". "));
  }
  setText(byId("summary"), [...counts].map(([word, count]) => `${count} ${word}`).join(", "));
  if (connection.isLive) setText(byId("link-words"), `live, ${readings.toFixed(0)} readings/s`);
  const abnormal = [...scales.values()].filter(({ state }) => kStates[state.key].abnormal).length;
  const sign = !connection.isLive ? "No connection: " : abnormal ? `(${abnormal}) ` : "";
  if (document.title !== sign + title) document.title = sign + title;
  giveUpFollowing();
}

// Views and keys.

let wakeLock = null;
async function keepAwake() {
  const wanted = shown.view === "single" && document.visibilityState === "visible";
  if (!wanted) {
    wakeLock?.release();
    wakeLock = null;
  } else if ((!wakeLock || wakeLock.released) && "wakeLock" in navigator) {
    wakeLock = await navigator.wakeLock.request("screen").catch(() => null);
  }
}

function showView() {
  const number = Number(/^#\/scale\/(\d+)$/.exec(location.hash)?.[1] ?? 0);
  const view = number ? "single" : location.hash === "#/records" ? "records" : "overview";
  shown = { view, scale: number };
  document.body.dataset.view = view;
  for (const section of document.querySelectorAll("main > section")) {
    setHidden(section, section.id !== view);
  }
  for (const link of document.querySelectorAll("[data-nav]")) {
    if (link.dataset.nav === view) link.setAttribute("aria-current", "page");
    else link.removeAttribute("aria-current");
  }
  const numbers = [...scales.keys()];
  for (const link of document.querySelectorAll("[data-step]")) {
    const at = numbers.indexOf(number) + Number(link.dataset.step);
    link.href = `#/scale/${numbers[(at + numbers.length) % numbers.length] ?? number}`;
  }
  single.root.dataset.scale = number;
  single.ems = undefined;
  single.root.style.removeProperty("--ems");
  drawAll();
  showLastRecord(number);
  keepAwake();
  requestAnimationFrame(() => requestAnimationFrame(tick));
}

/** At once, so that nothing of before is seen for a moment. */
function drawAll() {
  for (const scale of scales.values()) {
    scale.judge();
    for (const view of scale.views) view.draw(scale);
  }
  if (shown.view === "single" && !scales.has(shown.scale)) {
    const weight = { scale: shown.scale, alias: "", enabled: false, ageMs: null, net: null, netText: "",
                     grossText: "", tareText: "", unit: "", reason: "there is no scale of this number" };
    single.draw({ weight, state: judge({ weight, rhythm: new Rhythm() }, connection) });
  }
}

/** The card above or below: the nearest one of the next row. */
function cardInDirection(cards, at, down) {
  const boxes = cards.map((card) => card.getBoundingClientRect());
  const here = boxes[at];
  const distance = ({ box }) => Math.abs(box.top - here.top) * 1000 + Math.abs(box.left - here.left);
  const [nearest] = boxes.map((box, i) => ({ box, i }))
    .filter(({ box }) => (down ? box.top > here.top + 1 : box.top < here.top - 1))
    .sort((a, b) => distance(a) - distance(b));
  return nearest && cards[nearest.i];
}

const kCommandKeys = { z: "zero", t: "tare", p: "print" };

function onKey(event) {
  if (event.ctrlKey || event.altKey || event.metaKey || event.repeat) return;
  if (event.target.closest("input, dialog")) return;
  const root = event.target.closest("[data-scale]");
  const command = kCommandKeys[event.key.toLowerCase()];
  if (command && root && event.target !== document.body) {
    give(scales.get(Number(root.dataset.scale)), command, connection);
    return;
  }
  if (event.key === "Escape" && shown.view !== "overview" && !document.fullscreenElement) {
    location.hash = "#/";
    return;
  }
  const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
  if (shown.view === "single" && step) {
    document.querySelector(`[data-step="${step}"]`).click();
    return;
  }
  if (shown.view !== "overview" || !event.key.startsWith("Arrow")) return;
  const cards = [...byId("cards").children];
  const at = cards.findIndex((card) => card.contains(document.activeElement));
  const next = at < 0 ? cards[0]
    : step ? cards[at + step] : cardInDirection(cards, at, event.key === "ArrowDown");
  if (!next) return;
  event.preventDefault();
  next.querySelector("a").focus();
}

document.addEventListener("keydown", onKey);
document.addEventListener("click", (event) => {
  const button = event.target.closest("[data-command]");
  if (!button) return;
  const number = Number(button.closest("[data-scale]").dataset.scale);
  give(scales.get(number), button.dataset.command, connection);
});
byId("preset").addEventListener("submit", (event) => {
  event.preventDefault();
  const tare = Number(byId("preset-tare").value.replace(",", "."));
  if (!Number.isFinite(tare) || tare < 0) {
    say("The preset tare is a number, 0 or more.", true);
    return;
  }
  give(scales.get(shown.scale), "preset-tare", connection, tare);
});
byId("fullscreen").addEventListener("click", () => {
  if (document.fullscreenElement) document.exitFullscreen();
  else document.documentElement.requestFullscreen().catch((error) => say(error.message, true));
});
byId("line").addEventListener("toggle", refreshLine);
byId("csv").addEventListener("click", downloadCsv);
window.addEventListener("hashchange", showView);
window.addEventListener("online", () => connection.retryNow());
window.addEventListener("pageshow", tick);
document.addEventListener("appear", ({ target }) => {
  const scale = scales.get(Number(target.dataset.scale));
  if (scale) drawSoon(scale);
});
document.addEventListener("visibilitychange", () => {
  drawAll();
  tick();
  keepAwake();
  if (!document.hidden) connection.retryNow();
});

showView();
setInterval(tick, 1000);
setInterval(refreshReasons, 2000);
setInterval(refreshLine, 2000);
connection.run();
