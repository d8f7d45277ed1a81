// The table of frames: the latest first, a window on what the page has kept.

const byId = (id) => document.getElementById(id);
const mostKept = 2000;
const mostShown = 200;

let kept = []; // oldest first
let held = null; // what the table shows while it is paused
let since = 0; // how many have come while it was paused
let dirty = false;

function cell(tag, className, ...children) {
  const made = document.createElement(tag);
  made.className = className;
  made.append(...children);
  return made;
}

function timeText(time) {
  const date = new Date(time * 1000);
  return `${date.toLocaleTimeString([], { hour12: false })}.${String(date.getMilliseconds()).padStart(3, '0')}`;
}

function fieldsText(record) {
  const fields = Object.entries(record.fields ?? {}).map(([name, value]) => `${name}=${JSON.stringify(value)}`).join(' ');
  return record.key ? `${fields} (${record.key})` : fields;
}

function titleOf(record) {
  if (record.event === 'restarted') {
    return 'zelobox was started anew';
  }
  return record.name ?? (record.event === 'raw' ? 'raw bytes' : `connection ${record.connection} ${record.event}`);
}

function detailOf(record) {
  return record.reason ?? (record.event === 'raw' ? `${record.hex.length / 2} bytes` : fieldsText(record));
}

/// "6d 01 00 1a  00 00 00 04 ..." in lines of 16, with the offset and the characters.
export function hexDump(hex) {
  const bytes = hex.match(/../g) ?? [];
  const lines = [];
  for (let i = 0; i < bytes.length; i += 16) {
    const line = bytes.slice(i, i + 16);
    const text = line.map((byte) => String.fromCharCode(parseInt(byte, 16))).join('').replace(/[^ -~]/g, '·');
    const digits = `${line.slice(0, 8).join(' ')}  ${line.slice(8).join(' ')}`;
    lines.push(`${i.toString(16).padStart(4, '0')}  ${digits.padEnd(48)}  ${text}`);
  }
  return lines.join('\n');
}

function wayCell(record) {
  if (!record.direction) {
    return cell('td', 'way', '');
  }
  const toHost = record.direction === 'toHost';
  const arrow = cell('span', 'arrow', toHost ? '→' : '←');
  arrow.setAttribute('aria-hidden', 'true');
  return cell('td', `way ${record.direction}`, arrow, toHost ? ' host' : ' box', cell('small', '', ` ${record.connection}`));
}

function hexButton(record) {
  const button = cell('button', 'hex', 'hex');
  button.type = 'button';
  button.setAttribute('aria-expanded', Boolean(record.isOpen));
  button.setAttribute('aria-label', `Bytes of ${titleOf(record)}`);
  button.addEventListener('click', () => {
    record.isOpen = !record.isOpen;
    draw();
  });
  return button;
}

function rowsOf(record) {
  const row = cell('tr', record.direction ? '' : 'event', cell('td', 'time', timeText(record.time)), wayCell(record),
    cell('td', 'name', titleOf(record)), cell('td', 'detail', detailOf(record)), cell('td', 'bytes'));
  row.dataset.serial = record.serial;
  if (!record.hex) {
    return [row];
  }
  row.lastElementChild.append(hexButton(record));
  if (!record.isOpen) {
    return [row];
  }
  const dump = cell('td', 'dump', cell('pre', '', hexDump(record.hex) + (record.cut ? '\n…' : '')));
  dump.colSpan = 5;
  return [row, cell('tr', 'dump-row', dump)];
}

function isWanted(record) {
  const way = byId('way').value;
  const text = byId('filter').value.trim().toLowerCase();
  const isInText = `${titleOf(record)} ${detailOf(record)}`.toLowerCase().includes(text);
  return (way === '' || record.direction === way) && isInText;
}

function draw() {
  dirty = false;
  const all = held ?? kept;
  const wanted = all.filter(isWanted);
  const focused = byId('rows').contains(document.activeElement) &&
    document.activeElement.closest('tr').dataset.serial;
  byId('rows').replaceChildren(...wanted.slice(-mostShown).reverse().flatMap(rowsOf));
  if (focused) {
    byId('rows').querySelector(`[data-serial="${focused}"] button`)?.focus({ preventScroll: true });
  }
  byId('empty').hidden = all.length !== 0;
  const shown = Math.min(wanted.length, mostShown);
  byId('count').textContent = (all.length === 0 ? '' : `${shown} of ${all.length} shown`) +
    (held ? `; paused, ${since} more since` : '');
}

/// However many come at once, the table is drawn once a frame.
function drawSoon() {
  if (!dirty) {
    dirty = true;
    requestAnimationFrame(draw);
  }
}

export function addRecord(record) {
  kept.push(record);
  since += 1;
  if (kept.length > mostKept) {
    kept = kept.slice(-mostKept);
  }
  drawSoon();
}

export function startFrames() {
  byId('filter').addEventListener('input', draw);
  byId('way').addEventListener('change', draw);
  byId('hold').addEventListener('click', () => {
    held = held ? null : [...kept];
    since = 0;
    byId('hold').setAttribute('aria-pressed', held !== null);
    byId('hold').textContent = held ? 'Go on' : 'Pause';
    draw();
  });
  byId('clear').addEventListener('click', () => {
    kept = [];
    held = held && [];
    draw();
  });
}
