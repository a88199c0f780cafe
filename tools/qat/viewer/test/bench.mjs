// Measures the page in the browser, each thing beside its floor, the plain fetch of the same bytes:
// how long it takes until the page with its list is there, until a first signal is drawn, until a zoom is drawn.
import { join } from 'node:path';
import { end, folder, open, plot, programs, run, serve, settle } from './qat.mjs';

const [signals, samples] = [process.env.SIGNALS ?? 1000, process.env.SAMPLES ?? 100_000].map(Number);
const zooms = 40;
const file = process.env.FILE ?? join(folder, 'many.qat');
if (!process.env.FILE) run(programs.writeExample, file, signals, samples);

const middle = (numbers) => numbers.sort((a, b) => a - b)[numbers.length >> 1];
const line = (what, milliseconds, floor) =>
  console.log(
    `${what.padEnd(44)} ${milliseconds.toFixed(1).padStart(8)} ms   floor ${floor.toFixed(1).padStart(6)} ms   ratio ${(milliseconds / floor).toFixed(1)}`,
  );

/** Milliseconds that the page takes to fetch some questions and do nothing with them. */
const fetching = (page, questions) =>
  page.evaluate(async (all) => {
    const start = performance.now();
    for (const question of all) await (await fetch(question)).arrayBuffer();
    return performance.now() - start;
  }, questions);

/** Questions for samples that the page has asked since a time, and what each took until it was drawn. */
const drawings = (page) =>
  page.evaluate(() => performance.getEntriesByName('qat drawn').map((entry) => entry.duration));

console.log(`${signals} signals x ${samples} samples`);
const address = await serve(file);
const opened = [];
const fetched = [];
for (let i = 0; i < 5; i++) {
  const page = await open(address);
  opened.push(await page.evaluate(() => performance.getEntriesByName('qat listed')[0].startTime));
  fetched.push(await fetching(page, ['./', 'files']));
  await page.context().close();
}
line('open: page and list of signals', middle(opened), middle(fetched));

const page = await open(address);
const questions = [];
page.on('request', (request) => request.url().includes('/series?') && questions.push(request.url()));
await plot(page, 's7');
await settle(page);
const [first] = await drawings(page);
line('first plot of a signal (reads the column)', first, await fetching(page, [questions[0]]));
for (const name of ['s8', 's9', 's10']) await plot(page, name);
await settle(page);
const before = (await drawings(page)).length;
questions.length = 0;
const box = await page.locator('.u-over').first().boundingBox();
await page.mouse.move(box.x + 0.4 * box.width, box.y + 50);
for (let i = 0; i < zooms; i++) {
  await page.mouse.wheel(0, i % 20 < 10 ? -60 : 60);
  await page.waitForTimeout(60);
}
await settle(page);
const all = (await drawings(page)).slice(before);
const floor = (await fetching(page, questions)) / questions.length;
line(`zoom of 4 signals, ${all.length} times: middle`, middle([...all]), floor);
line('  slowest', Math.max(...all), floor);
await end();
