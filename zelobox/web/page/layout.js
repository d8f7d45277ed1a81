// Where the fields of a frame lie in its bytes, as docs/protocol.md says. What is cut short has what is there of it.

/// Goes through the bytes and notes what lies where.
class Cursor {
  constructor(bytes) {
    this.bytes = bytes;
    this.at = 0;
    this.ranges = [];
  }

  /// @param name  empty for what is no field
  take(name, size) {
    const start = Math.min(this.at, this.bytes.length);
    this.at += size;
    const end = Math.min(this.at, this.bytes.length);
    if (name && end > start) {
      this.ranges.push({ name, start, end });
    }
  }

  number(size) {
    let number = 0;
    for (let i = 0; i < size; i += 1) {
      number = number * 256 + (this.bytes[this.at + i] ?? 0);
    }
    return number;
  }

  rest(name) {
    this.take(name, Math.max(0, this.bytes.length - this.at));
  }

  get isAtEnd() {
    return this.at >= this.bytes.length;
  }
}

/// A length of 32 bits, the bytes, and one byte 0 that the length does not count.
function text(cursor, name) {
  cursor.take(name, 4 + cursor.number(4) + 1);
}

/// A length of 16 bits that counts the byte 0 too.
function countedText(cursor, name) {
  cursor.take(name, 2 + cursor.number(2));
}

function several(cursor, name, takeOne) {
  const start = cursor.at;
  const count = cursor.number(4);
  cursor.take('', 4);
  for (let i = 0; i < count && !cursor.isAtEnd; i += 1) {
    takeOne(cursor);
  }
  const { at } = cursor;
  cursor.at = start;
  cursor.take(name, at - start);
}

const key = (cursor) => [['rest', 1], ['modifier', 1], ['command', 2]].forEach(([name, size]) => cursor.take(name, size));
const types = (cursor) => cursor.rest('types');
const bytes = (cursor) => cursor.rest('bytes');
const window = (cursor) => ['x', 'y', 'width', 'height'].forEach((name) => cursor.take(name, 2));

function config(cursor) {
  [['forcePortalUrl', 1], ['macAddress', 6], ['displayWidth', 2], ['displayHeight', 2], ['displayFlag', 1],
    ['auxWidth', 2], ['auxHeight', 2]].forEach(([name, size]) => cursor.take(name, size));
  ['apiMode', 'language', 'portalUrl', 'auxText1'].forEach((name) => countedText(cursor, name));
  cursor.take('auxValue', 1);
  countedText(cursor, 'auxText2');
}

function mediaInfo(cursor) {
  text(cursor, 'name');
  cursor.take('flag', 1);
  cursor.take('value64', 8);
  cursor.rest('streams');
}

const kinds = {
  1: (cursor) => cursor.take('value', 4),
  2: (cursor) => cursor.take('value', 8),
  3: (cursor) => several(cursor, 'values', (one) => one.take('', 4)),
  4: (cursor) => text(cursor, 'text'),
  5: (cursor) => several(cursor, 'strings', (one) => text(one, '')),
};

const rawTypes = {
  1: types,
  15: (cursor) => cursor.take('value', 1),
  24: config,
  29: window,
  32: (cursor) => cursor.take('record', 30),
  40: mediaInfo,
};

/// @param frame  the bytes of a whole frame, or its beginning
/// @return [{name, start, end}, ...] with the header's fields first
export function fieldRanges(frame) {
  const cursor = new Cursor(frame);
  cursor.take('sync', 1);
  const kind = cursor.number(1);
  cursor.take('kind', 1);
  const type = cursor.number(2);
  cursor.take('type', 2);
  cursor.take('length', 4);
  const payload = kind === 1 && type === 26 ? key : kinds[kind] ?? rawTypes[type] ?? bytes;
  payload(cursor);
  return cursor.ranges;
}

export function bytesOfHex(hex) {
  return Uint8Array.from(hex.match(/../g) ?? [], (byte) => parseInt(byte, 16));
}
