import { h } from './dom';
import { hasPlot, hasTraces, plotOf, putPlot, tracesOf } from './drag';
import type { PlotContents } from './plot_canvas';
import { PlotCanvas, heightFor } from './plot_canvas';
import type { PointerActions } from './pointer';
import { PlotPointer } from './pointer';
import type { Range, TraceId } from './types';
import { traceKey } from './types';
import type { Plot } from './view';

/** A curve's entry above its plot. */
export interface Chip {
  id: TraceId;
  name: string;
  title: string;
  colour: string;
  isDashed: boolean;
  /** Drawn because its counterpart is: it cannot be taken out alone. */
  isOverlay: boolean;
}

/** A choice in the menu of a plot. */
export interface MenuItem {
  label: string;
  isOn?: boolean;
  choose: () => void;
}

export interface PanelActions {
  pointer: PointerActions;
  removeTrace(id: TraceId): void;
  removePlot(): void;
  move(step: number): void;
  moveBefore(plot: number): void;
  dropTraces(traces: TraceId[]): void;
  resize(height: number): void;
  menu(): MenuItem[];
}

/** One plot of the stack: its curves by name, its menu, its canvas, the lines of the cursors, its edge to resize it. */
export class PlotPanel {
  readonly element: HTMLElement;
  private readonly chips = h('div', { class: 'chips' });
  private readonly body = h('div', { class: 'body' });
  private readonly note = h('div', { class: 'note' });
  private readonly lines: Record<'hover' | 'a' | 'b', HTMLElement>;
  private canvas: PlotCanvas | null = null;
  private shape = '';
  private height = 0;
  private values: (string | null)[] = [];

  constructor(
    readonly id: number,
    private readonly actions: PanelActions,
  ) {
    this.lines = {
      hover: h('div', { class: 'line hover' }),
      a: h('div', { class: 'line a', 'data-name': 'A' }),
      b: h('div', { class: 'line b', 'data-name': 'B' }),
    };
    const grip = h(
      'span',
      {
        class: 'grip',
        title: 'Drag to another place',
        draggable: 'true',
        'aria-hidden': 'true',
        ondragstart: (event: DragEvent) => putPlot(event, id),
      },
      '⠿',
    );
    const button = (text: string, title: string, onclick: (event: MouseEvent) => void): HTMLElement =>
      h('button', { title, 'aria-label': title, onclick }, text);
    const tools = h(
      'div',
      { class: 'tools' },
      button('↑', 'Move up', () => actions.move(-1)),
      button('↓', 'Move down', () => actions.move(1)),
      button('⋯', 'More', (event) => this.openMenu(event.currentTarget as HTMLElement)),
      button('✕', 'Remove this plot', () => actions.removePlot()),
    );
    const edge = h('div', {
      class: 'edge',
      title: 'Drag to resize',
      onpointerdown: (event: PointerEvent) => this.resizeBy(event),
    });
    this.element = h(
      'section',
      { class: 'plot', 'aria-label': 'Plot' },
      h('header', {}, grip, this.chips, tools),
      this.body,
      this.note,
      edge,
    );
    this.takeDrops();
  }

  /** Adapts to a plot: its curves by name and the shape of its axes. */
  update(plot: Plot, chips: Chip[], width: number, y: string, x: string, clock: boolean): void {
    this.chips.replaceChildren(...chips.map((chip) => this.chipElement(chip, plot)));
    this.setValues(this.values);
    const lanes = plot.kind === 'lanes' ? chips.length : 0;
    this.height = plot.height || heightFor(lanes, plot.kind === 'xy');
    const shape = JSON.stringify([plot.kind, y, x, clock]);
    if (this.canvas && shape === this.shape) {
      this.canvas.resize(width, this.height);
      return;
    }
    this.shape = shape;
    this.canvas?.destroy();
    this.canvas = new PlotCanvas(width, this.height, { y, x, clock, isXy: plot.kind === 'xy' });
    this.body.replaceChildren(this.canvas.element);
    if (plot.kind === 'xy') return;
    new PlotPointer(this.canvas, this.actions.pointer);
    this.canvas.over.append(this.lines.hover, this.lines.a, this.lines.b);
  }

  get areaWidth(): number {
    return this.canvas?.areaWidth ?? 0;
  }

  show(contents: PlotContents, range: Range): void {
    this.canvas?.show(contents, range);
    const isEmpty = [...contents.curves, ...contents.lanes].every(
      ({ series }) => !series.y.some((value) => !Number.isNaN(value)),
    );
    this.note.textContent = isEmpty ? 'no values in this range' : '';
  }

  setRange(range: Range): void {
    this.canvas?.setRange(range);
  }

  setLines(hover: number | null, a: number | null, b: number | null): void {
    const { canvas } = this;
    if (!canvas) return;
    const place = (line: HTMLElement, time: number | null): void => {
      const pixel = time === null ? -1 : canvas.pixelOf(time);
      line.style.display = pixel >= 0 && pixel <= canvas.areaWidth ? 'block' : 'none';
      line.style.transform = `translateX(${pixel}px)`;
    };
    place(this.lines.hover, hover);
    place(this.lines.a, a);
    place(this.lines.b, b);
  }

  /** The values at the pointer, in the order of the chips. */
  setValues(values: (string | null)[]): void {
    this.values = values;
    this.chips.querySelectorAll('.value').forEach((element, i) => (element.textContent = values[i] ?? ''));
  }

  /** The plot as a picture, with its names above it. */
  picture(background: string, ink: string): HTMLCanvasElement | null {
    if (!this.canvas) return null;
    const source = this.canvas.canvas;
    const ratio = devicePixelRatio || 1;
    const head = 24 * ratio;
    const picture = h('canvas', { width: source.width, height: source.height + head });
    const context = picture.getContext('2d');
    if (!context) return null;
    context.fillStyle = background;
    context.fillRect(0, 0, picture.width, picture.height);
    context.font = `${12 * ratio}px system-ui, sans-serif`;
    context.textBaseline = 'middle';
    let left = 12 * ratio;
    for (const chip of this.chips.querySelectorAll<HTMLElement>('.chip')) {
      context.fillStyle = chip.dataset.colour ?? ink;
      context.fillRect(left, head / 2 - ratio, 16 * ratio, 2 * ratio);
      context.fillStyle = ink;
      const name = chip.dataset.name ?? '';
      context.fillText(name, left + 20 * ratio, head / 2);
      left += 36 * ratio + context.measureText(name).width;
    }
    context.drawImage(source, 0, head);
    return picture;
  }

  destroy(): void {
    this.canvas?.destroy();
    this.element.remove();
  }

  private chipElement(chip: Chip, plot: Plot): HTMLElement {
    const swatch = h('span', { class: `swatch${chip.isDashed ? ' dashed' : ''}`, style: `--colour:${chip.colour}` });
    const remove = h(
      'button',
      {
        title: `Remove ${chip.name}`,
        'aria-label': `Remove ${chip.name}`,
        onclick: () => this.actions.removeTrace(chip.id),
      },
      '×',
    );
    return h(
      'span',
      {
        class: 'chip',
        title: chip.title,
        'data-trace': traceKey(chip.id),
        'data-name': chip.name,
        'data-colour': chip.colour,
      },
      plot.kind === 'lanes' ? null : swatch,
      h('span', { class: 'name' }, chip.name),
      h('span', { class: 'value' }),
      chip.isOverlay ? null : remove,
    );
  }

  private openMenu(button: HTMLElement): void {
    document.querySelector('.menu')?.remove();
    const menu = h('div', { class: 'menu', role: 'menu' });
    const close = (): void => {
      menu.remove();
      document.removeEventListener('pointerdown', onOutside, true);
    };
    const onOutside = (event: Event): void => {
      if (!menu.contains(event.target as Node)) close();
    };
    for (const item of this.actions.menu()) {
      menu.append(
        h(
          'button',
          {
            role: 'menuitem',
            onclick: () => {
              close();
              item.choose();
            },
          },
          `${item.isOn === undefined ? '' : item.isOn ? '● ' : '○ '}${item.label}`,
        ),
      );
    }
    menu.addEventListener('keydown', (event) => {
      const items = [...menu.querySelectorAll('button')];
      const step = event.key === 'ArrowDown' ? 1 : event.key === 'ArrowUp' ? -1 : 0;
      if (step)
        items[
          (items.indexOf(document.activeElement as HTMLButtonElement) + step + items.length) % items.length
        ].focus();
      if (event.key === 'Escape') {
        close();
        button.focus();
      }
    });
    const { right, bottom } = button.getBoundingClientRect();
    const toTheRight = Math.max(4, document.documentElement.clientWidth - right);
    menu.style.cssText = `top:${bottom + 2}px;right:${toTheRight}px;max-height:${innerHeight - bottom - 12}px`;
    document.body.append(menu);
    document.addEventListener('pointerdown', onOutside, true);
    menu.querySelector('button')?.focus();
  }

  private resizeBy(event: PointerEvent): void {
    event.preventDefault();
    const edge = event.currentTarget as HTMLElement;
    edge.setPointerCapture(event.pointerId);
    const [start, height] = [event.clientY, this.height];
    const move = (moved: PointerEvent): void => this.actions.resize(Math.max(90, height + moved.clientY - start));
    edge.addEventListener('pointermove', move);
    edge.addEventListener('pointerup', () => edge.removeEventListener('pointermove', move), { once: true });
  }

  private takeDrops(): void {
    const { element } = this;
    element.addEventListener('dragover', (event) => {
      if (!hasTraces(event) && !hasPlot(event)) return;
      event.preventDefault();
      event.stopPropagation();
      element.classList.add('drop');
    });
    element.addEventListener('dragleave', () => element.classList.remove('drop'));
    element.addEventListener('drop', (event) => {
      element.classList.remove('drop');
      if (!hasTraces(event) && !hasPlot(event)) return;
      event.preventDefault();
      event.stopPropagation();
      if (hasPlot(event)) this.actions.moveBefore(plotOf(event));
      else this.actions.dropTraces(tracesOf(event));
    });
  }
}
