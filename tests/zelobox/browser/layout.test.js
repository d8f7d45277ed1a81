// Where the fields of a frame lie, by the examples of docs/protocol.md.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';

import { bytesOfHex, fieldRanges } from '../../../zelobox/web/page/layout.js';

const text = readFileSync(new URL('../../../docs/protocol.md', import.meta.url), 'utf8');
const examples = [...text.matchAll(/```hex\n([^`]*)```\n```json\n([^`]*)```/g)].map(([, hex, json]) => ({
  bytes: bytesOfHex(hex.replace(/\s/g, '')), record: JSON.parse(json) }));

const header = ['sync', 'kind', 'type', 'length'];
const numberIn = (bytes, { start, end }) => bytes.slice(start, end).reduce((sum, byte) => sum * 256 + byte, 0);

test('every field of every example has its bytes', () => {
  assert.ok(examples.length > 10, String(examples.length));
  for (const { bytes, record } of examples) {
    const ranges = fieldRanges(bytes);
    const names = ranges.map(({ name }) => name);
    const fields = Object.keys(record.fields ?? {}).filter((name) => !['inexact', 'malformed'].includes(name));
    assert.deepEqual(names.slice(0, 4), header);
    for (const name of fields.filter((one) => one !== 'bytes' || fields.length === 1)) {
      const range = ranges.find((one) => one.name === name);
      assert.ok(range, `${record.name} ${name}`);
      if (typeof record.fields[name] === 'number') {
        assert.equal(numberIn(bytes, range), record.fields[name], `${record.name} ${name}`);
      } else if (typeof record.fields[name] === 'string' && !['macAddress', 'record', 'bytes'].includes(name)) {
        const shown = Buffer.from(bytes.slice(range.start, range.end)).toString();
        assert.ok(shown.includes(record.fields[name]), `${record.name} ${name}`);
      }
    }
  }
});

test('the beginning of any frame has what is there of it', () => {
  for (const { bytes } of examples) {
    for (let size = 0; size <= bytes.length; size += 1) {
      for (const { start, end } of fieldRanges(bytes.slice(0, size))) {
        assert.ok(start < end && end <= size);
      }
    }
  }
});
