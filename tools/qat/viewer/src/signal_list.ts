import { h } from './dom';
import { putTraces } from './drag';
import { widthOf } from './files';
import type { Row, SignalTree } from './signal_tree';
import type { TraceId } from './types';
import { traceKey } from './types';

const rowHeight = 28;
const rowsBeyond = 8;
/** Elements of one signal that are put into a plot at once. */
const mostAtOnce = 16;

const icons: Record<string, string> = { number: '∿', labels: '≡', logical: '01', text: 'T' };

/** The tree of signals with its search field; only the rows in sight exist as elements. */
export class SignalList {
  readonly element: HTMLElement;
  private readonly search: HTMLInputElement;
  private readonly scroller: HTMLElement;
  private readonly spacer: HTMLElement;
  private readonly count: HTMLElement;
  private tree: SignalTree | null = null;
  private open = new Set<string>();
  private rows: Row[] = [];
  private active = 0;
  private colours = new Map<string, string>();

  /** @param onChoose Gets the traces that go into a plot, and whether it is to be a new one. */
  constructor(private readonly onChoose: (traces: TraceId[], isNew: boolean) => void) {
    this.search = h('input', {
      type: 'search',
      role: 'searchbox',
      placeholder: 'Search name, path, unit   /',
      'aria-label': 'Search signals',
      'aria-controls': 'signals',
      autocomplete: 'off',
      spellcheck: 'false',
      oninput: () => this.refresh(true),
    });
    this.spacer = h('div', { class: 'spacer' });
    this.scroller = h(
      'div',
      { id: 'signals', class: 'rows', role: 'tree', tabindex: '0', 'aria-label': 'Signals' },
      this.spacer,
    );
    this.count = h('div', { class: 'count', 'aria-live': 'polite' });
    this.element = h('div', { class: 'signal-list' }, this.search, this.count, this.scroller);
    this.element.addEventListener('keydown', (event) => this.onKey(event));
    this.scroller.addEventListener('scroll', () => this.render());
    new ResizeObserver(() => this.render()).observe(this.scroller);
  }

  setTree(tree: SignalTree): void {
    if (!this.tree) this.open = tree.openAtFirst();
    this.tree = tree;
    this.refresh(false);
  }

  /** Colours of the traces that are shown, by key. */
  setShown(colours: Map<string, string>): void {
    this.colours = colours;
    this.render();
  }

  focusSearch(): void {
    this.search.focus();
    this.search.select();
  }

  private refresh(isNewQuery: boolean): void {
    if (!this.tree) return;
    this.rows = this.tree.rows(this.search.value, this.open);
    this.active = isNewQuery ? 0 : Math.min(this.active, Math.max(0, this.rows.length - 1));
    if (isNewQuery) this.scroller.scrollTop = 0;
    this.spacer.style.height = `${this.rows.length * rowHeight}px`;
    const hits = this.rows.filter((row) => row.depth === 0).length;
    this.count.textContent = this.search.value.trim()
      ? `${hits} of ${this.tree.size} signals`
      : `${this.tree.size} ${this.tree.size === 1 ? 'signal' : 'signals'}`;
    this.render();
  }

  private render(): void {
    const first = Math.max(0, Math.floor(this.scroller.scrollTop / rowHeight) - rowsBeyond);
    const last = Math.min(this.rows.length, first + Math.ceil(this.scroller.clientHeight / rowHeight) + 2 * rowsBeyond);
    const elements: HTMLElement[] = [];
    for (let i = first; i < last; i++) elements.push(this.rowElement(i));
    this.spacer.replaceChildren(...elements);
    this.scroller.setAttribute('aria-activedescendant', `row-${this.active}`);
    this.search.setAttribute('aria-activedescendant', `row-${this.active}`);
  }

  private rowElement(i: number): HTMLElement {
    const row = this.rows[i];
    const isOpen = this.open.has(row.key);
    const element = h(
      'div',
      {
        id: `row-${i}`,
        class: `row${i === this.active ? ' active' : ''}`,
        role: 'treeitem',
        'aria-level': row.depth + 1,
        'aria-selected': String(i === this.active),
        'aria-expanded': row.count > 0 ? String(isOpen) : null,
        style: `top:${i * rowHeight}px;padding-left:${8 + row.depth * 14}px`,
        title: this.titleOf(row),
        draggable: row.trace ? 'true' : null,
        onclick: () => this.onClick(i),
        ondblclick: () => this.choose(i, false),
        ondragstart: (event: DragEvent) => putTraces(event, this.tracesOf(row)),
      },
      h('span', { class: 'twisty' }, row.count > 0 ? (isOpen ? '▾' : '▸') : ''),
      row.signal ? h('span', { class: 'icon' }, icons[kindOf(row)] ?? '∿') : null,
      h('span', { class: 'label' }, row.label, row.detail ? h('small', {}, row.detail) : null),
      row.signal && row.signal.samples === 0 ? h('span', { class: 'unit' }, 'no samples') : null,
      h('span', { class: 'unit' }, row.signal ? row.signal.unit : String(row.count)),
    );
    const colour = row.trace ? this.colours.get(traceKey(row.trace)) : undefined;
    if (colour && (row.count === 0 || this.colours.size > 0)) {
      element.append(h('span', { class: 'shown', style: `background:${colour}`, title: 'is shown' }));
    }
    if (row.trace) {
      element.append(
        h(
          'button',
          {
            class: 'add',
            tabindex: '-1',
            title: 'Put into a plot (Enter); a new plot with Shift',
            'aria-label': `Plot ${row.label}`,
            onclick: (event: MouseEvent) => {
              event.stopPropagation();
              this.choose(i, event.shiftKey);
            },
          },
          '+',
        ),
      );
    }
    return element;
  }

  private titleOf(row: Row): string {
    const signal = row.signal;
    if (!signal) return row.label;
    const dimensions = signal.dimensions.length > 0 ? ` ${signal.dimensions.join('x')}` : '';
    const lines = [
      signal.name,
      signal.blockPath.join(' | '),
      `${signal.type}${dimensions}${signal.unit ? ` [${signal.unit}]` : ''}`,
    ];
    lines.push(`${signal.samples} samples${signal.first === null ? '' : `, ${signal.first} s to ${signal.last} s`}`);
    return lines.filter(Boolean).join('\n');
  }

  private onClick(i: number): void {
    this.active = i;
    if (this.rows[i].count > 0) this.toggle(i);
    else this.render();
  }

  private toggle(i: number): void {
    const { key } = this.rows[i];
    if (!this.open.delete(key)) this.open.add(key);
    this.refresh(false);
  }

  // A row of a signal with elements stands for the first of them.
  private tracesOf(row: Row): TraceId[] {
    if (!row.trace || !row.signal) return [];
    const trace = row.trace;
    if (row.count === 0) return [trace];
    const count = Math.min(mostAtOnce, widthOf(row.signal));
    return Array.from({ length: count }, (_, element) => ({ ...trace, element }));
  }

  private choose(i: number, isNew: boolean): void {
    this.active = i;
    const row = this.rows[i];
    if (row?.trace) this.onChoose(this.tracesOf(row), isNew);
    else if (row) this.toggle(i);
  }

  private onKey(event: KeyboardEvent): void {
    const page = Math.max(1, Math.floor(this.scroller.clientHeight / rowHeight) - 1);
    const steps: Record<string, number> = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page };
    const inList = event.target !== this.search;
    if (inList) Object.assign(steps, { Home: -this.rows.length, End: this.rows.length });
    const row = this.rows[this.active];
    if (event.key in steps) this.moveTo(this.active + steps[event.key]);
    else if (event.key === 'Enter') this.choose(this.active, event.shiftKey);
    else if (event.key === 'Escape' && !inList && this.search.value) {
      this.search.value = '';
      this.refresh(true);
    } else if (inList && event.key === 'ArrowRight' && row?.count > 0 && !this.open.has(row.key))
      this.toggle(this.active);
    else if (inList && event.key === 'ArrowLeft' && row) this.closeOrGoUp(row);
    else return;
    event.preventDefault();
  }

  private closeOrGoUp(row: Row): void {
    if (row.count > 0 && this.open.has(row.key)) {
      this.toggle(this.active);
      return;
    }
    for (let i = this.active - 1; i >= 0; i--) {
      if (this.rows[i].depth < row.depth) {
        this.moveTo(i);
        return;
      }
    }
  }

  private moveTo(i: number): void {
    this.active = Math.max(0, Math.min(this.rows.length - 1, i));
    const top = this.active * rowHeight;
    const { scrollTop, clientHeight } = this.scroller;
    if (top < scrollTop) this.scroller.scrollTop = top;
    else if (top + rowHeight > scrollTop + clientHeight) this.scroller.scrollTop = top + rowHeight - clientHeight;
    this.render();
  }
}

function kindOf(row: Row): string {
  if (!row.signal) return '';
  if (row.signal.labels) return 'labels';
  return row.signal.type === 'logical' || row.signal.type === 'text' ? row.signal.type : 'number';
}
