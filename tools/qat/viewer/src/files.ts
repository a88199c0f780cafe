import type { FileKey, FileRecord, Range, SignalRecord, TraceId } from './types';

export type TraceKind = 'number' | 'labels' | 'logical' | 'text';

/** The signals of the files, and what traces of them are called. */
export class Files {
  private readonly numbers: Map<string, number>[];

  constructor(readonly records: FileRecord[]) {
    this.numbers = records.map(
      (record) => new Map(record.signals.flatMap((signal, i) => (signal ? [[signal.name, i] as const] : []))),
    );
  }

  get hasTwo(): boolean {
    return this.records.length > 1;
  }

  /** The last part of a file's path. */
  fileName(key: FileKey): string {
    const path = this.records[key === 'b' ? 1 : 0]?.file ?? '';
    return path.split('/').pop() ?? path;
  }

  signal(id: TraceId): SignalRecord | null {
    return this.records[id.file === 'b' ? 1 : 0]?.signals[id.signal] ?? null;
  }

  numberOf(file: FileKey, name: string): number | undefined {
    return this.numbers[file === 'b' ? 1 : 0]?.get(name);
  }

  /** The same trace in the second file, or the difference of both; null if the other file lacks it. */
  counterpart(id: TraceId, file: 'b' | 'd'): TraceId | null {
    const signal = id.file === 'a' ? this.signal(id) : null;
    if (!signal) return null;
    const number = this.numberOf('b', signal.name);
    const other = number === undefined ? null : this.records[1].signals[number];
    if (number === undefined || !other || id.element >= widthOf(other)) return null;
    return file === 'b' ? { file, signal: number, element: id.element } : { ...id, file };
  }

  /** Name with the element's indices, and the sign of a difference. */
  nameOf(id: TraceId): string {
    const signal = this.signal(id);
    if (!signal) return '?';
    const name = signal.name + elementText(signal.dimensions, id.element);
    return id.file === 'd' ? `Δ ${name}` : signal.complex ? `|${name}|` : name;
  }

  kindOf(id: TraceId): TraceKind {
    const signal = this.signal(id);
    if (!signal || id.file === 'd') return 'number';
    if (signal.labels) return 'labels';
    return signal.type === 'logical' ? 'logical' : signal.type === 'text' ? 'text' : 'number';
  }

  unitOf(id: TraceId): string {
    return this.kindOf(id) === 'number' ? (this.signal(id)?.unit ?? '') : '';
  }

  isLinear(id: TraceId): boolean {
    const signal = this.signal(id);
    if (!signal || signal.labels || signal.type === 'logical' || signal.type === 'text') return false;
    return signal.interpolation === 'linear';
  }

  /** Span of the samples of some traces; of all signals if there is none. */
  span(traces: TraceId[]): Range {
    const signals = traces.map((id) => this.signal(id)).filter((signal) => signal !== null);
    const range = spanOf(signals);
    if (range) return range;
    const all = this.records.flatMap((record) => record.signals).filter((signal) => signal !== null);
    return spanOf(all) ?? { from: 0, to: 1 };
  }
}

export const widthOf = (signal: SignalRecord): number => signal.dimensions.reduce((product, n) => product * n, 1);

/** `[1][0]` of an element, last index fastest; empty for a scalar. */
export function elementText(dimensions: number[], element: number): string {
  let text = '';
  let rest = element;
  for (let i = dimensions.length - 1; i >= 0; i--) {
    text = `[${rest % dimensions[i]}]${text}`;
    rest = Math.floor(rest / dimensions[i]);
  }
  return text;
}

function spanOf(signals: SignalRecord[]): Range | null {
  let [from, to] = [Infinity, -Infinity];
  for (const signal of signals) {
    if (signal.first !== null) from = Math.min(from, signal.first);
    if (signal.last !== null) to = Math.max(to, signal.last);
  }
  if (!(from <= to)) return null;
  return from < to ? { from, to } : { from: from - 0.5, to: to + 0.5 };
}
