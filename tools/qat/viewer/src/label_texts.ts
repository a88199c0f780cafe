import { labelColour } from './colours';
import type { Lane } from './drawing';
import type { Files } from './files';
import type { Series, Source, TraceId } from './types';
import { traceKey } from './types';

/** What the values of enumerations, logicals and texts are called. */
export class LabelTexts {
  private readonly texts = new Map<string, string[]>();

  constructor(private readonly source: Source) {}

  /** Gets the texts of text signals among some traces, so that laneOf() has them. */
  async load(traces: TraceId[], files: Files): Promise<void> {
    const wanted = traces.filter((id) => files.kindOf(id) === 'text');
    await Promise.all(wanted.map(async (id) => this.texts.set(traceKey(id), await this.source.texts(id))));
  }

  laneOf(id: TraceId, name: string, colour: string, series: Series, files: Files): Lane {
    if (files.kindOf(id) === 'logical') {
      return { series, name, textOf: (value) => (value === 0 ? '' : 'true'), colourOf: () => colour };
    }
    return { series, name, textOf: this.textOf(id, files), colourOf: labelColour };
  }

  private textOf(id: TraceId, files: Files): (value: number) => string {
    if (files.kindOf(id) === 'text') {
      const texts = this.texts.get(traceKey(id)) ?? [];
      return (value) => texts[value] || '(empty)';
    }
    const labels = files.signal(id)?.labels ?? {};
    const byValue = new Map(Object.entries(labels).map(([label, value]) => [value, label]));
    return (value) => byValue.get(value) ?? String(value);
  }
}
