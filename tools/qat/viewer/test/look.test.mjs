// One file: open, search, plot, zoom, cursors, lanes, bands, XY plots, the address.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';
import {
  closePages,
  end,
  flight,
  interpolated,
  open,
  picture,
  plot,
  run,
  programs,
  serve,
  settle,
  show,
  table,
  viewIn,
} from './qat.mjs';

let file;
let address;
before(async () => {
  file = flight();
  address = await serve(file);
});
afterEach(closePages);
after(end);

const near = (text, value, tolerance = 1e-5) =>
  assert.ok(Math.abs(Number(text) - value) <= tolerance * Math.max(1e-9, Math.abs(value)), `${text} is not ${value}`);

/** Drags over a plot from one part of its width to another. */
async function drag(page, from, to, options = {}) {
  const box = await page.locator('.u-over').first().boundingBox();
  const y = box.y + box.height / 2;
  if (options.shift) await page.keyboard.down('Shift');
  await page.mouse.move(box.x + from * box.width, y);
  await page.mouse.down();
  await page.mouse.move(box.x + ((from + to) / 2) * box.width, y);
  await page.mouse.move(box.x + to * box.width, y);
  await page.mouse.up();
  if (options.shift) await page.keyboard.up('Shift');
}

async function clickAt(page, part, modifiers = []) {
  const box = await page.locator('.u-over').first().boundingBox();
  await page
    .locator('.u-over')
    .first()
    .click({ position: { x: Math.round(part * box.width), y: box.height / 2 }, modifiers });
}

test('lists the signals of the file', async () => {
  const page = await open(address);
  const count = JSON.parse(run(programs.qat, 'ls', file, '--json')).signals.length;
  assert.equal(await page.locator('.count').textContent(), `${count} signals`);
  assert.equal(await page.title(), 'results.qat · qat');
  assert.equal(await page.getByRole('treeitem', { name: 'pointingError' }).count(), 1);
  assert.deepEqual(page.problems, []);
});

test('searches by name, block path and unit, without a mouse', async () => {
  const page = await open(address);
  const first = () =>
    page
      .locator('.row .label')
      .first()
      .evaluate((label) => label.firstChild.textContent);
  await page.keyboard.press('/');
  await page.keyboard.type('battcharge');
  assert.equal(await first(), 'batteryCharge');
  await page.getByRole('searchbox').fill('orbit altit');
  assert.equal(await first(), 'altitude');
  await page.getByRole('searchbox').fill('[W*h]');
  assert.equal(await first(), 'batteryCharge');
  await page.getByRole('searchbox').fill('no such signal');
  assert.equal(await page.locator('.row').count(), 0);
  await page.getByRole('searchbox').fill('wheels.speed');
  await page.keyboard.press('Enter');
  assert.match(await page.locator('.chip').first().textContent(), /wheels\.speed/);
  await page.keyboard.press('Escape');
  assert.equal(await page.getByRole('searchbox').inputValue(), '');
});

test('puts a unit into one plot, with the times of all plots aligned', async () => {
  const page = await open(address);
  await plot(page, 'pointingError');
  await plot(page, 'tracker.accuracy');
  await plot(page, 'altitude');
  await plot(page, 'batteryCharge', 'Shift+Enter');
  await settle(page);
  assert.equal(await page.locator('.plot').count(), 3);
  assert.equal(await page.locator('.plot').first().locator('.chip').count(), 2);
  const boxes = await page
    .locator('.u-over')
    .evaluateAll((all) => all.map((one) => [one.getBoundingClientRect().x, one.clientWidth]));
  for (const box of boxes) assert.deepEqual(box, boxes[0]);
  assert.deepEqual(page.problems, []);
});

test('zooms by dragging, moves with Shift, shows all by a double click', async () => {
  const page = await open(address);
  await plot(page, 'altitude');
  await settle(page);
  await drag(page, 0.25, 0.5);
  await settle(page);
  const [from, to] = viewIn(page).r;
  near(from, 1250, 0.01);
  near(to, 2500, 0.01);
  const { time, values } = show(file, 'altitude');
  const inside = values.filter((_value, i) => time[i] >= from && time[i] <= to);
  const cells = (await table(page)).altitude;
  near(cells.min, Math.min(...inside));
  near(cells.max, Math.max(...inside));
  near(cells.mean, inside.reduce((sum, value) => sum + value) / inside.length);
  assert.equal(cells.samples, String(inside.length));
  await drag(page, 0.5, 0.25, { shift: true });
  await settle(page);
  near(viewIn(page).r[0], from + (to - from) / 4, 0.02);
  await page.mouse.wheel(0, 120);
  await settle(page);
  assert.ok(viewIn(page).r[1] - viewIn(page).r[0] > (to - from) * 1.2);
  await page.locator('.u-over').dblclick();
  await settle(page);
  assert.equal(viewIn(page).r, undefined);
  await page.getByLabel('First time').fill('0:10:00');
  await page.getByLabel('First time').press('Enter');
  await settle(page);
  assert.deepEqual(viewIn(page).r, [600, 5000]);
});

test('reads the values of the file at the cursors', async () => {
  const page = await open(address);
  await plot(page, 'altitude');
  await plot(page, 'mode');
  await settle(page);
  await clickAt(page, 0.3);
  await clickAt(page, 0.7, ['Shift']);
  await settle(page);
  const { a, b } = viewIn(page);
  near(a, 1500, 0.01);
  near(b, 3500, 0.01);
  const altitude = show(file, 'altitude');
  const atA = interpolated(altitude, a);
  const atB = interpolated(altitude, b);
  const cells = await table(page);
  near(cells.altitude.A, atA);
  near(cells.altitude.B, atB);
  near(cells.altitude['B − A'], atB - atA, 1e-3);
  near(cells.altitude.slope, (atB - atA) / (b - a), 1e-3);
  const mode = show(file, 'mode');
  assert.equal(cells.mode.A, mode.values[mode.time.findLastIndex((time) => time <= a)]);
  // A cursor moves where it is dragged to.
  await drag(page, 0.3, 0.4);
  await settle(page);
  near(viewIn(page).a, 2000, 0.01);
  assert.equal(viewIn(page).r, undefined);
  await page.keyboard.press('Escape');
  await settle(page);
  assert.equal(viewIn(page).a, undefined);
  assert.deepEqual(page.problems, []);
});

test('keeps the view in the address', async () => {
  const page = await open(address);
  await plot(page, 'altitude');
  await plot(page, 'mode');
  await settle(page);
  await drag(page, 0.2, 0.6);
  await clickAt(page, 0.5);
  await page.getByRole('button', { name: 'Times as hours' }).click();
  await settle(page);
  const { hash } = new URL(page.url());
  const again = await open((await serve(file)) + hash); // another server, another token
  await settle(again);
  assert.deepEqual(viewIn(again), viewIn(page));
  assert.equal(await again.locator('.plot').count(), 2);
  assert.equal(await again.getByLabel('First time').inputValue(), await page.getByLabel('First time').inputValue());
  assert.match(await again.getByLabel('First time').inputValue(), /^0:16:/);
  const lacking = await open(`${address}#v=${encodeURIComponent('{"p":[{"t":[["a","gone",0],["a","altitude",0]]}]}')}`);
  assert.match(await lacking.locator('.message').textContent(), /Not in this file: gone/);
  assert.equal(await lacking.locator('.chip').count(), 1);
});

test('moves and removes plots', async () => {
  const page = await open(address);
  for (const name of ['altitude', 'mode', 'batteryCharge']) await plot(page, name);
  await settle(page);
  const names = () =>
    page.locator('.plot').evaluateAll((all) => all.map((one) => one.querySelector('.chip .name').textContent));
  await page.locator('.plot').nth(2).getByRole('button', { name: 'Move up' }).click();
  assert.deepEqual(await names(), ['altitude', 'batteryCharge', 'mode']);
  await page.locator('.plot').nth(2).locator('.grip').dragTo(page.locator('.plot').first());
  assert.deepEqual(await names(), ['mode', 'altitude', 'batteryCharge']);
  await page.locator('.plot').nth(1).getByRole('button', { name: 'Remove this plot' }).click();
  assert.deepEqual(await names(), ['mode', 'batteryCharge']);
  const edge = await page.locator('.plot .edge').nth(1).boundingBox();
  const height = (await page.locator('.plot').nth(1).boundingBox()).height;
  await page.mouse.move(edge.x + 50, edge.y + 3);
  await page.mouse.down();
  await page.mouse.move(edge.x + 50, edge.y + 83, { steps: 4 });
  await page.mouse.up();
  assert.ok(Math.abs((await page.locator('.plot').nth(1).boundingBox()).height - height - 80) < 3);
});

test('shows and takes times as hours, minutes, seconds', async () => {
  const page = await open(address);
  await plot(page, 'altitude');
  await settle(page);
  const [from, to] = [page.locator('input.time').first(), page.locator('input.time').nth(1)];
  const clock = page.getByRole('button', { name: 'Times as hours, minutes, seconds' });
  await clock.click();
  assert.equal(await to.inputValue(), '1:23:20'); // 5000 s
  await from.fill('0:10:00');
  await from.press('Enter');
  await settle(page);
  await clock.click();
  assert.equal(Number(await from.inputValue()), 600);
});

test('takes signals and elements by drag and drop', async () => {
  const page = await open(address);
  await plot(page, 'altitude');
  await page.getByRole('searchbox').fill('directionCosines');
  await page.locator('.row').first().click();
  await page.locator('.row', { hasText: '[1][2]' }).dragTo(page.locator('.plot'));
  await settle(page);
  assert.deepEqual(viewIn(page).p, [
    {
      t: [
        ['a', 'altitude', 0],
        ['a', 'directionCosines', 5],
      ],
    },
  ]);
  await page.getByRole('searchbox').fill('mode');
  await page.locator('.row').first().dragTo(page.locator('.plot'));
  await settle(page);
  assert.deepEqual(viewIn(page).p[0].b, ['a', 'mode', 0]); // bands behind the curves
  const cells = await table(page);
  const cosines = show(file, 'directionCosines').values;
  near(cells['directionCosines[1][2]'].max, Math.max(...cosines.map((rows) => rows[1][2])));
  assert.deepEqual(page.problems, []);
});

test('plots one signal over another', async () => {
  const page = await open(address);
  await plot(page, 'altitude');
  await page.getByRole('searchbox').fill('batteryCharge');
  await page.locator('.row').first().dragTo(page.locator('.plot'));
  await page.locator('.plot').getByRole('button', { name: 'More' }).click();
  await page.getByRole('menuitem', { name: 'XY over altitude' }).click();
  await settle(page);
  assert.equal(viewIn(page).p[1].k, 'xy');
  assert.equal(await page.locator('.plot').nth(1).locator('.note').textContent(), '');
  assert.deepEqual(page.problems, []);
});

test('copies samples and saves a picture', async () => {
  const page = await open(address);
  await page.context().grantPermissions(['clipboard-read', 'clipboard-write']);
  await plot(page, 'batteryCharge');
  await settle(page);
  await page.locator('.plot').getByRole('button', { name: 'More' }).click();
  await page.getByRole('menuitem', { name: 'Copy samples' }).click();
  await page.locator('.message', { hasText: 'copied' }).waitFor();
  const lines = (await page.evaluate(() => navigator.clipboard.readText())).split('\r\n');
  const { time, values } = show(file, 'batteryCharge');
  assert.equal(lines[0], 'time,batteryCharge');
  assert.equal(lines.length, time.length + 2);
  assert.deepEqual(lines[7].split(',').map(Number), [time[6], values[6]]);
  await page.locator('.plot').getByRole('button', { name: 'More' }).click();
  const [saved] = await Promise.all([
    page.waitForEvent('download'),
    page.getByRole('menuitem', { name: 'PNG' }).click(),
  ]);
  assert.equal(saved.suggestedFilename(), 'batteryCharge.png');
});

test('looks like this', async () => {
  for (const theme of ['light', 'dark']) {
    const page = await open(address, { theme, height: 900 });
    for (const name of ['altitude', 'pointingError', 'mode', 'valveOpen[1]']) await plot(page, name);
    await page.getByRole('searchbox').fill('');
    await settle(page);
    await page.locator('.plot').nth(1).getByRole('button', { name: 'More' }).click();
    await page.getByRole('menuitem', { name: 'Bands: mode' }).click();
    await clickAt(page, 0.3);
    await clickAt(page, 0.62, ['Shift']);
    const box = await page.locator('.u-over').first().boundingBox();
    await page.mouse.move(box.x + 0.45 * box.width, box.y + 60);
    await settle(page);
    await picture(page, `viewer-${theme}`);
    assert.deepEqual(page.problems, []);
  }
});
