// The records that the page keeps, each as one line of JSON and what its row shows.

/// Rows, and characters of their JSON.
export const mostKept = 50000;
const mostCharacters = 24 << 20;
const forgottenAtOnce = 2000;
const longestDetail = 240;

const twoDigits = (number) => String(number).padStart(2, '0');

/// By hand: the browser's own formatting takes longer than all the rest of a row.
export function timeText(time) {
  const date = new Date(time * 1000);
  return `${twoDigits(date.getHours())}:${twoDigits(date.getMinutes())}:${twoDigits(date.getSeconds())}.` +
    String(date.getMilliseconds()).padStart(3, '0');
}

export function cutText(text, most = longestDetail) {
  return text.length > most ? `${text.slice(0, most)}…` : text;
}

/// "0.4 ms"
export function durationText(ms) {
  return `${ms < 10 ? ms.toFixed(1) : Math.round(ms)} ms`;
}

function fieldsText(record) {
  const fields = Object.entries(record.fields ?? {}).map(([name, value]) => `${name}=${JSON.stringify(value)}`).join(' ');
  return record.key ? `${fields} (${record.key})` : fields;
}

function titleOf(record) {
  switch (record.event) {
    case undefined:
      return record.name;
    case 'raw':
      return 'raw bytes';
    case 'callback':
      return `callback ${record.callback}`;
    case 'restarted':
      return 'zelobox was started anew';
    case 'missed':
      return `${record.count} records are missing here`;
    default:
      return `connection ${record.connection} ${record.event}`;
  }
}

function detailOf(record) {
  if (record.event === 'callback') {
    const after = record.cause ? `${durationText(record.afterMs)} after ${record.cause.name}` : '';
    return [fieldsText(record), after].filter(Boolean).join(', ');
  }
  if (record.event === 'missed') {
    return 'they came while this page was not shown; a saved trace has the latest 10,000';
  }
  return record.reason ?? fieldsText(record);
}

/// What a row shows and a filter looks at; the rest is parsed again when a row is opened.
export function summaryOf(record) {
  return {
    serial: record.serial,
    time: record.time,
    connection: record.connection,
    way: record.event === 'callback' ? 'callback' : record.direction ?? '',
    name: titleOf(record),
    detail: cutText(detailOf(record)),
    size: record.size ?? (record.hex ?? '').length / 2,
    isEvent: record.event !== undefined && record.event !== 'callback' && record.event !== 'raw',
    line: record.line ?? '',
  };
}

function escaped(text) {
  return text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&');
}

/// @param text  words that must all be there, in the name or in the fields
export function filterFor({ text, way, connection }) {
  const words = text.trim().split(/\s+/).filter(Boolean).map((word) => new RegExp(escaped(word), 'i'));
  return (row) => (way === '' || row.way === way)
    && (connection === '' || String(row.connection) === connection)
    && words.every((word) => word.test(row.name) || word.test(row.detail));
}

/// Oldest first, each with a `number` that only grows.
export class Records {
  constructor() {
    this.rows = [];
    this.characters = 0;
    this.next = 1;
  }

  add(record) {
    const row = summaryOf(record);
    row.number = this.next;
    this.next += 1;
    this.rows.push(row);
    this.characters += row.line.length;
    return row;
  }

  /// Gives the number of the first that is still kept.
  forgetOldest() {
    if (this.rows.length > mostKept + forgottenAtOnce || this.characters > mostCharacters) {
      let count = Math.max(forgottenAtOnce, this.rows.length - mostKept);
      count = Math.min(count, this.rows.length - 1);
      for (const row of this.rows.splice(0, count)) {
        this.characters -= row.line.length;
      }
    }
    return this.rows[0]?.number ?? this.next;
  }

  clear() {
    this.rows = [];
    this.characters = 0;
  }
}
