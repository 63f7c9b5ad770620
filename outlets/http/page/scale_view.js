// What shows a scale: a card, or the whole screen.

import { element, rows, setAttribute, setHidden, setText } from "./dom.js";
import { hasFields, kStates } from "./judgement.js";

const colours = {};
export function readColours() {
  const style = getComputedStyle(document.documentElement);
  for (const name of ["line", "grid", "text"]) {
    colours[name] = style.getPropertyValue(`--trend-${name}`).trim();
  }
  colours.font = getComputedStyle(document.body).fontFamily;
}

/** How wide the characters of the large numbers are, in parts of their height. */
const widths = {};
function measureCharacters() {
  const context = element("canvas").getContext("2d");
  context.font = `600 100px ${getComputedStyle(document.body).fontFamily}`;
  for (const character of "0.m") widths[character] = context.measureText(character).width / 100;
}

/** The size of each trend; the views that are on the screen. What is not is drawn once a second, for
 * those who read it by other means. */
const sizes = new WeakMap();
const onScreen = new WeakSet();
const resizing = new ResizeObserver((entries) => {
  for (const { target, contentRect } of entries) sizes.set(target, contentRect);
});
const scrolling = new IntersectionObserver((entries) => {
  for (const { target, isIntersecting } of entries) {
    if (isIntersecting) onScreen.add(target);
    else onScreen.delete(target);
    if (isIntersecting) target.dispatchEvent(new Event("appear", { bubbles: true }));
  }
});

function widthOf(value) {
  const points = (value.match(/[.,]/g) ?? []).length;
  return (value.length - points) * widths["0"] + points * widths["."];
}

/** Sends "appear" from its element when it comes onto the screen. */
export class ScaleView {
  #parts = {};
  #fields = "";

  /** `sample`: numbers up to its width have one size. */
  constructor(root, trendSeconds, sample) {
    this.root = root;
    this.sample = sample;
    this.trendSeconds = trendSeconds;
    for (const part of root.querySelectorAll("[data-f]")) this.#parts[part.dataset.f] = part;
    resizing.observe(this.#parts.trend.parentElement);
    scrolling.observe(root);
  }

  remove() {
    resizing.unobserve(this.#parts.trend.parentElement);
    scrolling.unobserve(this.root);
    this.root.remove();
  }

  get isOnScreen() {
    return onScreen.has(this.root);
  }

  draw(scale) {
    const { weight, state } = scale;
    const parts = this.#parts;
    const isLive = kStates[state.key].live === true;
    const hasNumber = isLive && weight.net !== null; // asterisks stand for one that is out of range
    const byFields = hasFields(weight);
    setAttribute(this.root, "data-state", state.key);
    setAttribute(parts.icon, "href", `#${kStates[state.key].icon ?? state.key}`);
    setText(parts.word, (this.isBrief && kStates[state.key].brief) || state.word);
    setText(parts.number, String(weight.scale));
    setText(parts.alias, weight.alias);
    setText(parts.mode, hasNumber ? (weight.netMode ? "Net" : "Gross") : "");
    const value = hasNumber ? weight.netText.trim() : "\u2013 \u2013 \u2013";
    setText(parts.value, byFields && isLive ? "" : value);
    setText(parts.unit, hasNumber ? weight.unit : "");
    if (hasNumber) this.#fit(value, weight.unit);
    setText(parts.detail, [state.detail, state.last].filter(Boolean).join(". "));
    this.#drawFields(isLive ? (weight.fields ?? []) : []);
    const amount = (text) => (isLive && /\d/.test(text) ? `${text.trim()} ${weight.unit}` : "\u2013");
    setText(parts.gross, amount(weight.grossText));
    setText(parts.tare, amount(weight.tareText));
    if (parts.net) setText(parts.net, amount(weight.netText));
    this.root.classList.toggle("by-fields", byFields);
    setHidden(parts.commands, !scale.mayBeCommanded);
  }

  /** The number gets as large as its characters let it; it never jumps back while it is shown. */
  #fit(value, unit) {
    const wide = Math.max(widthOf(value), widthOf(this.sample)) + unit.length * widths.m * 0.33 + 0.15;
    if (wide <= (this.ems ?? 0)) return;
    this.ems = wide;
    this.root.style.setProperty("--ems", wide.toFixed(2));
  }

  #drawFields(fields) {
    const text = JSON.stringify(fields);
    if (text === this.#fields) return;
    this.#fields = text;
    this.#parts.fields.replaceChildren(...rows(fields.map(({ name, value }) => [name, value])));
  }

  drawEachSecond(scale) {
    const { trend, rate } = this.#parts;
    const perSecond = scale.rhythm.perSecond;
    setText(rate, kStates[scale.state.key].live ? perSecond.toFixed(perSecond < 100 ? 1 : 0) : "0.0");
    const size = sizes.get(trend.parentElement);
    if (!size || !this.isOnScreen || document.hidden) return;
    scale.trend.draw(trend, size, this.trendSeconds, Math.min(scale.rhythm.limit / 1000, 60), colours);
  }
}

readColours();
measureCharacters();
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", readColours);
