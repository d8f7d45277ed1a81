// The page in a real browser, with the real library in a host behind it.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { browser, row, scene } from './scene.js';
import { Middleware, open, waitForLink } from './support.js';

scene('a click on OK arrives in the host', async ({ host, page }) => {
  await page.getByRole('button', { name: 'OK', exact: true }).click();
  assert.deepEqual(await host.callback('key'), { callback: 'key', key: 13, name: 'Return', modifier: 0 });
  await page.getByText('Return: sent to 1 client').waitFor();
});

scene('every key of the table can be pressed, with the modifier', async ({ host, page }) => {
  const keys = await page.evaluate(async () => (await fetch('/api/keys')).json());
  await page.getByLabel('Modifier byte').fill('3');
  await page.getByText('More keys').click();
  for (const { key, name } of keys) {
    const first = host.lines.length;
    await page.locator(`.remote-area [data-key="${name}"]`).click();
    assert.deepEqual(await host.callback('key', first), { callback: 'key', key, name, modifier: 3 });
  }
  assert.equal(keys.length, 58);
});

scene('a command that has no key can be sent', async ({ host, page }) => {
  await page.getByText('More keys').click();
  await page.getByLabel('Any command').fill('9029');
  await page.getByRole('button', { name: 'Press the command' }).click();
  assert.deepEqual(await host.callback('key'), { callback: 'key', key: 0, name: 'none', modifier: 0 });
});

scene('the keyboard alone reaches the remote control', async ({ host, page }) => {
  const focused = () => page.evaluate(() => document.activeElement.dataset.key);
  for (let i = 0; i < 100 && await focused() !== 'Return'; i += 1) {
    await page.keyboard.press('Tab');
  }
  assert.equal(await focused(), 'Return');
  const outline = await page.evaluate(() => getComputedStyle(document.activeElement).outlineStyle);
  assert.notEqual(outline, 'none');
  await page.keyboard.press('Enter');
  assert.equal((await host.callback('key')).name, 'Return');
  for (const [typed, name] of [['ArrowLeft', 'Left'], ['z', 'Z'], ['7', '7'], ['Backspace', 'Back'], ['PageDown', 'Page down']]) {
    const first = host.lines.length;
    await page.keyboard.press(typed);
    assert.equal((await host.callback('key', first)).name, name);
  }
});

scene('keys typed into a field stay there', async ({ host, page }) => {
  await page.getByLabel('Language').fill('');
  await page.getByLabel('Language').pressSequentially('k7');
  await page.locator('#screen').press('Enter');
  await host.callback('key');
  assert.deepEqual(host.lines.filter((line) => line.includes('"callback":"key"')).map((line) => JSON.parse(line).name),
    ['Return']);
});

scene('volume and mute arrive', async ({ host, page }) => {
  await page.getByRole('slider', { name: 'Volume' }).fill('35');
  assert.deepEqual(await host.callback('volumeChanged'), { callback: 'volumeChanged', volume: 35, muted: false });
  await page.getByText('Volume 35').waitFor();
  let first = host.lines.length;
  await page.locator('#mute').click();
  assert.deepEqual(await host.callback('volumeChanged', first), { callback: 'volumeChanged', volume: 35, muted: true });
  await page.locator('#mute[aria-pressed="true"]').waitFor();
  first = host.lines.length;
  await page.locator('#mute').click();
  assert.equal((await host.callback('volumeChanged', first)).muted, false);
});

scene('pause and resume arrive', async ({ host, page }) => {
  const life = page.getByRole('group', { name: 'Life cycle' });
  await life.getByRole('button', { name: 'Pause the application' }).click();
  await host.callback('pause');
  await page.getByText('Paused', { exact: true }).waitFor();
  await life.getByRole('button', { name: 'Resume the application' }).click();
  await host.callback('resume');
  await page.locator('#paused').waitFor({ state: 'hidden' });
});

scene('a new configuration arrives', async ({ host, page }) => {
  await page.getByLabel('Language').fill('sv');
  await page.getByLabel('Display width').fill('1280');
  await page.getByLabel('Display height').fill('720');
  await page.getByRole('button', { name: 'Send the configuration' }).click();
  await page.getByText('Configuration sent to 1 client.').waitFor();
  await row(page, 'IPC_CONFIG_STATE').waitFor();
  await page.locator('#fact-display', { hasText: '1280 × 720' }).waitFor();
  assert.equal((await host.call('env language')).value, 'sv');
});

scene('a configuration that is wrong is explained', async ({ page }) => {
  await page.getByText('More fields').click();
  await page.getByLabel('MAC address').fill('nonsense');
  await page.getByRole('button', { name: 'Send the configuration' }).click();
  await page.locator('#config-note.wrong', { hasText: 'expected a text like "0A:1B:2C:3D:4E:5F"' }).waitFor();
});

scene('the video window is drawn where the host wants it', async ({ host, page }) => {
  await page.emulateMedia({ reducedMotion: 'reduce' }); // no way in between
  await page.locator('#fact-window', { hasText: 'whole screen' }).waitFor();
  await host.call('video 960 270 480 540');
  await page.locator('#video', { hasText: '480 × 540 at 960, 270' }).waitFor();
  const [screen, video] = [await page.locator('#screen').boundingBox(), await page.locator('#video').boundingBox()];
  const near = (actual, expected) => assert.ok(Math.abs(actual - expected) < 1.5, `${actual} is not ${expected}`);
  near(video.x - screen.x, screen.width / 2);
  near(video.y - screen.y, screen.height / 4);
  near(video.width, screen.width / 4);
  near(video.height, screen.height / 2);
  assert.equal(await page.locator('#fact-mode').textContent(), 'box');
});

scene('the screen says who has control', async ({ host, page }) => {
  await page.locator('#fact-control', { hasText: 'the application' }).waitFor();
  await host.call('previous');
  await page.locator('#fact-control', { hasText: 'the one before it' }).waitFor();
});

scene('clients are shown with what they want, and can be dropped', async ({ page }) => {
  await page.getByText('Connection 1', { exact: true }).click();
  await page.locator('#clients code', { hasText: 'IPC_APP_LIFECYCLE' }).waitFor();
  assert.equal(await page.locator('#clients code').count(), 10);
  await page.locator('#bad').getByRole('button', { name: 'drop', exact: true }).click();
  await page.getByText('Connection 2', { exact: true }).waitFor(); // the library comes back
});

scene('an active fault is a badge with a way out', async ({ page }) => {
  const badge = page.locator('#faults-badge');
  assert.ok(await badge.isHidden());
  assert.match(await page.locator('#bad li', { hasText: 'garbage' }).first().textContent(), /sends bytes that are no frame/);
  await page.getByRole('button', { name: 'slow', exact: true }).click();
  await badge.getByText('Fault: slow').waitFor();
  await page.locator('#bad').getByRole('button', { name: 'slow', exact: true, pressed: true }).waitFor();
  await page.getByRole('button', { name: 'End it' }).click();
  await badge.waitFor({ state: 'hidden' });
});

scene('what a stalled middleware keeps back is not called sent', async ({ host, page }) => {
  await page.getByRole('button', { name: 'stall', exact: true }).click();
  await page.locator('#faults-badge', { hasText: 'Fault: stall' }).waitFor();
  await page.locator('[data-key="Return"]').click();
  await page.locator('#pressed', { hasText: /^Return: not yet sent to 1 client$/ }).waitFor();
  assert.ok(!host.lines.some((line) => line.includes('"callback":"key"')));
  await page.getByRole('button', { name: 'End it' }).click();
  await host.callback('key');
});

scene('no two buttons have one name, and no text needs a rare glyph', async ({ page }) => {
  await page.evaluate(() => document.querySelectorAll('details').forEach((one) => { one.open = true; }));
  await page.locator('#digits button').last().waitFor();
  const names = await page.locator('button:visible').evaluateAll((buttons) => buttons.filter((one) => !one.matches('.open'))
    .map((one) => one.ariaLabel ?? one.textContent.trim()));
  assert.deepEqual(names.filter((name, i) => names.indexOf(name) !== i), []);
  const text = await page.locator('body').innerText();
  assert.deepEqual(text.match(/[\u2190-\u2bff\u{1f000}-\u{1ffff}]/gu), null);
});

scene('any message can be sent', async ({ host, page }) => {
  await page.getByText('Send any message').click();
  await page.locator('#send-name').selectOption('IPC_VOLUME');
  await page.getByLabel('Fields, as JSON').fill('{"value": 77}');
  await page.getByRole('button', { name: 'Send the message' }).click();
  assert.equal((await host.callback('volumeChanged')).volume, 77);
  await page.getByText('IPC_VOLUME value=77: sent to 1 client').waitFor();
});

scene('page and host come back when the middleware is started anew', async ({ middleware, host, page }) => {
  await middleware.stop('SIGKILL');
  await waitForLink(page, 'zelobox is gone; trying again…');
  const next = await Middleware.start(middleware.port);
  try {
    await waitForLink(page, '1 client connected');
    await page.getByText('zelobox was started anew').waitFor();
    await page.locator('[data-key="Return"]').click();
    assert.equal((await host.callback('key')).name, 'Return');
  } finally {
    await next.stop('SIGKILL');
  }
});

test('without a host the page says how to start one', async (t) => {
  const middleware = await Middleware.start();
  t.after(() => middleware.stop('SIGKILL'));
  const page = await open(browser(), middleware);
  t.after(() => page.context().close());
  await waitForLink(page, 'Waiting for a host');
  const hint = `${middleware.program} host`; // as it was called
  await page.locator('#clients code', { hasText: hint }).waitFor();
  assert.equal(await page.locator('#start-host').textContent(), hint);
  for (const id of ['window', 'mode', 'control']) { // nothing is known of them
    assert.equal(await page.locator(`#fact-${id}`).textContent(), 'no host');
  }
  await page.locator('[data-key="Return"]').click();
  await page.getByText('Return: nobody has subscribed to it').waitFor();
  assert.equal(await middleware.stop(), 0); // with the page open
  await waitForLink(page, 'zelobox is gone; trying again…');
});

scene('a phone shows everything in one column', async ({ page }) => {
  await page.locator('[data-key="Return"]').tap();
  await row(page, 'IPC_REMOTE_KEY').waitFor();
  await row(page, 'IPC_REMOTE_KEY').locator('.line').tap();
  await row(page, 'IPC_REMOTE_KEY').locator('.dump').waitFor();
  const width = await page.evaluate(() => [document.documentElement.scrollWidth, window.innerWidth]);
  assert.deepEqual(width, [390, 390]);
  const lefts = await page.locator('main > *:not(footer)').evaluateAll((parts) => parts.map((part) => part.getBoundingClientRect().left));
  assert.equal(new Set(lefts).size, 1);
}, { viewport: { width: 390, height: 844 }, isMobile: true, hasTouch: true });

scene('it is dark where people want it dark', async ({ page }) => {
  const luminance = () => page.evaluate(() => {
    const [r, g, b] = getComputedStyle(document.body).backgroundColor.match(/\d+/g).map(Number);
    return r + g + b;
  });
  assert.ok(await luminance() < 150);
  await page.emulateMedia({ colorScheme: 'light' });
  assert.ok(await luminance() > 600);
}, { colorScheme: 'dark' });
