// Long lists, long names, signals of few or no values, narrow windows.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, afterEach, test } from 'node:test';
import { closePages, end, flight, folder, open, picture, plot, programs, run, serve, settle, table } from './qat.mjs';

afterEach(closePages);
after(end);

test('lists 10 000 signals as rows in sight only', async () => {
  const many = join(folder, 'many.qat');
  run(programs.writeExample, many, 10000, 3);
  const page = await open(await serve(many));
  assert.equal(await page.locator('.count').textContent(), '10000 signals');
  assert.ok((await page.locator('.row').count()) < 100);
  await page.getByRole('searchbox').fill('s9876');
  assert.equal(
    await page
      .locator('.row .label')
      .first()
      .evaluate((label) => label.firstChild.textContent),
    's9876',
  );
  await page.getByRole('searchbox').fill('');
  await page.getByRole('tree').press('End');
  assert.match(await page.locator('.row.active').textContent(), /s9999/);
  await page.keyboard.press('Enter');
  await settle(page);
  assert.equal((await table(page)).s9999.samples, '3');
  assert.deepEqual(page.problems, []);
});

test('shows signals of long names, one sample, none, NaN and infinity', async () => {
  const odd = join(folder, 'odd.qat');
  run(programs.writeExample, odd, 'odd');
  const page = await open(await serve(odd));
  const signals = [
    ['longxx', '10'],
    ['nothing', '0'],
    ['once', '1'],
    ['nan', '10 (10 NaN)'],
    ['gaps', '10 (3 NaN)'],
    ['infinite', '10'],
  ];
  for (const [name] of signals) await plot(page, name, 'Shift+Enter');
  await settle(page);
  assert.equal(await page.locator('.plot').count(), 6);
  const cells = Object.entries(await table(page));
  for (const [name, samples] of signals) assert.equal(cells.find(([one]) => one.startsWith(name))[1].samples, samples);
  assert.equal(cells.find(([one]) => one === 'once')[1].mean, '42');
  assert.deepEqual(await page.locator('.note').allTextContents(), [
    '',
    'no values in this range',
    '',
    'no values in this range',
    '',
    '',
  ]);
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth));
  await picture(page, 'odd');
  assert.deepEqual(page.problems, []);
});

test('is usable at a width of 400 pixels', async () => {
  const address = await serve(flight());
  for (const theme of ['light', 'dark']) {
    const page = await open(address, { width: 400, height: 800, theme });
    await page.getByRole('button', { name: 'Signals' }).click();
    await page.getByRole('searchbox').fill('altitude');
    await page.locator('.row .add').first().click();
    await page.getByRole('searchbox').fill('mode');
    await picture(page, `narrow-list-${theme}`);
    await page.locator('.row .add').first().click();
    await page.mouse.click(390, 400); // beside the list, which closes it
    await settle(page);
    await page
      .locator('.u-over')
      .first()
      .click({ position: { x: 100, y: 40 } });
    await settle(page);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth));
    assert.equal(await page.locator('.plot').count(), 2);
    assert.notEqual((await table(page)).altitude.A, '');
    await picture(page, `narrow-${theme}`);
    assert.deepEqual(page.problems, []);
  }
});
