import { readSeries } from './series_bytes';
import type { FileRecord, LiveState, Range, Series, Source, TraceId, TraceStatistics, TraceValue } from './types';
import { traceKey } from './types';

const list = (traces: TraceId[]): string => traces.map(traceKey).join(',');

/** Asks the server that the page came from. */
export class ServerSource implements Source {
  readonly isLive = true;

  async files(): Promise<{ version: number; files: FileRecord[] }> {
    return (await this.ask('files', {})).json();
  }

  async state(): Promise<LiveState> {
    return (await this.ask('state', {})).json();
  }

  async series(traces: TraceId[], range: Range, pixels: number): Promise<Series[]> {
    if (traces.length === 0) return [];
    const answer = await this.ask('series', { traces: list(traces), ...this.ends(range), pixels: String(pixels) });
    return readSeries(await answer.arrayBuffer());
  }

  async over(x: TraceId, traces: TraceId[], range: Range, pixels: number): Promise<Series[]> {
    if (traces.length === 0) return [];
    const query = { x: traceKey(x), traces: list(traces), ...this.ends(range), pixels: String(pixels) };
    return readSeries(await (await this.ask('over', query)).arrayBuffer());
  }

  async texts(trace: TraceId): Promise<string[]> {
    return (await this.ask('texts', { trace: traceKey(trace) })).json();
  }

  async values(traces: TraceId[], times: number[]): Promise<(TraceValue | null)[][]> {
    if (traces.length === 0) return times.map(() => []);
    return (await this.ask('values', { traces: list(traces), times: times.join(',') })).json();
  }

  async statistics(traces: TraceId[], range: Range): Promise<TraceStatistics[]> {
    if (traces.length === 0) return [];
    return (await this.ask('statistics', { traces: list(traces), ...this.ends(range) })).json();
  }

  private ends(range: Range): Record<string, string> {
    return { from: String(range.from), to: String(range.to) };
  }

  private async ask(question: string, query: Record<string, string>): Promise<Response> {
    let answer: Response;
    try {
      answer = await fetch(`${question}?${new URLSearchParams(query)}`);
    } catch {
      throw new Error('qat view has ended; start it again');
    }
    if (answer.ok) return answer;
    const text = await answer.text();
    let message = text;
    try {
      message = JSON.parse(text).error;
    } catch {
      // The text itself says it.
    }
    throw new Error(message);
  }
}
