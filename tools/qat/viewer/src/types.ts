// What the page asks for and gets: records of signals, curves, values, statistics.

/** The record of a signal, as `qat ls --json` prints it. */
export interface SignalRecord {
  name: string;
  dataset: string;
  element: string;
  blockPath: string[];
  type: string;
  complex: boolean;
  dimensions: number[];
  unit: string;
  interpolation: string;
  samples: number;
  first: number | null;
  last: number | null;
  labels: Record<string, number> | null;
}

export interface FileRecord {
  file: string;
  complete: boolean;
  signals: (SignalRecord | null)[];
}

/** First file, second file, first - second. */
export type FileKey = 'a' | 'b' | 'd';

/** One curve: an element of a signal. The signal of a difference is numbered as in the first file. */
export interface TraceId {
  file: FileKey;
  signal: number;
  element: number;
}

/** Seconds, both ends included. */
export interface Range {
  from: number;
  to: number;
}

/** Points of a curve; of an XY plot x are the values of another trace. */
export interface Series {
  x: Float64Array;
  y: Float64Array;
  /** Whether samples were left out. */
  reduced: boolean;
}

export interface TraceValue {
  time: number;
  value: number | null;
  text: string;
  /** Between samples of which others were left out, so that it may be another. */
  isRough?: boolean;
}

export interface TraceStatistics {
  samples: number;
  nans: number;
  min: number | null;
  max: number | null;
  mean: number | null;
}

export interface LiveState {
  version: number;
  files: { complete: boolean; signals: number; last: number | null }[];
}

/** Where data come from: the server of `qat view`, or the page itself. */
export interface Source {
  /** Whether the files may still grow. */
  readonly isLive: boolean;
  files(): Promise<{ version: number; files: FileRecord[] }>;
  state(): Promise<LiveState>;
  /** Samples in a range, reduced to the pixels; one more on either side. */
  series(traces: TraceId[], range: Range, pixels: number): Promise<Series[]>;
  over(x: TraceId, traces: TraceId[], range: Range, pixels: number): Promise<Series[]>;
  /** The texts of a text signal; the values of its trace are places in this list. */
  texts(trace: TraceId): Promise<string[]>;
  /** Per time the value of each trace; null outside its span. */
  values(traces: TraceId[], times: number[]): Promise<(TraceValue | null)[][]>;
  statistics(traces: TraceId[], range: Range): Promise<TraceStatistics[]>;
}

export const traceKey = (id: TraceId): string => `${id.file}.${id.signal}.${id.element}`;

export function traceOfKey(key: string): TraceId {
  const [file, signal, element] = key.split('.');
  return { file: file as FileKey, signal: Number(signal), element: Number(element) };
}
