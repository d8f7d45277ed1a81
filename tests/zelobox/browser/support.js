// zelobox as processes, and a browser to look at its page. Everything is waited for with a deadline.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createRequire } from 'node:module';
import { dirname, join } from 'node:path';
import { createInterface } from 'node:readline';
import { fileURLToPath } from 'node:url';

const root = join(dirname(fileURLToPath(import.meta.url)), '..', '..', '..');
const build = process.env.ZELO_BUILD ?? join(root, 'build');
const program = join(build, 'default', 'zelobox');
const fromBuild = createRequire(join(build, 'browser/'));
const { chromium } = fromBuild('playwright-core');

export const deadlineMs = Number(process.env.ZELO_DEADLINE_MS ?? 20000);

/// The path of a file of an installed package.
export const packageFile = (name) => fromBuild.resolve(name);

/// A zelobox process whose lines can be waited for.
class Program {
  constructor(words, path = program) {
    this.program = path;
    this.process = spawn(path, words, { stdio: ['pipe', 'pipe', 'ignore'], cwd: root });
    this.lines = [];
    this.waiting = new Set();
    this.ended = once(this.process, 'exit');
    createInterface({ input: this.process.stdout }).on('line', (line) => {
      this.lines.push(line);
      for (const check of this.waiting) {
        check();
      }
    });
  }

  /// Gives the first line from the first-th on that suits.
  line(suits, first = 0) {
    return new Promise((resolve, reject) => {
      const find = () => this.lines.slice(first).find(suits);
      const finish = (result) => {
        clearTimeout(timer);
        this.waiting.delete(check);
        resolve(result);
      };
      const check = () => find() !== undefined && finish(find());
      const timer = setTimeout(() => {
        this.waiting.delete(check);
        reject(new Error(`no line like ${suits} in:\n${this.lines.join('\n')}`));
      }, deadlineMs);
      this.waiting.add(check);
      check();
    });
  }

  async stop(signal = 'SIGINT') {
    this.process.kill(signal);
    return (await this.ended)[0];
  }
}

/// `zelobox serve`
export class Middleware extends Program {
  static async start(port = 0, ...options) {
    return Middleware.listening(new Middleware(['serve', '--port', String(port), ...options]));
  }

  /// Without the frames on its output.
  static quiet() {
    return Middleware.listening(new Middleware(['middleware', '--web', '0', '--quiet']));
  }

  /// `./dev serve`
  static fromCheckout() {
    return Middleware.listening(new Middleware(['serve', '--port', '0'], './dev'));
  }

  static async listening(middleware) {
    const line = await middleware.line((text) => text.includes('its page at '));
    middleware.url = line.match(/http:\S+/)[0];
    middleware.port = Number(new URL(middleware.url).port);
    return middleware;
  }
}

/// `zelobox host`, with the real library.
export class Host extends Program {
  static async start() {
    const host = new Host(['host', '--json']);
    await host.line((text) => text === '{"result":"start"}');
    return host;
  }

  /// Has it carry out a command, and gives the answer.
  async call(command) {
    const first = this.lines.length;
    this.process.stdin.write(`${command}\n`);
    return JSON.parse(await this.line((text) => text.startsWith('{"result":'), first));
  }

  async callback(name, first = 0) {
    return JSON.parse(await this.line((text) => text.startsWith(`{"callback":"${name}"`), first));
  }
}

export function launch() {
  return chromium.launch({
    executablePath: process.env.ZELO_CHROMIUM ?? '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync'],
  });
}

/// A page that shows the middleware. What goes wrong in it is kept in page.problems.
export async function open(browser, middleware, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1440, height: 960 }, ...options });
  context.setDefaultTimeout(deadlineMs);
  const page = await context.newPage();
  page.problems = [];
  page.on('pageerror', (error) => page.problems.push(error.message));
  await page.goto(middleware.url);
  return page;
}

export async function waitForLink(page, text) {
  await page.locator('#link', { hasText: text }).waitFor();
}
