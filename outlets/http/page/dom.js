// Writing to the document: only what differs.

import { timeText } from "./clock.js";

export const byId = (id) => document.getElementById(id);

export function setText(node, text) {
  if (node.shownText === text) return;
  node.shownText = text;
  node.textContent = text;
}

export function setAttribute(node, name, value) {
  if (node.getAttribute(name) !== value) node.setAttribute(name, value);
}

export function setHidden(node, isHidden) {
  if (node.hidden !== isHidden) node.hidden = isHidden;
}

export function element(tag, text, className) {
  const made = document.createElement(tag);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  return made;
}

const kMessageTime = 30_000;
let messageEnd;
/** What came of the user's doing; a screen reader reads it out. */
export function say(words, isProblem = false) {
  clearTimeout(messageEnd);
  messageEnd = setTimeout(() => (byId("message").textContent = ""), kMessageTime);
  byId("message").classList.toggle("problem", isProblem);
  byId("message").textContent = `${timeText(new Date())} ${words}`;
}

/** The rows of a list of names and values. */
export function rows(pairs) {
  return pairs.map(([name, value]) => {
    const row = element("div");
    row.append(element("dt", name), element("dd", String(value)));
    return row;
  });
}
