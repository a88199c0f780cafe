// Two files, files that grow, pages without a server, addresses that are wrong.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { existsSync, renameSync, statSync } from 'node:fs';
import { join } from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';
import { after, afterEach, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';
import {
  closePages,
  end,
  flight,
  folder,
  interpolated,
  open,
  picture,
  plot,
  programs,
  run,
  serve,
  settle,
  show,
  table,
  viewIn,
} from './qat.mjs';

let file;
let other;
before(() => {
  file = join(folder, 'today.qat');
  other = join(folder, 'yesterday.qat');
  run(programs.writeExample, file, 0.5);
  run(programs.writeExample, other);
});
afterEach(closePages);
after(end);

async function clickAt(page, part) {
  const box = await page.locator('.u-over').first().boundingBox();
  await page
    .locator('.u-over')
    .first()
    .click({ position: { x: Math.round(part * box.width), y: 20 } });
}

test('draws a second file and the difference to it', async () => {
  const page = await open(await serve(file, other));
  await plot(page, 'wheels.speed');
  await settle(page);
  assert.equal(await page.locator('.chip').count(), 2);
  await page.locator('.plot').getByRole('button', { name: 'More' }).click();
  await page.getByRole('menuitem', { name: 'Difference to yesterday.qat' }).click();
  await clickAt(page, 0.9);
  await settle(page);
  const { a } = viewIn(page);
  const cells = await table(page);
  const expected = [interpolated(show(file, 'wheels.speed'), a), interpolated(show(other, 'wheels.speed'), a)];
  assert.ok(Math.abs(cells['wheels.speed'].A - expected[0]) < 1e-3);
  assert.ok(Math.abs(cells['wheels.speed · yesterday.qat'].A - expected[1]) < 1e-3);
  assert.equal(cells['Δ wheels.speed'].A, '0.5');
  assert.equal(cells['Δ wheels.speed'].min, '0');
  assert.equal(cells['Δ wheels.speed'].max, '0.5');
  await page.getByRole('button', { name: 'Draw the second file' }).click();
  await settle(page);
  assert.equal(await page.locator('.plot').first().locator('.chip').count(), 1);
  assert.deepEqual(page.problems, []);
});

test('shows labels, logicals and texts over time', async () => {
  const page = await open(await serve(file));
  for (const name of ['mode', 'wheels.on', 'wheels.name']) await plot(page, name);
  await clickAt(page, 0.35);
  await settle(page);
  const cells = await table(page);
  const at = Math.floor(viewIn(page).a / 0.5);
  assert.equal(cells.mode.A, at % 2 ? 'ON' : 'OFF');
  assert.equal(cells['wheels.on'].A, String(at % 2));
  assert.equal(cells['wheels.name'].A, at % 2 ? '' : 'even, "so"');
  assert.equal(await page.locator('.plot').count(), 1);
  assert.deepEqual(page.problems, []);
});

test('follows the end of a run', async () => {
  run(programs.configure, 'config.qat');
  const stream = join(folder, 'live.qat');
  const args = [
    '--config',
    'config.qat',
    '--out',
    'never.qat',
    '--stream',
    stream,
    '--step',
    '0.001',
    '--duration',
    '100000',
  ];
  const spacecraft = spawn(programs.spacecraft, args, { cwd: folder, stdio: 'ignore' });
  try {
    for (let i = 0; i < 200 && !(existsSync(stream) && statSync(stream).size > 100_000); i++) await sleep(50);
    const page = await open(await serve(stream));
    await plot(page, 'pointingError');
    const last = async () => Number(await page.getByLabel('Last time').inputValue());
    const grows = async () => {
      const before = await last();
      for (let i = 0; i < 100; i++) {
        if ((await last()) > before) return true;
        await sleep(100);
      }
      return false;
    };
    assert.match(await page.locator('.live').textContent(), /● live/);
    assert.ok(await grows());
    await page.locator('.live').click(); // stays where it is
    const still = await last();
    await sleep(2500);
    assert.equal(await last(), still);
    await page.locator('.live').click(); // follows with this width
    assert.ok(await grows());
    const width = (await last()) - Number(await page.getByLabel('First time').inputValue());
    assert.ok(await grows());
    assert.ok(
      Math.abs((await last()) - Number(await page.getByLabel('First time').inputValue()) - width) < 0.01 * width + 1,
    );
    assert.deepEqual(page.problems, []);
  } finally {
    spacecraft.kill('SIGKILL');
  }
});

test('shows a file that was written anew', async () => {
  const again = join(folder, 'again.qat');
  run(programs.writeExample, again);
  const page = await open(await serve(again));
  await plot(page, 'wheels.speed');
  await settle(page);
  assert.equal((await table(page))['wheels.speed'].max, '20.25');
  run(programs.writeExample, 'next.qat', 5);
  renameSync(join(folder, 'next.qat'), again);
  await page.locator('.value-table td', { hasText: /^25\.25$/ }).waitFor();
  assert.deepEqual(page.problems, []);
});

test('is not to be had without the token', async () => {
  const address = await serve(file);
  const page = await open(address);
  for (const wrong of ['', '0'.repeat(32) + '/', 'files']) {
    const answer = await page.goto(new URL(`/${wrong}`, address).href);
    assert.equal(answer.status(), 404);
    assert.doesNotMatch(await page.content(), /qatData|<title>qat/);
  }
});

/** What a page shows of one signal at a cursor. */
async function readAt(page, name) {
  await clickAt(page, 0.4);
  await settle(page);
  return { ...(await table(page))[name], time: viewIn(page).a };
}

test('exports a page that needs no server', async () => {
  const results = flight();
  run(programs.qat, 'view', results, '--export', 'report');
  const page = await open(pathToFileURL(join(folder, 'report', 'index.html')).href);
  await plot(page, 'batteryCharge'); // all of its 2001 samples are kept
  const cells = await readAt(page, 'batteryCharge');
  assert.ok(Math.abs(cells.A - interpolated(show(results, 'batteryCharge'), cells.time)) < 1e-3);
  await plot(page, 'pointingError'); // not all of its 200 001 are
  await settle(page);
  assert.match((await table(page)).pointingError.A, /^≈ \d/);
  for (const name of ['ledger.shuntedEnergy', 'mode', 'directionCosines']) await plot(page, name);
  await settle(page);
  assert.equal(await page.locator('.note', { hasText: 'no values' }).count(), 0);
  assert.deepEqual(page.problems, []);
});

test('draws plots as pages', async () => {
  const results = flight();
  run(
    programs.qat,
    'plot',
    results,
    'altitude',
    'pointingError',
    'mode',
    '--from',
    1000,
    '--to',
    2000,
    '-o',
    'plot.html',
  );
  const page = await open(pathToFileURL(join(folder, 'plot.html')).href, { width: 1000, height: 830 });
  await settle(page);
  assert.equal(await page.locator('.plot').count(), 3);
  assert.equal(await page.locator('.row').count(), 3); // no signal is listed whose samples are not there
  assert.deepEqual(viewIn(page).r, [1000, 2000]);
  const cells = await readAt(page, 'altitude');
  assert.ok(Math.abs(cells.A - interpolated(show(results, 'altitude'), cells.time)) < 1);
  await picture(page, 'plot');
  run(programs.qat, 'plot', results, 'altitude', 'batteryCharge', '--xy', '-o', 'over.html');
  const over = await open(pathToFileURL(join(folder, 'over.html')).href);
  await settle(over);
  assert.equal(viewIn(over).p[0].k, 'xy');
  run(programs.qat, 'plot', file, 'wheels.speed', '--compare', other, '-o', 'compared.html');
  const compared = await open(pathToFileURL(join(folder, 'compared.html')).href);
  await settle(compared);
  assert.equal(await compared.locator('.chip').count(), 2);
  for (const one of [page, over, compared]) assert.deepEqual(one.problems, []);
});
