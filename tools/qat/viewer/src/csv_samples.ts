import { csvLine } from './csv';
import type { Files } from './files';
import { LabelTexts } from './label_texts';
import { firstAfter, firstFrom } from './search_places';
import type { Range, Series, Source, TraceId } from './types';

type TextOf = (value: number) => string;

/** What the values of each trace are called in a table: labels and texts, else numbers. */
export async function labelNames(ids: TraceId[], files: Files, source: Source): Promise<TextOf[]> {
  const labels = new LabelTexts(source);
  await labels.load(ids, files);
  const none = { x: new Float64Array(), y: new Float64Array(), reduced: false };
  return ids.map((id) => {
    const kind = files.kindOf(id);
    return kind === 'labels' || kind === 'text' ? labels.laneOf(id, '', '', none, files).textOf : String;
  });
}

/** The samples of a range: a row per time of any curve; the k-th sample of a repeated time is in its k-th row. */
export function samplesCsv(names: string[], series: Series[], range: Range, textOf: TextOf[]): string {
  const places = series.map(({ x }) => firstFrom(x, range.from));
  const ends = series.map(({ x }) => firstAfter(x, range.to));
  let text = csvLine(['time', ...names]);
  for (;;) {
    let time = Infinity;
    series.forEach(({ x }, i) => {
      if (places[i] < ends[i]) time = Math.min(time, x[places[i]]);
    });
    if (time === Infinity) return text;
    const cells = series.map(({ x, y }, i) =>
      places[i] < ends[i] && x[places[i]] === time ? textOf[i](y[places[i]++]) : '',
    );
    text += csvLine([String(time), ...cells]);
  }
}
