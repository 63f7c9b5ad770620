// The last records, as a table and as a file.

import { dateTimeText } from "./clock.js";
import { hasToken, request } from "./connection.js";
import { byId, element, say, setHidden, setText } from "./dom.js";

export const kMostRecords = 100;
const records = []; // the newest first

export function addRecord(record) {
  records.unshift(record);
  records.length = Math.min(records.length, kMostRecords);
  byId("record-rows").prepend(recordRow(record));
  while (byId("record-rows").rows.length > kMostRecords) byId("record-rows").deleteRow(-1);
  setHidden(byId("no-records"), true);
}

export function recordWords(record) {
  if (record.fields) return record.fields.map(({ name, value }) => `${name} ${value}`).join(", ");
  return `net ${record.netText.trim()} ${record.unit}`;
}

function recordRow(record) {
  const row = element("tr");
  const isWeight = !record.fields;
  const alias = record.alias && record.alias !== `Scale${record.scale}` ? ` ${record.alias}` : "";
  const cells = [["number", record.number], ["time", dateTimeText(new Date(record.time))],
                 ["scale", `${record.scale}${alias}`]];
  if (isWeight) {
    cells.push(["gross", record.grossText], ["tare", record.tareText], ["net", record.netText],
               ["unit", record.unit]);
  } else {
    cells.push(["fields", recordWords(record)]);
  }
  cells.push(["from", record.origin]);
  for (const [name, text] of cells) {
    const cell = element("td", String(text).trim(), `of-${name}`);
    if (name === "fields") cell.colSpan = 4;
    row.append(cell);
  }
  return row;
}

/** That of one scale. */
export function showLastRecord(number) {
  const record = records.find(({ scale }) => scale === number);
  const time = record && dateTimeText(new Date(record.time));
  setText(byId("last-record"),
          record ? `Last record ${record.number}, ${time}: ${recordWords(record)}` : "");
}

export function replaceRecords(list) {
  records.length = 0;
  byId("record-rows").replaceChildren();
  setHidden(byId("no-records"), false);
  for (const record of list) addRecord(record);
}

/** A browser sends no token with a plain link. */
export async function downloadCsv(event) {
  if (!hasToken()) return;
  event.preventDefault();
  try {
    const answer = await request(event.target.getAttribute("href"));
    const link = element("a");
    link.href = URL.createObjectURL(await answer.blob());
    link.download = "records.csv";
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
  } catch (error) {
    say(`The records did not come: ${error.message}`, true);
  }
}
