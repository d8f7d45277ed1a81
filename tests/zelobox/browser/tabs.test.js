// Any number of tabs, and a middleware that does not answer.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Hub } from '../../../zelobox/web/page/hub.js';
import { row, scene } from './scene.js';
import { waitForLink } from './support.js';

scene('forty tabs show what happens, and each can press a key', async ({ middleware, host, page }) => {
  const opened = Array.from({ length: 39 }, async () => {
    const tab = await page.context().newPage();
    await tab.goto(middleware.url, { timeout: 0 });
    return tab;
  });
  const tabs = [page, ...await Promise.all(opened)];
  await Promise.all(tabs.map((tab) => waitForLink(tab, '1 client connected')));
  const first = host.lines.length;
  await tabs[39].locator('[data-key="Return"]').click();
  assert.equal((await host.callback('key', first)).name, 'Return');
  await Promise.all(tabs.map((tab) => row(tab, 'IPC_REMOTE_KEY').waitFor()));
  await tabs[0].locator('[data-key="Home"]').click();
  await tabs[39].locator('#rows .frame', { hasText: 'command=2 ' }).waitFor();
});

scene('a tab that comes back from another page is told what it has missed', async ({ middleware, page }) => {
  await page.goto('about:blank');
  const other = await page.context().newPage();
  await other.goto(middleware.url);
  await other.locator('[data-key="Return"]').click();
  await row(other, 'IPC_REMOTE_KEY').waitFor();
  await page.goBack();
  await row(page, 'IPC_REMOTE_KEY').waitFor();
});

scene('a request that cannot be sent says so within 3 s', async ({ middleware, page }) => {
  middleware.process.kill('SIGSTOP');
  const started = Date.now();
  await page.locator('[data-key="Return"]').click();
  await page.locator('#pressed', { hasText: 'Not sent: zelobox has not answered for 2.5 s' }).waitFor();
  assert.ok(Date.now() - started < 3000, `${Date.now() - started} ms`);
  middleware.process.kill('SIGCONT');
  await page.locator('[data-key="Home"]').click();
  await page.locator('#pressed', { hasText: 'Home: sent to 1 client' }).waitFor();
});

/// A stream whose events the test makes up.
class FakeStream {
  static CLOSED = 2;

  constructor(address) {
    this.address = address;
    this.listeners = {};
    this.readyState = 1;
    FakeStream.latest = this;
  }

  addEventListener(name, listener) {
    this.listeners[name] = listener;
  }

  close() {
    this.readyState = FakeStream.CLOSED;
  }

  hello() {
    this.listeners.hello({ data: '{"instance":"7"}' });
    this.listeners.state({ data: '{}' });
  }

  records(...serials) {
    this.listeners.records({ data: serials.map((serial) => `{"serial":${serial}}`).join('\n'), lastEventId: `7-${serials.at(-1)}` });
  }
}

class FakeTab {
  constructor(hub) {
    this.told = [];
    this.postMessage = (events) => this.told.push(...events.map(([name, data]) => `${name} ${data}`));
    hub.connect(this);
  }

  say(data) {
    this.onmessage({ data });
  }
}

test('while no tab is shown there is no stream, and the next one goes on where the last one ended', () => {
  const hub = new Hub(FakeStream);
  const [one, two] = [new FakeTab(hub), new FakeTab(hub)];
  one.say({ shown: true, instance: '', serial: 0 });
  two.say({ shown: true, instance: '', serial: 0 });
  const stream = FakeStream.latest;
  stream.hello();
  stream.records(1, 2);
  hub.flush();
  one.say({ shown: false });
  assert.equal(stream.readyState, 1);
  two.say({ gone: true });
  assert.equal(stream.readyState, FakeStream.CLOSED);
  one.say({ shown: true, instance: '7', serial: 2 });
  assert.equal(FakeStream.latest.address, '/api/events?after=7-2');
});

test('a tab that is shown again is told what it does not know, once', () => {
  const hub = new Hub(FakeStream);
  const [one, two] = [new FakeTab(hub), new FakeTab(hub)];
  one.say({ shown: true, instance: '', serial: 0 });
  two.say({ shown: true, instance: '', serial: 0 });
  FakeStream.latest.hello();
  FakeStream.latest.records(1, 2);
  hub.flush();
  two.say({ shown: false });
  FakeStream.latest.records(3);
  hub.flush();
  two.told.length = 0;
  FakeStream.latest.records(4);
  two.say({ shown: true, instance: '7', serial: 2 });
  hub.flush();
  assert.deepEqual(two.told.slice(2), ['records {"serial":3}\n{"serial":4}']);
  assert.deepEqual(one.told.slice(-2), ['records {"serial":3}', 'records {"serial":4}']);
});

test('what is kept for a tab has no holes and is bounded', () => {
  const hub = new Hub(FakeStream);
  const tab = new FakeTab(hub);
  tab.say({ shown: true, instance: '', serial: 0 });
  FakeStream.latest.hello();
  for (let serial = 1; serial <= 30000; serial += 1) {
    FakeStream.latest.records(serial);
  }
  assert.ok(hub.kept.length <= 11000, String(hub.kept.length));
  assert.equal(hub.kept.at(-1), '{"serial":30000}');
  FakeStream.latest.records(40000); // the middleware has told the latest only
  assert.deepEqual(hub.kept, ['{"serial":40000}']);
});
