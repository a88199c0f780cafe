import { copyText, h } from './dom';
import { Files } from './files';
import { Follower } from './follower';
import { labelNames, samplesCsv } from './csv_samples';
import { Latest } from './latest';
import type { Shown } from './plot_stack';
import { PlotStack } from './plot_stack';
import { SignalList } from './signal_list';
import { SignalTree } from './signal_tree';
import type { PageData } from './static_source';
import { ThemeSwitch } from './theme';
import { timeText } from './time_text';
import { Toolbar } from './toolbar';
import type { Range, Source, TraceStatistics, TraceValue } from './types';
import { traceKey, traceOfKey } from './types';
import type { View } from './view';
import { addTraces, decodeView, emptyView, encodeView, newPlot } from './view';
import { ValueTable, shortened } from './value_table';

/** Rows that are copied at most: more are written by `qat export`. */
const mostCopied = 200_000;

/** The whole page: list, plots, table, and the view that they share. */
export class App {
  private readonly view: View = emptyView();
  private readonly list: SignalList;
  private readonly stack: PlotStack;
  private readonly table = new ValueTable();
  private readonly toolbar: Toolbar;
  private readonly hint: HTMLElement;
  private readonly message = h('div', { class: 'message', role: 'status', hidden: true });
  private hover: number | null = null;
  private statistics = new Map<string, TraceStatistics>();
  private readonly values = new Latest(() => this.loadValues());
  private readonly sums = new Latest(() => this.loadStatistics());
  private statisticsTimer = 0;
  private restTimer = 0;
  private frame = 0;

  /**
   * @param version Of the files, as the source gave it with them.
   * @param show What a plot as a page shows at first.
   */
  constructor(
    private readonly root: HTMLElement,
    private readonly source: Source,
    private files: Files,
    version: number,
    show: PageData['show'] | null,
  ) {
    this.list = new SignalList((traces, isNew) => {
      addTraces(this.view, traces, isNew, this.files);
      this.changed();
      this.stack.reveal(traces[0]);
    });
    const pointer = {
      hover: (time: number | null) => this.setHover(time),
      zoom: (range: Range) => this.setRange(range),
      pan: (seconds: number) => this.pan(seconds),
      scale: (factor: number, around: number) => this.scale(factor, around),
      reset: () => this.setRange(null),
      setCursor: (cursor: 'a' | 'b', time: number | null) => this.setCursor(cursor, time),
      cursors: () => this.view,
    };
    this.stack = new PlotStack(source, files, this.view, {
      pointer,
      changed: () => this.changed(),
      range: () => this.range(),
      fail: (error) => this.fail(error),
      copyCsv: (shown) => void this.copySamples(shown),
    });
    this.toolbar = new Toolbar(this.view, {
      ...pointer,
      scaleCentre: (factor) => this.scale(factor, (this.range().from + this.range().to) / 2),
      setRange: (range) => this.setRange(range),
      changed: () => this.changed(),
      toggleList: () => {
        this.root.classList.toggle('list-shown');
        this.root.classList.remove('list-hidden');
      },
      toggleTheme: () => theme.toggle(),
      copyLink: () => void copyText(location.href).then(() => this.say('Address copied.')),
      copyTable: () => void copyText(this.table.csv()).then(() => this.say('Table copied as CSV.')),
      follow: (isOn) => this.follow(isOn),
      clear: () => this.clear(),
    });
    this.hint = hintElement();
    this.layOut();
    const theme = new ThemeSwitch(() => this.stack?.update());
    this.setFiles(files);
    this.openView(show);
    addEventListener('hashchange', () => this.openView(null));
    addEventListener('keydown', (event) => this.onKey(event));
    if (source.isLive)
      new Follower(
        source,
        version,
        () => this.grow(),
        (complete) => this.toolbar.setComplete(complete),
      );
  }

  private layOut(): void {
    const scrim = h('div', { class: 'scrim', onclick: () => this.root.classList.remove('list-shown') });
    const main = h('main', {}, this.hint, this.stack.element);
    this.root.replaceChildren(
      this.toolbar.element,
      h('aside', { 'aria-label': 'Signals' }, this.list.element),
      scrim,
      main,
      this.table.element,
      this.message,
    );
  }

  private setFiles(files: Files): void {
    this.files = files;
    this.stack.setFiles(files);
    this.list.setTree(new SignalTree(files));
    this.toolbar.setFiles(files);
    document.title = `${files.records.map((_file, i) => files.fileName(i === 0 ? 'a' : 'b')).join(' and ')} · qat`;
  }

  private openView(show: PageData['show'] | null): void {
    const missing: string[] = [];
    const view = decodeView(location.hash, this.files, missing);
    if (view) Object.assign(this.view, view);
    else if (show) this.showAtFirst(show);
    if (missing.length > 0)
      this.say(`Not in this file: ${missing.slice(0, 3).join(', ')}${missing.length > 3 ? ', …' : ''}`);
    this.changed();
  }

  // A plot as a page: the list can wait.
  private showAtFirst(show: NonNullable<PageData['show']>): void {
    this.root.classList.add('list-hidden');
    const traces = show.traces.map(traceOfKey).filter((id) => id.file !== 'b');
    if (show.xy) {
      const [x, ...others] = traces;
      this.view.plots.push({ ...newPlot('xy', others), x });
    } else addTraces(this.view, traces, false, this.files);
    if (show.from !== null && show.to !== null && show.from < show.to)
      this.view.range = { from: show.from, to: show.to };
  }

  /** What the plots show: the chosen range, the end of a growing file, or everything. */
  private range(): Range {
    const { range, follow } = this.view;
    const shown = this.stack.shown().map(({ id }) => id);
    if (range) return range;
    const all = this.files.span(shown);
    return follow === null ? all : { from: Math.max(all.from, all.to - follow), to: all.to };
  }

  private changed(): void {
    const shown = this.stack.shown();
    this.hint.hidden = shown.length > 0;
    this.root.classList.toggle('has-plots', shown.length > 0);
    this.list.setShown(new Map(shown.map(({ id, colour }) => [traceKey(id), colour])));
    this.stack.update();
    this.rangeChanged();
  }

  private rangeChanged(): void {
    this.toolbar.update(this.range(), this.pixelStep());
    this.drawLines();
    this.values.ask();
    clearTimeout(this.statisticsTimer);
    this.statisticsTimer = window.setTimeout(() => this.sums.ask(), 120);
    this.touch();
  }

  // The address follows when the view has come to rest; that everything is drawn then is told to who tests the page.
  private touch(): void {
    this.root.dataset.settled = 'no';
    clearTimeout(this.restTimer);
    this.restTimer = window.setTimeout(() => void this.rest(), 200);
  }

  private async rest(): Promise<void> {
    this.saveView();
    const timer = this.restTimer;
    await Promise.all([this.stack.idle(), this.values.idle(), this.sums.idle()]);
    if (timer === this.restTimer) this.root.dataset.settled = 'yes';
  }

  private saveView(): void {
    const hash = encodeView(this.view, this.files);
    const isEmpty = this.view.plots.length === 0 && !this.view.range;
    if (hash !== location.hash && !(isEmpty && !location.hash)) history.replaceState(null, '', isEmpty ? ' ' : hash);
  }

  private setRange(range: Range | null): void {
    if (range && !(range.to - range.from > 1e-12 * Math.max(1, Math.abs(range.from)))) return;
    this.view.range = range;
    if (range) this.view.follow = null;
    this.touch();
    if (!this.frame) {
      this.frame = requestAnimationFrame(() => {
        this.frame = 0;
        this.stack.setRange(this.range());
        this.rangeChanged();
      });
    }
  }

  private pan(seconds: number): void {
    const { from, to } = this.range();
    this.setRange({ from: from + seconds, to: to + seconds });
  }

  private scale(factor: number, around: number): void {
    const { from, to } = this.range();
    this.setRange({ from: around - (around - from) * factor, to: around + (to - around) * factor });
  }

  private setCursor(cursor: 'a' | 'b', time: number | null): void {
    this.view[cursor] = time;
    this.drawLines();
    this.rangeChanged();
  }

  private setHover(time: number | null): void {
    this.hover = time;
    this.drawLines();
    this.values.ask();
    this.touch();
  }

  private drawLines(): void {
    this.stack.setLines(this.hover);
  }

  private pixelStep(): number {
    const { from, to } = this.range();
    return (to - from) / 2000;
  }

  private async loadValues(): Promise<void> {
    const shown = this.stack.shown();
    const { hover } = this;
    const { a, b } = this.view;
    const times = [hover, a, b].filter((time) => time !== null);
    try {
      const rows = await this.source.values(
        shown.map(({ id }) => id),
        times,
      );
      let place = 0;
      const take = (time: number | null): (TraceValue | null)[] => (time === null ? [] : rows[place++]);
      this.showValues(shown, [take(hover), take(a), take(b)]);
    } catch (error) {
      this.fail(error);
    }
  }

  private showValues(shown: Shown[], [atHover, atA, atB]: (TraceValue | null)[][]): void {
    const rows = shown.map((one, i) => ({
      shown: one,
      hover: atHover[i] ?? null,
      a: atA[i] ?? null,
      b: atB[i] ?? null,
      statistics: this.statistics.get(traceKey(one.id)) ?? null,
      isNumber: this.files.kindOf(one.id) === 'number',
    }));
    const { a, b, clock } = this.view;
    const text = (time: number | null): string => (time === null ? '' : timeText(time, this.pixelStep(), clock));
    const seconds = a !== null && b !== null ? b - a : null;
    this.table.show(rows, [text(this.hover), text(a), text(b), text(seconds)], seconds);
    this.stack.setValues(
      new Map(
        rows.flatMap((row) =>
          row.hover
            ? [[traceKey(row.shown.id), row.isNumber ? `${shortened(row.hover)} ${row.shown.unit}` : row.hover.text]]
            : [],
        ),
      ),
    );
  }

  private async loadStatistics(): Promise<void> {
    const shown = this.stack.shown();
    try {
      const found = await this.source.statistics(
        shown.map(({ id }) => id),
        this.range(),
      );
      this.statistics = new Map(shown.map(({ id }, i) => [traceKey(id), found[i]]));
      this.values.ask();
    } catch (error) {
      this.fail(error);
    }
  }

  private async copySamples(shown: Shown[]): Promise<void> {
    try {
      const ids = shown.map(({ id }) => id);
      const range = this.range();
      const series = await this.source.series(ids, range, mostCopied / 4);
      if (series.some(({ reduced }) => reduced)) {
        this.say(
          this.source.isLive
            ? 'Too many samples to copy: zoom in, or type qat export.'
            : 'This page holds only some of the samples: zoom in a live view, or type qat export.',
        );
        return;
      }
      const texts = await labelNames(ids, this.files, this.source);
      await copyText(
        samplesCsv(
          shown.map(({ name }) => name),
          series,
          range,
          texts,
        ),
      );
      this.say('Samples copied as CSV.');
    } catch (error) {
      this.fail(error);
    }
  }

  private follow(isOn: boolean): void {
    const { from, to } = this.range();
    this.view.follow = isOn ? to - from : null;
    this.setRange(isOn ? null : { from, to });
  }

  private async grow(): Promise<void> {
    const { files } = await this.source.files();
    this.setFiles(new Files(files));
    this.stack.setRange(this.range());
    this.rangeChanged();
  }

  private clear(): void {
    Object.assign(this.view, { ...emptyView(), clock: this.view.clock });
    this.changed();
  }

  private onKey(event: KeyboardEvent): void {
    const isTyping = event.target instanceof HTMLInputElement || event.target instanceof HTMLTextAreaElement;
    if (isTyping || event.ctrlKey || event.metaKey || event.altKey) return;
    const { from, to } = this.range();
    const isInList = event.target instanceof Element && event.target.closest('.signal-list, .menu') !== null;
    const middle = this.hover ?? (from + to) / 2;
    const keys: Record<string, () => void> = {
      '/': () => this.list.focusSearch(),
      a: () => this.setCursor('a', middle),
      b: () => this.setCursor('b', middle),
      '0': () => this.setRange(null),
      '+': () => this.scale(0.5, middle),
      '-': () => this.scale(2, middle),
      ...(isInList
        ? {}
        : { ArrowLeft: () => this.pan(-(to - from) / 10), ArrowRight: () => this.pan((to - from) / 10) }),
      Escape: () => {
        this.view.a = this.view.b = null;
        this.rangeChanged();
      },
    };
    if (!(event.key in keys)) return;
    event.preventDefault();
    keys[event.key]();
  }

  private fail(error: unknown): void {
    this.say(error instanceof Error ? error.message : String(error));
  }

  private say(text: string): void {
    this.message.textContent = text;
    this.message.hidden = false;
    setTimeout(() => {
      if (this.message.textContent === text) this.message.hidden = true;
    }, 6000);
  }
}

function hintElement(): HTMLElement {
  const key = (text: string): HTMLElement => h('kbd', {}, text);
  const line = (...children: (Node | string)[]): HTMLElement => h('li', {}, ...children);
  return h(
    'div',
    { class: 'hint' },
    h('h2', {}, 'Nothing is plotted yet'),
    h(
      'ul',
      {},
      line(key('/'), ' search by name, block path or unit'),
      line(
        key('Enter'),
        ' puts a signal where its unit is, ',
        key('Shift'),
        key('Enter'),
        ' into a plot of its own; or drag it here',
      ),
      line('Drag in a plot to zoom, with ', key('Shift'), ' to move; the wheel zooms; double click shows all'),
      line(
        'Click sets cursor A, ',
        key('Shift'),
        ' click cursor B; ',
        key('a'),
        ' and ',
        key('b'),
        ' do so at the pointer, ',
        key('Esc'),
        ' clears',
      ),
    ),
  );
}
