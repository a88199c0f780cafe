// Measures the page in the browser, each thing beside its floor, the fetch of the same bytes from the same server: how
// long it takes until the page with its list is there, until a first signal is drawn, until a zoom is drawn.
// Writes the file BENCH for benchmarks/table.py. FILE, SIGNALS, SAMPLES: another file than that of make bench.
import { mkdirSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { end, folder, open, plot, programs, run, serve, settle } from './qat.mjs';

const [signals, samples] = [process.env.SIGNALS ?? 1000, process.env.SAMPLES ?? 100_000].map(Number);
const zooms = 40;
const file = process.env.FILE ?? join(folder, 'many.qat');
if (!process.env.FILE) run(programs.writeExample, file, signals, samples);

const results = [];
const middle = (numbers) => [...numbers].sort((a, b) => a - b)[numbers.length >> 1];
const keep = (name, milliseconds, floor) => {
  const size = `signals:${signals}/samples:${samples}`;
  for (const [kind, time] of [
    [name, milliseconds],
    [`${name}Floor`, floor],
  ])
    results.push({ name: kind, run_name: `${kind}/${size}`, run_type: 'iteration', real_time: time, time_unit: 'ms' });
  console.log(`${name.padEnd(20)} ${milliseconds.toFixed(1).padStart(8)} ms   floor ${floor.toFixed(1)} ms`);
};

/** Milliseconds that the page takes to fetch some questions and do nothing with them. */
const fetching = (page, questions) =>
  page.evaluate(async (all) => {
    const start = performance.now();
    for (const question of all) await (await fetch(question)).arrayBuffer();
    return performance.now() - start;
  }, questions);

/** How long each question for samples took until it was drawn. */
const drawings = (page) =>
  page.evaluate(() => performance.getEntriesByName('qat drawn').map((entry) => entry.duration));

const address = await serve(file);
const opened = [];
const fetched = [];
for (let i = 0; i < 5; i++) {
  const page = await open(address);
  opened.push(await page.evaluate(() => performance.getEntriesByName('qat listed')[0].startTime));
  fetched.push(await fetching(page, ['./', 'files']));
  await page.context().close();
}
keep('viewOpen', middle(opened), middle(fetched));

const page = await open(address);
const questions = [];
page.on('request', (request) => request.url().includes('/series?') && questions.push(request.url()));
await plot(page, 's7');
await settle(page);
const another = questions[0].replace('a.7.0', `a.${signals - 1}.0`);
keep('viewFirst', (await drawings(page))[0], await fetching(page, [another]));
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
keep('viewZoom', middle(all), floor);
keep('viewSlowestZoom', Math.max(...all), floor);
await end();
if (process.env.BENCH) {
  mkdirSync(dirname(process.env.BENCH), { recursive: true });
  writeFileSync(process.env.BENCH, JSON.stringify({ benchmarks: results }, null, 1));
}
