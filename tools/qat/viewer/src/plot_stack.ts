import { CurveColours, themeColour } from './colours';
import { download, h } from './dom';
import { hasTraces, tracesOf } from './drag';
import type { Curve, Lane } from './drawing';
import type { Files } from './files';
import { LabelTexts } from './label_texts';
import { Latest } from './latest';
import type { Chip, MenuItem } from './plot_panel';
import { PlotPanel } from './plot_panel';
import type { PointerActions } from './pointer';
import type { Range, Series, Source, TraceId } from './types';
import { traceKey } from './types';
import type { Plot, View } from './view';
import { addTraces, fitsInto, newPlot } from './view';

/** A trace that is drawn: one of the view, or its counterpart in the second file. */
export interface Shown {
  id: TraceId;
  name: string;
  unit: string;
  colour: string;
  isOverlay: boolean;
}

export interface StackActions {
  pointer: PointerActions;
  /** The view's plots were changed. */
  changed(): void;
  range(): Range;
  fail(error: unknown): void;
  copyCsv(traces: Shown[]): void;
}

/** The plots below each other, and the samples that they show. */
export class PlotStack {
  readonly element = h('div', { class: 'stack' });
  private readonly panels = new Map<number, PlotPanel>();
  private readonly labels: LabelTexts;
  private readonly colours = new CurveColours();
  private readonly loader = new Latest(() => this.load());
  private width = 0;
  private askedAt = 0;

  constructor(
    private readonly source: Source,
    private files: Files,
    private readonly view: View,
    private readonly actions: StackActions,
  ) {
    this.labels = new LabelTexts(source);
    new ResizeObserver(() => {
      if (Math.abs(this.element.clientWidth - this.width) > 1) this.update();
    }).observe(this.element);
    this.element.addEventListener('dragover', (event) => {
      if (hasTraces(event)) event.preventDefault();
    });
    this.element.addEventListener('drop', (event) => {
      if (!hasTraces(event)) return;
      event.preventDefault();
      addTraces(this.view, tracesOf(event), true, this.files);
      actions.changed();
    });
  }

  setFiles(files: Files): void {
    this.files = files;
  }

  /** All traces that are drawn, plot by plot, each once. */
  shown(): Shown[] {
    this.colours.use(this.view.plots.flatMap((plot) => plot.traces.map(traceKey)));
    const all = this.view.plots.flatMap((plot) => this.shownIn(plot));
    return all.filter((one, i) => all.findIndex((other) => traceKey(other.id) === traceKey(one.id)) === i);
  }

  /** Adapts the panels to the view and gets what they show. */
  update(): void {
    this.width = this.element.clientWidth;
    const ids = new Set(this.view.plots.map((plot) => plot.id));
    for (const [id, panel] of this.panels) {
      if (ids.has(id)) continue;
      panel.destroy();
      this.panels.delete(id);
    }
    const elements = this.view.plots.map((plot) => this.updatePanel(plot).element);
    elements.forEach((element, i) => {
      if (this.element.children[i] !== element) this.element.insertBefore(element, this.element.children[i] ?? null);
    });
    this.loadSoon();
  }

  /** Scrolls to the last plot of a trace. */
  reveal(id: TraceId): void {
    const plots = this.view.plots.filter((plot) => plot.traces.some((other) => traceKey(other) === traceKey(id)));
    this.panels.get(plots[plots.length - 1]?.id)?.element.scrollIntoView({ block: 'nearest' });
  }

  /** Shows another range: first what is there, stretched, then the samples of that range. */
  setRange(range: Range): void {
    for (const panel of this.panels.values()) panel.setRange(range);
    this.loadSoon();
  }

  setLines(hover: number | null): void {
    for (const panel of this.panels.values()) panel.setLines(hover, this.view.a, this.view.b);
  }

  /** The values at the pointer by trace. */
  setValues(values: Map<string, string>): void {
    for (const plot of this.view.plots) {
      this.panels.get(plot.id)?.setValues(this.shownIn(plot).map(({ id }) => values.get(traceKey(id)) ?? null));
    }
  }

  /** Resolves when everything that was asked for is drawn. */
  idle(): Promise<void> {
    return this.loader.idle();
  }

  private loadSoon(): void {
    this.askedAt = performance.now();
    this.loader.ask();
  }

  private shownIn(plot: Plot): Shown[] {
    const { files, view } = this;
    return plot.traces.flatMap((id) => {
      const one = {
        id,
        name: files.nameOf(id),
        unit: files.unitOf(id),
        colour: this.colours.of(traceKey(id)),
        isOverlay: false,
      };
      const other = view.compare && files.hasTwo ? files.counterpart(id, 'b') : null;
      if (!other) return [one];
      return [one, { ...one, id: other, name: `${files.nameOf(other)} · ${files.fileName('b')}`, isOverlay: true }];
    });
  }

  private updatePanel(plot: Plot): PlotPanel {
    let panel = this.panels.get(plot.id);
    if (!panel) {
      panel = new PlotPanel(plot.id, this.panelActions(plot.id));
      this.panels.set(plot.id, panel);
    }
    const units = [...new Set(plot.traces.map((id) => this.files.unitOf(id)).filter(Boolean))];
    const chips = this.shownIn(plot).map(
      (shown): Chip => ({
        ...shown,
        name: shown.name,
        title: [shown.name, this.files.signal(shown.id)?.blockPath.join(' | '), shown.unit].filter(Boolean).join('\n'),
        isDashed: shown.isOverlay || shown.id.file === 'b',
      }),
    );
    const x = plot.x
      ? `${this.files.nameOf(plot.x)}${this.files.unitOf(plot.x) ? ` [${this.files.unitOf(plot.x)}]` : ''}`
      : '';
    const { clock } = this.view;
    panel.update(
      plot,
      chips,
      Math.max(200, this.width - 2),
      units.join(', '),
      plot.kind === 'xy' ? x : clock ? 'time [h:min:s]' : 'time [s]',
      clock,
    );
    return panel;
  }

  private async load(): Promise<void> {
    const { askedAt } = this;
    try {
      await this.loadPlots();
      await null; // uPlot draws in a task of its own
      if (this.view.plots.length > 0) performance.measure('qat drawn', { start: askedAt }); // for who measures the page
    } catch (error) {
      this.actions.fail(error);
    }
  }

  private async loadPlots(): Promise<void> {
    const range = this.actions.range();
    const plots = this.view.plots.map((plot) => ({ plot, shown: this.shownIn(plot) }));
    const overTime = plots.filter(({ plot }) => plot.kind !== 'xy');
    const wanted = new Map<string, TraceId>();
    for (const { plot, shown } of overTime) {
      for (const id of [...shown.map((one) => one.id), ...(plot.bands ? [plot.bands] : [])])
        wanted.set(traceKey(id), id);
    }
    const ids = [...wanted.values()];
    const pixels = Math.max(
      50,
      Math.round((this.panels.values().next().value?.areaWidth ?? 600) * (devicePixelRatio || 1)),
    );
    const [series] = await Promise.all([this.source.series(ids, range, pixels), this.labels.load(ids, this.files)]);
    const byKey = new Map(ids.map((id, i) => [traceKey(id), series[i]]));
    for (const { plot, shown } of overTime) this.showOverTime(plot, shown, byKey, range);
    for (const { plot, shown } of plots) {
      if (plot.kind === 'xy') await this.showXy(plot, shown, range, pixels);
    }
  }

  private showOverTime(plot: Plot, shown: Shown[], series: Map<string, Series>, range: Range): void {
    const panel = this.panels.get(plot.id);
    const curves: Curve[] = [];
    const lanes: Lane[] = [];
    for (const one of shown) {
      const points = series.get(traceKey(one.id));
      if (!points) return; // the plot has changed meanwhile
      if (plot.kind === 'lanes') lanes.push(this.labels.laneOf(one.id, one.name, one.colour, points, this.files));
      else curves.push(this.curveOf(one, points));
    }
    const bands = plot.bands ? series.get(traceKey(plot.bands)) : undefined;
    const lane =
      plot.bands && bands ? this.labels.laneOf(plot.bands, '', themeColour('accent'), bands, this.files) : null;
    panel?.show({ curves, lanes, bands: lane }, range);
  }

  private async showXy(plot: Plot, shown: Shown[], range: Range, pixels: number): Promise<void> {
    if (!plot.x) return;
    const other = this.files.hasTwo ? this.files.counterpart(plot.x, 'b') : null;
    const drawn = shown.filter((one) => one.id.file !== 'b' || other || plot.x?.file === 'b');
    const series = await Promise.all(
      drawn.map(async (one) => {
        const x = one.isOverlay && other ? other : (plot.x as TraceId);
        return (await this.source.over(x, [one.id], range, pixels))[0];
      }),
    );
    const curves = drawn.map((one, i) => ({ ...this.curveOf(one, series[i]), isStairs: false }));
    this.panels.get(plot.id)?.show({ curves, lanes: [], bands: null }, range);
  }

  private curveOf(one: Shown, series: Series): Curve {
    return {
      series,
      colour: one.colour,
      isDashed: one.isOverlay || one.id.file === 'b',
      isStairs: !this.files.isLinear(one.id),
    };
  }

  private panelActions(id: number): ConstructorParameters<typeof PlotPanel>[1] {
    const { view, actions } = this;
    const place = (): number => view.plots.findIndex((plot) => plot.id === id);
    const edit = (change: (plot: Plot, at: number) => void): void => {
      const at = place();
      if (at < 0) return;
      change(view.plots[at], at);
      actions.changed();
    };
    return {
      pointer: actions.pointer,
      removeTrace: (trace) =>
        edit((plot, at) => {
          plot.traces = plot.traces.filter((other) => traceKey(other) !== traceKey(trace));
          if (plot.traces.length === 0) view.plots.splice(at, 1);
        }),
      removePlot: () => edit((_plot, at) => view.plots.splice(at, 1)),
      move: (step) =>
        edit((plot, at) => {
          if (at + step < 0 || at + step >= view.plots.length) return;
          view.plots.splice(at, 1);
          view.plots.splice(at + step, 0, plot);
        }),
      moveBefore: (other) =>
        edit((plot) => {
          const from = view.plots.findIndex((one) => one.id === other);
          if (from < 0 || other === id) return;
          const [moved] = view.plots.splice(from, 1);
          view.plots.splice(view.plots.indexOf(plot) + (from <= view.plots.indexOf(plot) ? 1 : 0), 0, moved);
        }),
      dropTraces: (traces) => edit((plot) => this.drop(plot, traces)),
      resize: (height) => edit((plot) => (plot.height = height)),
      menu: () => this.menuOf(view.plots[place()]),
    };
  }

  // Numbers join the curves; labels become bands behind them.
  private drop(plot: Plot, traces: TraceId[]): void {
    for (const id of traces) {
      if (fitsInto(plot, id, this.files)) {
        if (!plot.traces.some((other) => traceKey(other) === traceKey(id))) plot.traces.push(id);
      } else if (plot.kind === 'time' && this.files.kindOf(id) !== 'number') plot.bands = id;
      else addTraces(this.view, [id], false, this.files);
    }
  }

  private menuOf(plot: Plot): MenuItem[] {
    const { files, view, actions } = this;
    const items: MenuItem[] = [];
    const add = (label: string, choose: () => void, isOn?: boolean): void => {
      items.push({
        label,
        isOn,
        choose: () => {
          choose();
          actions.changed();
        },
      });
    };
    if (plot.kind === 'time') {
      const differences = plot.traces.map((id) => files.counterpart(id, 'd')).filter((id) => id !== null);
      if (differences.length > 0) {
        add(`Difference to ${files.fileName('b')}`, () =>
          view.plots.splice(view.plots.indexOf(plot) + 1, 0, newPlot('time', differences)),
        );
      }
      for (const id of this.lanesInView()) {
        const isOn = plot.bands !== null && traceKey(plot.bands) === traceKey(id);
        add(`Bands: ${files.nameOf(id)}`, () => (plot.bands = isOn ? null : id), isOn);
      }
      for (const id of plot.traces.length > 1 ? plot.traces : [])
        add(`XY over ${files.nameOf(id)}`, () => this.makeXy(plot, id));
    }
    if (plot.kind !== 'xy')
      items.push({ label: 'Copy samples in sight as CSV', choose: () => actions.copyCsv(this.shownIn(plot)) });
    items.push({ label: 'Save as PNG', choose: () => this.savePicture(plot) });
    if (plot.height) add('Height as at first', () => (plot.height = 0));
    return items;
  }

  private lanesInView(): TraceId[] {
    const found = new Map<string, TraceId>();
    for (const plot of this.view.plots) {
      for (const id of plot.kind === 'lanes' ? plot.traces : plot.bands ? [plot.bands] : [])
        found.set(traceKey(id), id);
    }
    return [...found.values()];
  }

  private makeXy(plot: Plot, x: TraceId): void {
    const others = plot.traces.filter((id) => traceKey(id) !== traceKey(x));
    const made = { ...newPlot('xy', others), x };
    this.view.plots.splice(this.view.plots.indexOf(plot) + 1, 0, made);
  }

  private savePicture(plot: Plot): void {
    const style = getComputedStyle(document.documentElement);
    const picture = this.panels
      .get(plot.id)
      ?.picture(style.getPropertyValue('--panel'), style.getPropertyValue('--ink'));
    const name = (this.shownIn(plot)[0]?.name ?? 'plot').replace(/[^\w.-]+/g, '_').slice(0, 60);
    picture?.toBlob((blob) => blob && download(`${name}.png`, blob));
  }
}
