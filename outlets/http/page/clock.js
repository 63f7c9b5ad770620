// Time as the page counts it.

let offset = 0;
let base = Date.now() - performance.now();

/** Milliseconds that only grow. The browser's own count may stand still while the machine sleeps, so
 * a wall clock that has run ahead of it counts as time gone by: at worst a weight is called old that
 * is not. */
export function now() {
  const ahead = Date.now() - performance.now() - base;
  if (Math.abs(ahead) > 1000) {
    base += ahead;
    offset += Math.max(ahead, 0);
  }
  return performance.now() + offset;
}

const two = (number) => String(number).padStart(2, "0");

export function timeText(date) {
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}`;
}

export function dateTimeText(date) {
  const day = `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())}`;
  return `${day} ${timeText(date)}`;
}

export function durationText(milliseconds) {
  const seconds = Math.floor(milliseconds / 1000);
  if (seconds < 120) return `${seconds} s`;
  return seconds < 7200 ? `${Math.floor(seconds / 60)} min` : `${Math.floor(seconds / 3600)} h`;
}
