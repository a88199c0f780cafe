// What is dragged within the page: traces from the list, plots that change places.
import type { TraceId } from './types';
import { traceKey, traceOfKey } from './types';

const traceType = 'application/x-qat-traces';
const plotType = 'application/x-qat-plot';

export function putTraces(event: DragEvent, traces: TraceId[]): void {
  event.dataTransfer?.setData(traceType, traces.map(traceKey).join(','));
}

export function putPlot(event: DragEvent, plot: number): void {
  event.dataTransfer?.setData(plotType, String(plot));
}

export const hasTraces = (event: DragEvent): boolean => event.dataTransfer?.types.includes(traceType) ?? false;
export const hasPlot = (event: DragEvent): boolean => event.dataTransfer?.types.includes(plotType) ?? false;

export function tracesOf(event: DragEvent): TraceId[] {
  const text = event.dataTransfer?.getData(traceType) ?? '';
  return text ? text.split(',').map(traceOfKey) : [];
}

export const plotOf = (event: DragEvent): number => Number(event.dataTransfer?.getData(plotType));
