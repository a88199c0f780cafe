import type { Files } from './files';
import type { FileKey, Range, TraceId } from './types';
import { traceKey } from './types';

/** Numbers over time, lanes of labels over time, or numbers over another trace. */
export type PlotKind = 'time' | 'lanes' | 'xy';

export interface Plot {
  id: number;
  kind: PlotKind;
  traces: TraceId[];
  /** Abscissa of an XY plot. */
  x: TraceId | null;
  /** A trace of labels that colours the background. */
  bands: TraceId | null;
  /** Pixels; 0 as the kind needs. */
  height: number;
}

/** All that a colleague needs to see the same. */
export interface View {
  /** Null: all. */
  range: Range | null;
  /** Seconds at the end that are followed while a file grows; null: none. */
  follow: number | null;
  a: number | null;
  b: number | null;
  /** Times as hours, minutes, seconds. */
  clock: boolean;
  /** Whether the second file is drawn, too. */
  compare: boolean;
  plots: Plot[];
}

export const emptyView = (): View => ({
  range: null,
  follow: null,
  a: null,
  b: null,
  clock: false,
  compare: true,
  plots: [],
});

let lastId = 0;
export const newPlot = (kind: PlotKind, traces: TraceId[]): Plot => ({
  id: ++lastId,
  kind,
  traces,
  x: null,
  bands: null,
  height: 0,
});

type NamedTrace = [FileKey, string, number];

interface Encoded {
  r?: [number, number];
  f?: number;
  a?: number;
  b?: number;
  c?: 1;
  o?: 0;
  p: { k?: PlotKind; t: NamedTrace[]; x?: NamedTrace; b?: NamedTrace; h?: number }[];
}

/** A view as the part of the address behind `#`. Traces are named, so that it holds for other runs, too. */
export function encodeView(view: View, files: Files): string {
  const named = (id: TraceId): NamedTrace => [id.file, files.signal(id)?.name ?? '', id.element];
  const encoded: Encoded = {
    p: view.plots.map((plot) => ({
      ...(plot.kind === 'time' ? {} : { k: plot.kind }),
      t: plot.traces.map(named),
      ...(plot.x ? { x: named(plot.x) } : {}),
      ...(plot.bands ? { b: named(plot.bands) } : {}),
      ...(plot.height ? { h: Math.round(plot.height) } : {}),
    })),
  };
  if (view.range) encoded.r = [view.range.from, view.range.to];
  if (view.follow !== null) encoded.f = view.follow;
  if (view.a !== null) encoded.a = view.a;
  if (view.b !== null) encoded.b = view.b;
  if (view.clock) encoded.c = 1;
  if (!view.compare) encoded.o = 0;
  return `#v=${encodeURIComponent(JSON.stringify(encoded)).replace(/%2C/g, ',').replace(/%3A/g, ':')}`;
}

/** Reads what encodeView() wrote; null if it is none. Traces that the files lack are left out, named in `missing`. */
export function decodeView(hash: string, files: Files, missing: string[]): View | null {
  if (!hash.startsWith('#v=')) return null;
  let encoded: Encoded;
  try {
    encoded = JSON.parse(decodeURIComponent(hash.slice(3)));
    if (!Array.isArray(encoded.p)) return null;
  } catch {
    return null;
  }
  const found = (named: NamedTrace | undefined): TraceId | null => {
    if (!Array.isArray(named)) return null;
    const [file, name, element] = named;
    const number = files.numberOf(file, name);
    const isThere =
      number !== undefined && (file !== 'd' || files.counterpart({ file: 'a', signal: number, element }, 'd'));
    if (!isThere) missing.push(name);
    return isThere ? { file, signal: number, element } : null;
  };
  const view = emptyView();
  if (encoded.r && encoded.r[0] < encoded.r[1]) view.range = { from: encoded.r[0], to: encoded.r[1] };
  view.follow = encoded.f ?? null;
  view.a = encoded.a ?? null;
  view.b = encoded.b ?? null;
  view.clock = encoded.c === 1;
  view.compare = encoded.o !== 0;
  for (const plot of encoded.p) {
    const traces = (plot.t ?? []).map(found).filter((id) => id !== null);
    const kind = plot.k ?? 'time';
    if (traces.length === 0 || (kind === 'xy' && !plot.x)) continue;
    view.plots.push({
      ...newPlot(kind, traces),
      x: found(plot.x),
      bands: plot.b ? found(plot.b) : null,
      height: plot.h ?? 0,
    });
  }
  return view;
}

/** Whether a trace goes into a plot of this kind. */
export function fitsInto(plot: Plot, id: TraceId, files: Files): boolean {
  return plot.kind === 'lanes' ? files.kindOf(id) !== 'number' : files.kindOf(id) === 'number';
}

/**
 * Puts traces into plots: numbers where their unit is, labels and logicals into lanes, else into a new plot.
 * @param isNew Whether a new plot is wanted anyway.
 */
export function addTraces(view: View, traces: TraceId[], isNew: boolean, files: Files): void {
  let made: Plot | null = null;
  for (const id of traces) {
    const isNumber = files.kindOf(id) === 'number';
    const unitFits = (plot: Plot): boolean =>
      !isNumber ||
      (plot.kind === 'time' &&
        plot.traces.some(
          (other) => files.unitOf(other) === files.unitOf(id) && (other.file === 'd') === (id.file === 'd'),
        ));
    const fits = (plot: Plot): boolean => plot.kind !== 'xy' && fitsInto(plot, id, files) && unitFits(plot);
    const plot: Plot | undefined = isNew ? (made && fits(made) ? made : undefined) : view.plots.find(fits);
    if (plot) {
      if (!plot.traces.some((other) => traceKey(other) === traceKey(id))) plot.traces.push(id);
    } else {
      made = newPlot(isNumber ? 'time' : 'lanes', [id]);
      view.plots.push(made);
    }
  }
}
