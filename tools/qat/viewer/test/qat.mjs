// What all tests of the page need: files to show, the server, the browser, pictures of what it shows.
import { execFileSync, spawn } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { chromium } from 'playwright-core';

const need = (name) => {
  const value = process.env[name];
  if (!value) throw new Error(`the environment variable ${name} is missing`);
  return value;
};

/** Programs: qat, what writes files of tests, the simulated spacecraft. */
export const programs = {
  qat: need('QAT'),
  writeExample: need('WRITE_EXAMPLE'),
  get spacecraft() {
    return need('SPACECRAFT');
  },
  get configure() {
    return need('CONFIGURE');
  },
};

export const folder = mkdtempSync(join(tmpdir(), 'vtio_view_'));
const pictures = need('PICTURES');
mkdirSync(pictures, { recursive: true });

const servers = [];
let browser;

export const run = (program, ...args) =>
  execFileSync(program, args.map(String), { encoding: 'utf8', cwd: folder, maxBuffer: 1 << 28 });

/** The spacecraft's flight: 40 signals, 5000 s. */
export function flight() {
  run(programs.configure, 'config.qat');
  run(programs.spacecraft, '--config', 'config.qat', '--out', 'results.qat');
  return join(folder, 'results.qat');
}

/** A signal as `qat show --json` prints it. */
export const show = (file, name) => JSON.parse(run(programs.qat, 'show', file, name, '--json'));

/** The value of a linear signal at a time, computed from all its samples. */
export function interpolated({ time, values }, at) {
  const after = time.findIndex((one) => one > at);
  const i = (after < 0 ? time.length : after) - 1;
  if (time[i] === at) return values[i];
  return values[i] + ((values[i + 1] - values[i]) * (at - time[i])) / (time[i + 1] - time[i]);
}

/** Starts a server and gives its address. */
export async function serve(...files) {
  const server = spawn(programs.qat, ['view', ...files], { cwd: folder, stdio: ['ignore', 'pipe', 'inherit'] });
  servers.push(server);
  for await (const line of createInterface({ input: server.stdout })) return line;
  throw new Error('qat view printed no address');
}

/** Opens an address in a page of its own; what goes wrong in it is in page.problems. */
export async function open(address, { width = 1280, height = 860, theme = 'light' } = {}) {
  browser ??= await chromium.launch({
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    args: [
      '--no-sandbox',
      '--disable-gpu',
      '--disable-quic',
      '--no-first-run',
      '--disable-background-networking',
      '--disable-component-update',
      '--disable-sync',
    ],
  });
  const context = await browser.newContext({ viewport: { width, height }, colorScheme: theme });
  const page = await context.newPage();
  page.setDefaultTimeout(15_000);
  page.problems = [];
  page.on('pageerror', (error) => page.problems.push(error.message));
  page.on('console', (message) => message.type() === 'error' && page.problems.push(message.text()));
  await page.goto(address);
  await page.locator('.row').first().waitFor({ state: 'attached' });
  return page;
}

/** Finds a signal and puts it into a plot. */
export async function plot(page, name, key = 'Enter') {
  await page.getByRole('searchbox').fill(name);
  await page.keyboard.press(key);
}

/** Waits until the page has answers to all that it asked for. */
export async function settle(page) {
  await page.locator('#app[data-settled=yes]').waitFor();
}

export const picture = (page, name) => page.screenshot({ path: join(pictures, `${name}.png`) });

/** Cells of the table of values, by the name of the signal and the head of the column. */
export async function table(page) {
  return page.evaluate(() => {
    const heads = [...document.querySelectorAll('.value-table thead th')].map((cell) => cell.textContent);
    const rows = [...document.querySelectorAll('.value-table tbody tr')];
    return Object.fromEntries(
      rows.map((row) => {
        const cells = [...row.children].map((cell) => cell.textContent);
        return [cells[0], Object.fromEntries(heads.map((head, i) => [head, cells[i]]))];
      }),
    );
  });
}

/** The view as the address has it. */
export const viewIn = (page) => JSON.parse(decodeURIComponent(new URL(page.url()).hash.slice(3)));

/** Closes all pages; what a test leaves open goes on asking. */
export async function closePages() {
  for (const context of browser?.contexts() ?? []) await context.close();
}

export async function end() {
  for (const server of servers) server.kill('SIGINT');
  await browser?.close();
  rmSync(folder, { recursive: true, force: true });
}
