// A case in a browser: zelobox, a host and a page that shows both.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { Host, Middleware, launch, open, waitForLink } from './support.js';

let launched;
before(async () => { launched = await launch(); });
after(() => launched.close());

export const browser = () => launched;

export function scene(name, body, options) {
  test(name, async (t) => {
    const middleware = await Middleware.start();
    t.after(() => middleware.stop('SIGKILL'));
    const host = await Host.start();
    t.after(() => host.stop('SIGKILL'));
    const page = await open(launched, middleware, options);
    t.after(() => page.context().close());
    await waitForLink(page, '1 client connected');
    await body({ middleware, host, page, t });
    assert.deepEqual(page.problems, []);
  });
}

export const rows = (page) => page.locator('#rows .frame');
export const row = (page, text) => rows(page).filter({ hasText: text }).first();

/// Waits until `check` gives something true in the page.
export async function until(page, check, argument) {
  return (await page.waitForFunction(check, argument)).jsonValue();
}
