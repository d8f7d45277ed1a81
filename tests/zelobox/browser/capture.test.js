// The page of a capture file.
import assert from 'node:assert/strict';
import { mkdtemp, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';

import { tooWide, violations } from './looks.js';
import { browser, row, rows } from './scene.js';
import { Host, Middleware, open, waitForLink } from './support.js';

/// Opens the page of a file with these bytes.
async function openFile(t, name, bytes, options) {
  const directory = await mkdtemp(join(tmpdir(), 'zelobox-'));
  const file = join(directory, name);
  await writeFile(file, bytes);
  const middleware = await Middleware.start(0, '--file', file);
  const page = await open(browser(), middleware, options);
  t.after(async () => {
    await page.context().close();
    await middleware.stop('SIGKILL');
    await rm(directory, { recursive: true });
  });
  return page;
}

/// What the page of a middleware saves after some traffic.
async function recorded(t) {
  const middleware = await Middleware.start();
  t.after(() => middleware.stop('SIGKILL'));
  const host = await Host.start();
  t.after(() => host.stop('SIGKILL'));
  const send = (path, body) => fetch(`${middleware.url}api/${path}`, { method: 'POST', body: JSON.stringify(body) });
  await send('key', { key: 'Return' });
  await send('send', { frame: 'IPC_VOLUME', value: 35 });
  await host.callback('volumeChanged');
  await host.call('video 960 270 480 540');
  const first = host.lines.length;
  await send('send', { frame: 'IPC_VOLUME', value: 12 });
  await host.callback('volumeChanged', first);
  return Buffer.from(await (await fetch(`${middleware.url}api/trace?format=pcapng`)).arrayBuffer());
}

const fact = (page, name, text) => page.locator(`#fact-${name}`, { hasText: text }).waitFor();

test('a capture file is shown with its frames, its timeline and its last state, and nothing to press', async (t) => {
  const page = await openFile(t, 'trace.pcapng', await recorded(t));
  await waitForLink(page, /^\d+ records, \d+\.\d s, read only$/);
  assert.equal(await page.locator('#place').textContent(), 'capture file trace.pcapng');
  await row(page, 'IPC_REMOTE_KEY').waitFor();
  await page.locator('#timeline-canvas').waitFor();
  await fact(page, 'sound', '12');
  await fact(page, 'window', '480 × 540 at 960, 270');
  await page.locator('#clients', { hasText: 'Connection 1' }).waitFor();
  const names = await page.locator('button:visible').evaluateAll((buttons) => buttons.filter((one) => !one.matches('.open'))
    .map((one) => one.textContent.trim()));
  assert.deepEqual(names,
    ['Timeline', 'Zoom in', 'Zoom out', 'Earlier', 'Later', 'Show all', 'Record before', 'Record after']);
  await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
  await page.locator('.dump').waitFor();
  assert.equal(await page.getByRole('button', { name: 'Resend' }).count(), 0);
  assert.deepEqual(page.problems, []);
});

test('the scrubber shows the state of any moment', async (t) => {
  const page = await openFile(t, 'trace.pcapng', await recorded(t));
  const scrubber = page.getByRole('slider', { name: 'Time' });
  await fact(page, 'sound', '12');
  await scrubber.press('ArrowLeft');
  await fact(page, 'sound', '35');
  await page.locator('#rows [aria-current]', { hasText: 'IPC_VIDEO_WINDOW_MODE' }).waitFor();
  await page.getByRole('button', { name: 'Record after' }).click();
  await fact(page, 'sound', '12');
  await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
  await fact(page, 'sound', '0');
  await fact(page, 'window', 'whole screen');
  assert.match(await scrubber.getAttribute('aria-valuetext'), /^\d\d:\d\d:\d\d\.\d{3}, record \d+ of \d+$/);
  await scrubber.press('End');
  await fact(page, 'sound', '12');
  await scrubber.press('Home');
  await page.locator('#rows [aria-current]', { hasText: 'connection 1 connected' }).waitFor();
  assert.deepEqual(page.problems, []);
});

test('of a long file the page has what is around the scrubber', async (t) => {
  const count = 120000;
  const lines = Array.from({ length: count }, (_, i) => `{"time":${1000 + i / 100},"connection":1,"direction":"toHost","kind":1,` +
    `"type":39,"hex":"6d010027000000040000${i.toString(16).padStart(8, '0').slice(4)}"}`);
  const page = await openFile(t, 'long.jsonl', lines.join('\n'));
  await page.locator('#moment', { hasText: 'record 120,000 of 120,000' }).waitFor();
  const volume = (serial) => String((serial - 1) % 65536);
  await page.locator('#rows .frame', { hasText: `value=${volume(count)}` }).waitFor();
  await page.getByRole('slider', { name: 'Time' }).fill('300');
  await page.locator('#moment', { hasText: 'record 30,001 of 120,000' }).waitFor();
  await page.locator('#rows [aria-current]', { hasText: `value=${volume(30001)}` }).waitFor();
  await fact(page, 'sound', volume(30001));
  assert.ok(await rows(page).count() < 100);
  assert.deepEqual(page.problems, []);
});

for (const [width, colorScheme] of [[320, 'light'], [1280, 'dark']]) {
  test(`a capture file's page ${width} px wide and ${colorScheme}: nothing is cut off, axe finds nothing`, async (t) => {
    const page = await openFile(t, 'trace.pcapng', await recorded(t), { viewport: { width, height: 800 }, colorScheme });
    await waitForLink(page, 'read only');
    await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
    await page.locator('.dump').waitFor();
    assert.deepEqual(await tooWide(page), []);
    assert.deepEqual(await violations(page), []);
  });
}
