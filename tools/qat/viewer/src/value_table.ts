import { csvLine } from './csv';
import { h } from './dom';
import { numberText } from './number_text';
import type { Shown } from './plot_stack';
import type { TraceStatistics, TraceValue } from './types';
import { traceKey } from './types';

/** Of each trace: the values at the pointer and at both cursors, B - A, slope, statistics of what is in sight. */
export interface TableRow {
  shown: Shown;
  hover: TraceValue | null;
  a: TraceValue | null;
  b: TraceValue | null;
  statistics: TraceStatistics | null;
  isNumber: boolean;
}

const heads = ['signal', 'unit', 'pointer', 'A', 'B', 'B − A', 'slope', 'min', 'max', 'mean', 'samples'];

/** The table below the plots. */
export class ValueTable {
  readonly element: HTMLElement;
  private readonly body = h('tbody');
  private readonly times = h('tr', { class: 'times' });
  private rows: TableRow[] = [];
  private cells: string[][] = [];

  constructor() {
    const head = h('thead', {}, h('tr', {}, ...heads.map((text) => h('th', { scope: 'col' }, text))), this.times);
    this.element = h(
      'div',
      { class: 'value-table', tabindex: '0', role: 'region', 'aria-label': 'Values' },
      h('table', {}, head, this.body),
    );
  }

  /**
   * Shows other rows.
   * @param times Texts of the pointer's and both cursors' times, and of B - A.
   * @param seconds B - A; null if a cursor is missing.
   */
  show(rows: TableRow[], times: string[], seconds: number | null): void {
    this.rows = rows;
    this.cells = rows.map((row) => cellsOf(row, seconds));
    this.times.replaceChildren(...['', '', ...times, '', '', '', '', ''].map((text) => h('td', {}, text)));
    const isSame =
      this.body.children.length === rows.length &&
      rows.every((row, i) => (this.body.children[i] as HTMLElement).dataset.trace === traceKey(row.shown.id));
    if (isSame) {
      rows.forEach((_row, i) =>
        this.cells[i].forEach((cell, k) => {
          const element = this.body.children[i].children[k + 1];
          if (element.textContent !== cell) element.textContent = cell;
        }),
      );
      return;
    }
    this.body.replaceChildren(...rows.map((row, i) => rowElement(row, this.cells[i])));
  }

  /** The table as CSV. */
  csv(): string {
    return csvLine(heads) + this.rows.map((row, i) => csvLine([row.shown.name, ...this.cells[i]])).join('');
  }
}

function rowElement(row: TableRow, cells: string[]): HTMLElement {
  const { shown } = row;
  const swatch = h('span', { class: `swatch${shown.isOverlay ? ' dashed' : ''}`, style: `--colour:${shown.colour}` });
  return h(
    'tr',
    { 'data-trace': traceKey(shown.id) },
    h('th', { scope: 'row', title: shown.name }, swatch, shown.name),
    ...cells.map((cell) => h('td', {}, cell)),
  );
}

function cellsOf(row: TableRow, seconds: number | null): string[] {
  const { hover, a, b, statistics } = row;
  const text = (value: TraceValue | null): string =>
    !value ? '' : row.isNumber ? shortened(value) : rough(value, value.text);
  const isPair = row.isNumber && a?.value != null && b?.value != null;
  const difference = isPair ? (b.value as number) - (a.value as number) : null;
  const slope = difference !== null && seconds ? difference / seconds : null;
  const counts = statistics ? String(statistics.samples) + (statistics.nans ? ` (${statistics.nans} NaN)` : '') : '';
  const known = (value: number | null | undefined): string => (row.isNumber ? numberText(value) : '');
  return [
    row.shown.unit,
    text(hover),
    text(a),
    text(b),
    numberText(difference),
    numberText(slope),
    known(statistics?.min),
    known(statistics?.max),
    known(statistics?.mean),
    counts,
  ];
}

// Integers with all their digits, other numbers to six of them.
export function shortened(value: TraceValue): string {
  return rough(value, value.value === null || /^-?\d+$/.test(value.text) ? value.text : numberText(value.value));
}

const rough = (value: TraceValue, text: string): string => (value.isRough ? `≈ ${text}` : text);
