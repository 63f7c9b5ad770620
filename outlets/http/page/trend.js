// The trend of a weight: the lowest and highest value of each second, and their drawing.

import { now } from "./clock.js";

const kSeconds = 600;

export class Trend {
  #low = new Float64Array(kSeconds).fill(NaN);
  #high = new Float64Array(kSeconds).fill(NaN);
  #second = 0;

  add(value) {
    const at = this.#advance();
    if (!(this.#low[at] <= value)) this.#low[at] = value;
    if (!(this.#high[at] >= value)) this.#high[at] = value;
  }

  /** The place of the present second; those that nobody wrote since stay empty. */
  #advance() {
    const second = Math.floor(now() / 1000);
    if (second - this.#second > kSeconds) this.#second = second - kSeconds;
    while (this.#second < second) {
      const at = ++this.#second % kSeconds;
      this.#low[at] = this.#high[at] = NaN;
    }
    return second % kSeconds;
  }

  /** Draws the last `seconds`; a gap of up to `bridged` of them is no gap. */
  draw(canvas, { width, height }, seconds, bridged, colours) {
    const ratio = devicePixelRatio;
    const [pixelsWide, pixelsHigh] = [Math.round(width * ratio), Math.round(height * ratio)];
    if (!pixelsWide || !pixelsHigh) return;
    if (canvas.width !== pixelsWide) canvas.width = pixelsWide;
    if (canvas.height !== pixelsHigh) canvas.height = pixelsHigh;
    const context = canvas.getContext("2d");
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, width, height);

    const present = this.#advance();
    let low = Infinity;
    let high = -Infinity;
    for (let i = 0; i < seconds; i++) {
      const at = (present - i + kSeconds) % kSeconds;
      if (this.#low[at] < low) low = this.#low[at];
      if (this.#high[at] > high) high = this.#high[at];
    }
    if (high < low) return;
    context.strokeStyle = colours.grid;
    context.lineWidth = 1;
    context.strokeRect(0.5, 0.5, width - 1, height - 1);
    for (let minute = 60; minute < seconds; minute += 60) {
      const x = Math.round(width * (1 - minute / seconds)) + 0.5;
      context.beginPath();
      context.moveTo(x, 0);
      context.lineTo(x, height);
      context.stroke();
    }

    const size = Math.max(10, Math.min(height / 8, 16) - (seconds < kSeconds ? 6 : 0));
    const margin = size * 0.6;
    const span = high - low || 1;
    const y = (value) => (high === low ? height / 2
      : height - margin - ((value - low) / span) * (height - 2 * margin));
    context.strokeStyle = colours.line;
    context.lineWidth = height > 100 ? 2.5 : 1.5;
    context.lineJoin = "round";
    context.beginPath();
    let former = Infinity;
    for (let i = seconds - 1; i >= 0; i--) {
      const at = (present - i + kSeconds) % kSeconds;
      if (Number.isNaN(this.#low[at])) continue;
      const x = width * (1 - (i + 0.5) / seconds);
      if (former - i <= bridged) context.lineTo(x, y(this.#high[at]));
      else context.moveTo(x, y(this.#high[at]));
      context.lineTo(x, y(this.#low[at]) + 0.01);
      former = i;
    }
    context.stroke();

    context.fillStyle = colours.text;
    context.font = `${size}px ${colours.font}`;
    context.textBaseline = "top";
    const text = (value) => String(Number(value.toPrecision(6)));
    context.fillText(text(high), 4, 3);
    context.textBaseline = "bottom";
    if (high !== low) context.fillText(text(low), 4, height - 2);
  }
}
