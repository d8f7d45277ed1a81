// Middleware, page and sample host from one command.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { browser, row } from './scene.js';
import { Middleware, open, waitForLink } from './support.js';

async function withHost(t) {
  const middleware = await Middleware.start(0, '--host');
  t.after(() => middleware.stop('SIGKILL'));
  const page = await open(browser(), middleware);
  t.after(() => page.context().close());
  await waitForLink(page, '1 client connected');
  return { middleware, page };
}

test('a click shows the frame, and the callback that it causes with the time between', async (t) => {
  const { middleware, page } = await withHost(t);
  await middleware.line((line) => line.includes('answers start'));
  await page.locator('[data-key="Return"]').click();
  await page.locator('#called', { hasText: /^key 44 -> Return, \d+(\.\d)? ms$/ }).waitFor();
  await row(page, 'IPC_REMOTE_KEY').waitFor();
  const callback = row(page, 'callback key');
  assert.match(await callback.textContent(),
    /callback 1callback keykey=13 name="Return" modifier=0, \d+(\.\d)? ms after IPC_REMOTE_KEY/);
  await page.getByRole('slider', { name: 'Volume' }).fill('35');
  await row(page, /volume=35 .* after IPC_VOLUME/).waitFor();
  await page.getByRole('button', { name: 'Pause the application' }).click();
  await row(page, /callback pause.* after IPC_APP_LIFECYCLE/).waitFor();
  await page.getByLabel('Direction').selectOption('callback');
  await page.locator('#count', { hasText: /^3 of/ }).waitFor();
});

test('hosts are shown by process name and id', async (t) => {
  const { page } = await withHost(t);
  await page.locator('#clients', { hasText: /Connection 1 zelobox \(\d+\) since/ }).waitFor();
});

test('what is saved holds what crossed the socket, and no callbacks', async (t) => {
  const { page } = await withHost(t);
  await page.locator('[data-key="Return"]').click();
  await row(page, 'callback key').waitFor();
  const saved = await page.evaluate(async () => (await fetch('/api/trace')).text());
  assert.ok(saved.includes('IPC_REMOTE_KEY'));
  assert.ok(!saved.includes('callback'));
});

test('./dev serve names itself in the hints', async (t) => {
  const middleware = await Middleware.fromCheckout();
  t.after(() => middleware.stop('SIGKILL'));
  const page = await open(browser(), middleware);
  t.after(() => page.context().close());
  await page.locator('#clients code', { hasText: /^\.\/dev host$/ }).waitFor();
});
