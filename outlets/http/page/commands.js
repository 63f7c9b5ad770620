// The operator's commands, and what came of them.

import { now } from "./clock.js";
import { ApiError, request } from "./connection.js";
import { say } from "./dom.js";

const kFollowUp = 5_000; // ms in which a command should show in the readings

const kCommands = {
  zero: {
    name: "zero",
    shows: (w) => w.stable && (w.centerOfZero || w.gross === 0), // not every terminal has the first
    words: () => "is at zero",
  },
  tare: {
    name: "tare",
    shows: (w, before) =>
      w.netMode && (!before.netMode || w.tareText !== before.tareText || w.net === 0),
    words: (w) => (/\d/.test(w.tareText) ? `tare is ${w.tareText.trim()} ${w.unit}` : "is tared"),
  },
  clear: { name: "clear tare", shows: (w) => !w.netMode, words: () => "tare is cleared" },
  "preset-tare": {
    name: "preset tare",
    shows: (w, _, tare) => w.tare === tare || (w.tare === null && w.netMode),
    words: (w) => `tare is ${w.tareText.trim()} ${w.unit}`,
  },
  print: { name: "print", shows: () => false, words: () => "" }, // shows as a record
};
const followed = new Set(); // commands that have been given

/** Gives a command to a scale and says what came of it: what the server answers, then what shows of
 * it in the readings. */
export async function give(scale, name, connection, tare) {
  if (!scale?.mayBeCommanded) return;
  const { number } = scale;
  const command = kCommands[name];
  const what = `${scale.name}: ${command.name}`;
  if (!connection.isLive) {
    say(`${what} is not sent: no connection.`, true);
    return;
  }
  const entry = { scale, name, command, tare, before: scale.weight, until: Infinity };
  followed.add(entry); // the record of a print may come before the answer
  say(`${what} ...`);
  try {
    await request(`/api/scales/${number}/${name}`, {
      method: "POST",
      headers: { "Content-Type": "application/json" },
      body: JSON.stringify(tare === undefined ? {} : { tare }),
      signal: AbortSignal.timeout(10_000),
    });
  } catch (error) {
    followed.delete(entry);
    const unknown = !(error instanceof ApiError);
    say(unknown ? `${what}: no answer; look at the scale before you repeat it.`
                : `${what} is refused: ${error.message}`, true);
    return;
  }
  if (!followed.has(entry)) return;
  entry.until = now() + kFollowUp;
  entry.isGiven = true;
  say(`${what} is given.`);
}

/** The scale has a new weight. */
export function followWeight(scale) {
  for (const entry of followed) {
    if (entry.scale !== scale || !entry.isGiven) continue;
    const { command, before, tare } = entry;
    if (scale.weight.quality !== "good" || !command.shows(scale.weight, before, tare)) continue;
    followed.delete(entry);
    say(`${scale.name}: ${command.words(scale.weight)}.`);
  }
}

export function followRecord(record, words) {
  for (const entry of followed) {
    if (entry.scale.number !== record.scale || entry.name !== "print") continue;
    followed.delete(entry);
    say(`${entry.scale.name}: printed as record ${record.number}, ${words}.`);
  }
}

export function giveUpFollowing() {
  for (const entry of followed) {
    if (now() < entry.until) continue;
    followed.delete(entry);
    say(`${entry.scale.name}: ${entry.command.name} is given, but nothing shows of it yet.`, true);
  }
}
