// An open row: fields and bytes of a frame, each marked under the pointer, and what can be done with it.
import { element } from './dom.js';
import { bytesOfHex, fieldRanges } from './layout.js';
import { get, post, receiversText } from './middleware.js';

const pageOfBytes = 1024;
const longestValue = 400;
const pageOfText = 16384;
const patienceForLongMs = 30000; // a frame of many MiB takes its time

function headerValues(bytes) {
  const view = new DataView(bytes.buffer);
  return bytes.length < 8 ? {} : { sync: `0x${bytes[0].toString(16)}`, kind: bytes[1], type: view.getUint16(2),
    length: view.getUint32(4) };
}

/// Shows `total` characters or bytes a page at a time, however many there are.
function pager(total, size, unit, show) {
  let start = 0;
  const where = element('span', { className: 'hint' });
  const button = (textContent, move) => {
    const made = element('button', { type: 'button', textContent });
    made.addEventListener('click', () => turn(move()));
    return made;
  };
  const last = Math.floor(Math.max(0, total - 1) / size) * size;
  const back = button(`Previous ${unit}`, () => start - size);
  const forth = button(`Next ${unit}`, () => start + size);
  const toEnd = button(`Last ${unit}`, () => last);
  const turn = (to) => {
    start = Math.max(0, Math.min(to, last));
    const end = Math.min(total, start + size);
    where.textContent = `${start.toLocaleString('en')} to ${end.toLocaleString('en')} of ${total.toLocaleString('en')} ${unit}`;
    back.disabled = start === 0;
    forth.disabled = start === last;
    toEnd.disabled = start === last;
    show(start, end);
  };
  turn(0);
  return total > size ? element('p', { className: 'pager' }, where, back, forth, toEnd) : '';
}

function valueCell(text) {
  const cell = element('dd', { textContent: text.slice(0, longestValue) });
  if (text.length > longestValue) {
    const all = element('button', { type: 'button', className: 'more', textContent: `Show all ${text.length.toLocaleString('en')} characters` });
    all.addEventListener('click', () => {
      const page = element('pre', { className: 'long' });
      cell.replaceChildren(page, pager(text.length, pageOfText, 'characters',
        (start, end) => { page.textContent = text.slice(start, end); }));
    });
    cell.append('… ', all);
  }
  return cell;
}

function fieldList(values, ranges) {
  const rangeOf = new Map(ranges.map((range) => [range.name, range]));
  return element('dl', { className: 'values' }, ...Object.entries(values).map(([name, value]) => {
    const text = typeof value === 'string' ? value : JSON.stringify(value);
    const row = element('div', {}, element('dt', { textContent: name }), valueCell(text));
    const range = rangeOf.get(name);
    if (range) {
      row.dataset.start = range.start;
      row.dataset.end = range.end;
    }
    return row;
  }));
}

/// "0010  6d 01 00 1a ...  m···" with an element for each byte, which can be marked.
function hexLine(bytes, start, end) {
  const line = element('span', { className: 'hex-line' }, `${start.toString(16).padStart(4, '0')}  `);
  const characters = [];
  for (let at = start; at < start + 16; at += 1) {
    const gap = at % 16 === 7 ? '  ' : ' ';
    if (at < end) {
      const byte = bytes[at];
      line.append(element('i', { textContent: byte.toString(16).padStart(2, '0') }), gap);
      line.children[at - start].dataset.at = at;
      const isPrintable = byte >= 0x20 && byte < 0x7f;
      characters.push(element('i', { textContent: isPrintable ? String.fromCharCode(byte) : '·' }));
      characters.at(-1).dataset.at = at;
    } else {
      line.append('  ', gap);
    }
  }
  line.append(' ', ...characters, '\n');
  return line;
}

function hexDump(bytes) {
  const dump = element('pre', { className: 'dump', tabIndex: 0, ariaLabel: 'Bytes' });
  dump.setAttribute('role', 'region');
  const pages = pager(bytes.length, pageOfBytes, 'bytes', (start, end) => {
    const lines = [];
    for (let at = start; at < end; at += 16) {
      lines.push(hexLine(bytes, at, end));
    }
    dump.replaceChildren(...lines);
  });
  return element('div', { className: 'bytes' }, dump, pages);
}

/// Marks the bytes of the field under the pointer, and the field of the byte under it.
function markTogether(body, rangesNow) {
  const mark = (range) => {
    for (const marked of body.querySelectorAll('.marked')) {
      marked.classList.remove('marked');
    }
    if (!range) {
      return;
    }
    for (const byte of body.querySelectorAll('[data-at]')) {
      const at = Number(byte.dataset.at);
      byte.classList.toggle('marked', at >= range.start && at < range.end);
    }
    body.querySelector(`[data-start="${range.start}"]`)?.classList.add('marked');
  };
  body.addEventListener('pointerover', ({ target }) => {
    const field = target.closest('[data-start]');
    const at = Number(target.dataset?.at ?? -1);
    mark(rangesNow().find(({ start, end }) => (field ? start === Number(field.dataset.start) : at >= start && at < end)));
  });
  body.addEventListener('pointerleave', () => mark(undefined));
}

function recordOnly(record) {
  const { serial, key, cut, size, ...rest } = record;
  return rest;
}

/// The whole record: the page is told only the beginning of a long one.
async function wholeRecord(record) {
  return record.cut ? get(`/api/record?serial=${record.serial}`, patienceForLongMs) : record;
}

function actions(record, { onEdit }, show) {
  const note = element('span', { className: 'note' });
  note.setAttribute('role', 'status');
  const action = (textContent, work) => {
    const button = element('button', { type: 'button', textContent });
    button.addEventListener('click', async () => {
      try {
        note.textContent = await work() ?? '';
        note.classList.remove('wrong');
      } catch (error) {
        note.textContent = error.message;
        note.classList.add('wrong');
      }
    });
    return button;
  };
  const buttons = [action('Copy as JSON', async () => {
    await navigator.clipboard.writeText(JSON.stringify(recordOnly(await wholeRecord(record))));
    return 'Copied.';
  })];
  if (onEdit && record.direction === 'toHost' && record.event === undefined) {
    buttons.push(action('Resend', async () => receiversText(await post('/api/resend', { serial: record.serial }))));
    buttons.push(action('Edit and resend', async () => onEdit(await wholeRecord(record))));
  }
  if (record.cut) {
    buttons.push(action(`Get all ${record.size.toLocaleString('en')} bytes`, async () => show(await wholeRecord(record))));
  }
  return element('p', { className: 'actions' }, ...buttons, note);
}

function callbackDetail(record) {
  const { callback, process, cause, afterMs } = record;
  const values = { callback, ...record.fields };
  if (cause) {
    Object.assign(values, { 'caused by': `${cause.name}, record ${cause.serial}`, after: `${afterMs.toFixed(3)} ms` });
  }
  return fieldList({ ...values, ...(process ? { host: `${process.name} (${process.id})` } : {}) }, []);
}

/// @return what stands below the line of an open row
export function detailOf(record, handlers) {
  const body = element('div', { className: 'body' });
  let ranges = [];
  const show = (shown) => {
    const bytes = bytesOfHex(shown.hex ?? '');
    const isFrame = shown.event === undefined && shown.hex;
    ranges = isFrame ? fieldRanges(bytes) : [];
    const values = { ...(isFrame ? headerValues(bytes) : {}), ...shown.fields };
    const parts = shown.event === 'callback' ? [callbackDetail(shown)] : [fieldList(values, ranges)];
    if (bytes.length > 0) {
      parts.push(hexDump(bytes));
    }
    body.replaceChildren(actions(shown, handlers, show), element('div', { className: 'parts' }, ...parts));
  };
  markTogether(body, () => ranges);
  show(record);
  return body;
}
