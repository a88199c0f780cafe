import { firstAfter, firstFrom } from './search_places';
import { bytesOfBase64, readSeries } from './series_bytes';
import type { FileRecord, LiveState, Range, Series, Source, TraceId, TraceStatistics, TraceValue } from './types';
import { traceKey } from './types';

/** The traces of one signal: their keys, their points as the server would give them, the texts of text signals. */
interface SignalData {
  traces: string[];
  points: string;
  texts: Record<string, string[]>;
}

/** What `qat view --export` and `qat plot -o x.html` put into the page. */
export interface PageData {
  files: { version: number; files: FileRecord[] };
  signals: Record<string, SignalData>;
  show?: { traces: string[]; xy: boolean; from: number | null; to: number | null };
}

/** Answers from what is in the page and in the files beside it. */
export class StaticSource implements Source {
  readonly isLive = false;
  private readonly curves = new Map<string, Series>();
  private readonly textLists = new Map<string, string[]>();
  private readonly loading = new Map<string, Promise<void>>();

  constructor(private readonly data: PageData) {
    for (const signal of Object.values(data.signals)) this.keep(signal);
    (window as unknown as { qatSignal: (key: string, signal: SignalData) => void }).qatSignal = (_key, signal) =>
      this.keep(signal);
  }

  /** The signals whose samples are to be had: of a plot those that it shows. */
  async files(): Promise<{ version: number; files: FileRecord[] }> {
    if (!this.data.show) return this.data.files;
    const files = this.data.files.files.map((file, i) => {
      const isHere = (number: number): boolean => `${i === 0 ? 'a' : 'b'}.${number}` in this.data.signals;
      return { ...file, signals: file.signals.map((signal, number) => (isHere(number) ? signal : null)) };
    });
    return { version: 0, files };
  }

  async state(): Promise<LiveState> {
    return { version: 0, files: [] };
  }

  async series(traces: TraceId[], range: Range): Promise<Series[]> {
    const curves = await Promise.all(traces.map((id) => this.curve(id)));
    return curves.map((curve) => part(curve, range, 1));
  }

  async over(x: TraceId, traces: TraceId[], range: Range): Promise<Series[]> {
    const across = await this.curve(x);
    const linear = this.interpolates(x);
    const curves = await Promise.all(traces.map((id) => this.curve(id)));
    return curves.map((curve) => {
      const inside = part(curve, range, 0);
      return { x: inside.x.map((time) => valueAt(across, time, linear) ?? NaN), y: inside.y, reduced: true };
    });
  }

  async texts(trace: TraceId): Promise<string[]> {
    await this.curve(trace);
    return this.textLists.get(traceKey(trace)) ?? [];
  }

  async values(traces: TraceId[], times: number[]): Promise<(TraceValue | null)[][]> {
    const curves = await Promise.all(traces.map((id) => this.curve(id)));
    return times.map((time) =>
      traces.map((id, i) => {
        const value = valueAt(curves[i], time, this.interpolates(id));
        if (value === null) return null;
        const isRough = curves[i].reduced && curves[i].x[firstFrom(curves[i].x, time)] !== time;
        return { time, value: Number.isFinite(value) ? value : null, text: this.text(id, value), isRough };
      }),
    );
  }

  async statistics(traces: TraceId[], range: Range): Promise<TraceStatistics[]> {
    const curves = await Promise.all(traces.map((id) => this.curve(id)));
    return curves.map((curve) => statisticsOf(part(curve, range, 0)));
  }

  private keep(signal: SignalData): void {
    const curves = readSeries(bytesOfBase64(signal.points));
    signal.traces.forEach((key, i) => this.curves.set(key, curves[i]));
    for (const [key, texts] of Object.entries(signal.texts)) this.textLists.set(key, texts);
  }

  private async curve(id: TraceId): Promise<Series> {
    const key = traceKey(id);
    if (!this.curves.has(key)) await this.load(`${id.file}.${id.signal}`);
    const curve = this.curves.get(key);
    if (!curve) throw new Error('this page does not hold the samples of that signal');
    return curve;
  }

  // A script, as pages that were opened from a file may not fetch.
  private load(key: string): Promise<void> {
    const known = this.loading.get(key);
    if (known) return known;
    const loading = new Promise<void>((resolve) => {
      const script = document.createElement('script');
      script.src = `data/${key}.js`;
      script.onload = script.onerror = () => resolve();
      document.head.append(script);
    });
    this.loading.set(key, loading);
    return loading;
  }

  private interpolates(id: TraceId): boolean {
    const signal = this.data.files.files[id.file === 'b' ? 1 : 0].signals[id.signal];
    return (
      signal !== null &&
      signal.interpolation === 'linear' &&
      !signal.labels &&
      !['logical', 'text'].includes(signal.type)
    );
  }

  private text(id: TraceId, value: number): string {
    const texts = this.textLists.get(traceKey(id));
    if (texts) return texts[value] ?? '';
    const labels = id.file === 'd' ? null : this.data.files.files[id.file === 'b' ? 1 : 0].signals[id.signal]?.labels;
    const label = labels ? Object.entries(labels).find(([, number]) => number === value) : undefined;
    return label ? label[0] : String(value);
  }
}

function part(curve: Series, range: Range, more: number): Series {
  const begin = Math.max(0, firstFrom(curve.x, range.from) - more);
  const end = Math.min(curve.x.length, firstAfter(curve.x, range.to) + more);
  return { x: curve.x.subarray(begin, end), y: curve.y.subarray(begin, end), reduced: curve.reduced };
}

function valueAt(curve: Series, time: number, linear: boolean): number | null {
  const after = firstAfter(curve.x, time);
  if (after === 0 || time > curve.x[curve.x.length - 1]) return null;
  const value = curve.y[after - 1];
  if (!linear || curve.x[after - 1] === time || after === curve.x.length) return value;
  const weight = (time - curve.x[after - 1]) / (curve.x[after] - curve.x[after - 1]);
  return value + (curve.y[after] - value) * weight;
}

function statisticsOf(curve: Series): TraceStatistics {
  let [min, max, sum, nans] = [Infinity, -Infinity, 0, 0];
  for (const value of curve.y) {
    if (Number.isNaN(value)) {
      nans++;
      continue;
    }
    min = Math.min(min, value);
    max = Math.max(max, value);
    sum += value;
  }
  const numbers = curve.y.length - nans;
  const known = (value: number): number | null => (numbers > 0 && Number.isFinite(value) ? value : null);
  return {
    samples: curve.y.length,
    nans,
    min: known(min),
    max: known(max),
    mean: curve.reduced ? null : known(sum / numbers),
  };
}
