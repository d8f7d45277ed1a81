// The panel of frames.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';

import { Flood, textFrame } from './flood.js';
import { row, rows, scene, until } from './scene.js';

const scroller = (page) => page.locator('#table-scroll');
const top = (page) => scroller(page).evaluate((element) => element.scrollTop);
const isAtEnd = (page) => scroller(page).evaluate((one) => one.scrollTop + one.clientHeight >= one.scrollHeight - 1);
const moveAway = (page) => page.mouse.move(5, 5);

/// Fills the list with so many frames, and waits for them.
async function flooded(page, t, count) {
  const flood = await Flood.start();
  t.after(() => flood.stop());
  flood.send(count);
  await row(page, `x=${count - 1} `).waitFor();
  return flood;
}

scene('a line shows a frame, the latest last; a click opens fields and bytes', async ({ page }) => {
  await row(page, 'IPC_ALLOWED_MESSAGE_LIST').waitFor();
  await page.locator('[data-key="Return"]').click();
  await row(page, 'IPC_REMOTE_KEY').waitFor();
  assert.match(await rows(page).last().textContent(), /to the host 1IPC_REMOTE_KEYcommand=44 modifier=0 \(Return\)12 B/);
  await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
  assert.equal((await page.locator('.dump').textContent()).trim(),
    '0000  6d 01 00 1a 00 00 00 04  00 00 00 2c              m··········,');
  const values = await page.locator('.values > div').allTextContents();
  assert.deepEqual(values, ['sync0x6d', 'kind1', 'type26', 'length4', 'command44', 'modifier0']);
});

scene('the field under the pointer is marked in the bytes, and the other way round', async ({ page }) => {
  await page.locator('[data-key="Return"]').click();
  await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
  const marked = () => page.locator('.dump .marked').evaluateAll((bytes) => bytes.map((byte) => Number(byte.dataset.at)));
  await page.locator('.values > div', { hasText: 'command' }).hover();
  assert.deepEqual(await marked(), [10, 11, 10, 11]); // digits and characters
  await page.locator('.dump i[data-at="3"]').first().hover();
  assert.equal(await page.locator('.values .marked').textContent(), 'type26');
  assert.deepEqual(await marked(), [2, 3, 2, 3]);
});

scene('the list is filtered as one types', async ({ page }) => {
  await page.locator('[data-key="Return"]').click();
  await row(page, 'IPC_REMOTE_KEY').waitFor();
  await page.getByLabel('Filter frames').pressSequentially('MODIFIER=0 remote');
  await page.locator('#count', { hasText: /^1 of/ }).waitFor();
  assert.equal(await rows(page).count(), 1);
  await page.getByLabel('Filter frames').fill('');
  await page.getByLabel('Direction').selectOption('toMiddleware');
  await row(page, 'IPC_CONFIG_REQUEST').waitFor();
  assert.equal(await page.locator('#rows .toHost').count(), 0);
  await page.getByLabel('Direction').selectOption('');
  const other = await Flood.start();
  other.send(3);
  await page.getByLabel('Connection').selectOption('connection 2');
  await page.locator('#count', { hasText: /^4 of/ }).waitFor(); // it was connected, too
  other.stop();
});

scene('what one reads stays where it is, and a button says how many have come', async ({ page, t }) => {
  const flood = await flooded(page, t, 500);
  assert.ok(await isAtEnd(page));
  await scroller(page).evaluate((one) => { one.scrollTop = 2000; });
  await until(page, () => [...document.querySelectorAll('#rows .frame')].length > 5);
  const before = { top: await top(page), text: await rows(page).allTextContents() };
  flood.send(12);
  await page.locator('#news', { hasText: /^\s*12 new/ }).waitFor();
  assert.deepEqual({ top: await top(page), text: await rows(page).allTextContents() }, before);
  await page.locator('#news').click();
  await row(page, 'x=511').waitFor();
  assert.ok(await isAtEnd(page));
  assert.ok(await page.locator('#news').isHidden());
});

scene('a selection stays while frames come', async ({ page, t }) => {
  const flood = await flooded(page, t, 300);
  await moveAway(page);
  await rows(page).nth(12).locator('.detail').evaluate((element) => document.getSelection().selectAllChildren(element));
  const selected = await page.evaluate(() => String(document.getSelection()));
  assert.match(selected, /^x=\d+ y=0/);
  const before = await top(page);
  flood.send(1000);
  await page.locator('#news', { hasText: '1,000 new' }).waitFor();
  assert.equal(await page.evaluate(() => String(document.getSelection())), selected);
  assert.equal(await top(page), before);
  await page.evaluate(() => document.getSelection().removeAllRanges());
  await row(page, 'x=1299').waitFor(); // and it follows again
});

scene('a row under the pointer does not slide away', async ({ page, t }) => {
  const flood = await flooded(page, t, 300);
  const element = await rows(page).nth(15).elementHandle();
  const [text, place] = [await element.textContent(), await element.boundingBox()];
  await page.mouse.move(place.x + 300, place.y + 10, { steps: 2 });
  flood.send(50);
  await page.locator('#news', { hasText: '50 new' }).waitFor();
  assert.deepEqual([await element.textContent(), await element.boundingBox()], [text, place]); // the very same element
  await moveAway(page);
  await row(page, 'x=349').waitFor();
});

scene('rows out of view are not in the document', async ({ page, t }) => {
  await flooded(page, t, 5000);
  assert.ok(await rows(page).count() < 80);
  await scroller(page).evaluate((one) => { one.scrollTop = 0; });
  await row(page, 'IPC_CONFIG_REQUEST').waitFor();
  assert.ok(await rows(page).count() < 80);
});

scene('the list can be paused and cleared', async ({ page }) => {
  await row(page, 'IPC_VIDEO_WINDOW_MODE').waitFor();
  await page.getByRole('button', { name: 'Pause the list' }).click();
  await page.locator('[data-key="Return"]').click();
  await page.locator('#news', { hasText: '1 new' }).waitFor();
  await page.locator('#count', { hasText: 'the list is paused' }).waitFor();
  await page.getByRole('button', { name: 'Pause the list' }).click();
  await row(page, 'IPC_REMOTE_KEY').waitFor();
  await page.getByRole('button', { name: 'Clear the list' }).click();
  assert.equal(await rows(page).count(), 0);
});

scene('a row is copied as JSON', async ({ page }) => {
  await page.context().grantPermissions(['clipboard-read', 'clipboard-write']);
  await page.locator('[data-key="Home"]').click();
  await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
  await page.getByRole('button', { name: 'Copy as JSON' }).click();
  await page.getByText('Copied.').waitFor();
  const { time, ...record } = JSON.parse(await page.evaluate(() => navigator.clipboard.readText()));
  assert.ok(time > 1.7e9);
  assert.deepEqual(record, { connection: 1, direction: 'toHost', name: 'IPC_REMOTE_KEY', kind: 1, type: 26,
    fields: { command: 2, modifier: 0 }, hex: '6d01001a0000000400000002' });
});

scene('a frame is sent again, and edited and sent', async ({ host, page }) => {
  await page.locator('[data-key="Home"]').click();
  await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
  let first = host.lines.length;
  await page.getByRole('button', { name: 'Resend', exact: true }).click();
  assert.equal((await host.callback('key', first)).name, 'Home');
  await page.locator('.body .note', { hasText: 'sent to 1 client' }).waitFor();
  await page.getByRole('button', { name: 'Edit and resend' }).click();
  const fields = page.getByLabel('Fields, as JSON');
  assert.deepEqual(JSON.parse(await fields.inputValue()), { command: 2, modifier: 0 });
  await fields.fill('{"command": 44, "modifier": 7}');
  first = host.lines.length;
  await page.getByRole('button', { name: 'Send the message' }).click();
  assert.deepEqual(await host.callback('key', first), { callback: 'key', key: 13, name: 'Return', modifier: 7 });
});

scene('the keyboard alone reads the list', async ({ page }) => {
  await row(page, 'IPC_VIDEO_WINDOW_MODE').waitFor();
  await scroller(page).focus();
  await page.keyboard.press('ArrowUp'); // the last one
  const focused = () => page.evaluate(() => document.activeElement.ariaLabel);
  assert.equal(await focused(), 'Details of IPC_VIDEO_WINDOW_MODE');
  await page.keyboard.press('ArrowUp');
  assert.equal(await focused(), 'Details of IPC_VIDEO_WINDOW');
  await page.keyboard.press('Enter');
  await page.locator('.values', { hasText: 'height' }).waitFor();
  await page.keyboard.press('Tab');
  assert.equal(await page.evaluate(() => document.activeElement.textContent), 'Copy as JSON');
  await page.keyboard.press('Escape');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'table-scroll');
});

scene('a text of 1 MiB is cut, can be seen whole, and stalls nothing', async ({ page, t }) => {
  const flood = await Flood.start();
  t.after(() => flood.stop());
  const text = `${'<b>long</b> '.repeat(87381)}the end`;
  flood.write(textFrame(44, text)); // what the screen shows as the mode
  await row(page, 'IPC_VIDEO_WINDOW_MODE').waitFor();
  await page.locator('#fact-mode', { hasText: /^<b>long.*…$/ }).waitFor();
  const width = () => page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
  assert.equal(await width(), 0);
  const long = rows(page).filter({ hasText: 'length=' });
  await long.locator('.line').click();
  await page.getByRole('button', { name: 'Get all' }).click();
  await page.getByRole('button', { name: 'Show all 1,048,579 characters' }).click();
  await page.getByRole('button', { name: 'Last characters' }).click();
  assert.match(await page.locator('.long').textContent(), /end$/);
  await page.getByRole('button', { name: 'Last bytes' }).click();
  assert.match(await page.locator('.dump').textContent(), /the end·\s*$/);
  assert.equal(await width(), 0);
  const started = Date.now();
  await page.locator('[data-key="Return"]').click();
  await page.getByText('Return: sent to 1 client').waitFor();
  assert.ok(Date.now() - started < 3000);
});

scene('the timeline draws the records in lanes, is zoomed, and leads to a row', async ({ page }) => {
  await page.locator('[data-key="Return"]').click();
  await row(page, 'IPC_REMOTE_KEY').waitFor();
  await page.getByRole('button', { name: 'Timeline' }).click();
  const canvas = page.locator('#timeline-canvas');
  const count = async () => Number((await canvas.getAttribute('aria-label')).match(/^\d+/)[0]);
  const shown = await until(page, () => Number(document.getElementById('timeline-canvas').ariaLabel.match(/^\d+/)));
  assert.ok(shown >= 8, String(shown));
  await page.getByRole('button', { name: 'Later' }).click();
  assert.ok(await count() < shown);
  await page.getByRole('button', { name: 'Show all' }).click();
  await page.getByRole('button', { name: 'Zoom in' }).click();
  await page.getByRole('button', { name: 'Zoom out' }).click();
  const { width } = await canvas.boundingBox();
  await canvas.click({ position: { x: width - 13, y: 22 + 13 } }); // the last in the first lane
  await page.locator('.values', { hasText: 'command44' }).waitFor();
});

scene('the timeline marks configurations, drops and stops', async ({ host, page }) => {
  await page.getByRole('button', { name: 'Timeline' }).click();
  const shows = (text) => page.locator(`#timeline-canvas[aria-label*="${text}"]`).waitFor();
  await shows(', 1 connect, 1 configuration');
  await page.getByRole('button', { name: 'drop', exact: true }).click();
  await shows(', 2 connect, 2 configuration, 1 drop');
  await host.call('stop');
  await shows(', 1 drop, 1 stop');
});

scene('a row at the end of the view opens into it', async ({ page }) => {
  await page.locator('[data-key="Return"]').click();
  await row(page, 'IPC_REMOTE_KEY').locator('.line').click();
  await row(page, 'IPC_REMOTE_KEY').locator('.dump').waitFor();
  const [view, opened] = await page.evaluate(() => [document.getElementById('table-scroll'), document.querySelector('.is-open')]
    .map((one) => one.getBoundingClientRect().bottom));
  assert.ok(opened <= view + 1, `${opened} ${view}`);
});

scene('the frames can be saved in both formats', async ({ page }) => {
  await page.locator('[data-key="Home"]').click();
  await row(page, 'IPC_REMOTE_KEY').waitFor();
  const save = async (name) => {
    const download = page.waitForEvent('download');
    await page.getByRole('link', { name }).click();
    return { name: (await download).suggestedFilename(), bytes: await readFile(await (await download).path()) };
  };
  const lines = await save('JSON Lines');
  assert.equal(lines.name, 'zelobox.jsonl');
  const records = lines.bytes.toString().trimEnd().split('\n').map((line) => JSON.parse(line));
  assert.equal(records[0].event, 'connected');
  assert.deepEqual(records.at(-1).fields, { command: 2, modifier: 0 });
  const capture = await save('pcapng');
  assert.equal(capture.name, 'zelobox.pcapng');
  assert.equal(capture.bytes.readUInt32BE(0), 0x0a0d0d0a);
  assert.equal(capture.bytes.readUInt32BE(8), 0x1a2b3c4d);
});
