// What state a scale is in, as one word: from what the server says and from the age on this page.

import { dateTimeText, durationText, now, timeText } from "./clock.js";

/** A scale that has sent regularly and is silent for so long has no live weight, whatever was said
 * of it last: then the server, or the way from it, hangs. */
const kLeastLimit = 3_000;
const kMissedReadings = 10;

/** Whether a weight may be shown as one, and whether the state calls for attention; `brief` is the
 * word where there is little room. */
export const kStates = {
  stable: { word: "Stable", live: true },
  zero: { word: "Centre of zero", brief: "Zero", live: true },
  moving: { word: "Moving", live: true },
  ready: { word: "Ready", live: true, icon: "stable" },
  range: { word: "Out of range", live: true, abnormal: true },
  none: { word: "No weight", live: true, abnormal: true, icon: "range" },
  old: { word: "Old", abnormal: true, icon: "stale" },
  stale: { word: "Stale", abnormal: true },
  error: { word: "Error", abnormal: true },
  off: { word: "Off" },
  lost: { word: "No connection", brief: "Offline", abnormal: true },
};

/** How often a scale sends, learned from when its readings arrive. */
export class Rhythm {
  #interval = 0;
  #readings = 0;
  #seconds = new Uint16Array(6);
  #second = 0;
  #since = 0;
  arrived = 0;

  start() {
    this.#readings = 0;
    this.#seconds.fill(0);
    this.#since = now();
  }

  arrive(isReading) {
    const time = now();
    if (isReading) {
      const gap = time - this.arrived;
      this.#interval = this.#readings > 1 ? this.#interval * 0.9 + gap * 0.1 : gap;
      this.#readings++;
      this.#roll(time);
      this.#seconds[this.#second % 6]++;
    }
    this.arrived = time;
  }

  #roll(time) {
    const second = Math.floor(time / 1000);
    if (second - this.#second > 6) this.#second = second - 6;
    while (this.#second < second) this.#seconds[++this.#second % 6] = 0;
  }

  /** Over the last five whole seconds, or those since the start. */
  get perSecond() {
    const time = now();
    this.#roll(time);
    let count = 0;
    for (let i = 1; i < 6; i++) count += this.#seconds[(this.#second - i + 6) % 6];
    return count / Math.min(Math.max((time - this.#since) / 1000 - (time % 1000) / 1000, 1), 5);
  }

  /** Milliseconds after which silence means that something hangs. */
  get limit() {
    if (this.#readings < 10) return Infinity;
    return Math.max(kLeastLimit, this.#interval * kMissedReadings);
  }
}

export function hasFields(weight) {
  return weight.fields?.length > 0 && weight.net === null;
}

function liveKey(weight) {
  if (hasFields(weight)) return "ready"; // the weights of such a scale are blank
  if (weight.outOfRange) return "range";
  if (weight.net === null) return "none";
  if (!weight.stable) return "moving";
  return weight.centerOfZero ? "zero" : "stable";
}

function rangeWord(weight) {
  const number = weight.gross ?? weight.net;
  if (number === null) return kStates.range.word;
  return number < 0 ? "Under range" : "Over range";
}

function lastWeight(weight) {
  if (!weight || weight.ageMs === null || weight.net === null) return "";
  return `Last ${weight.netText.trim()} ${weight.unit}, ${timeText(new Date(weight.time))}`;
}

/** {key, word, detail, last}: detail says why, last what was weighed when it was live, since stale
 * weights come without numbers. */
export function judge({ weight, lastGood, rhythm }, connection) {
  const silence = now() - rhythm.arrived;
  const result = (key, detail) => ({
    key,
    word: key === "range" ? rangeWord(weight) : kStates[key].word,
    detail,
    last: kStates[key].live ? "" : lastWeight(lastGood ?? weight),
  });
  if (!connection.isLive) return result("lost", "");
  if (!weight.enabled) return result("off", weight.reason);
  if (weight.quality !== "good") {
    return result(weight.quality in kStates ? weight.quality : "error", weight.reason);
  }
  if (silence > rhythm.limit) return result("old", `no reading for ${durationText(silence)}`);
  const key = liveKey(weight);
  if (key === "ready" && weight.ageMs !== null) {
    return result(key, `latest at ${dateTimeText(new Date(weight.time))}`);
  }
  if (key === "none" && !weight.reason) return result(key, `in its place: ${weight.netText.trim()}`);
  return result(key, weight.reason);
}
