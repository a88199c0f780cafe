import { h } from './dom';
import type { PlotCanvas } from './plot_canvas';
import type { Range } from './types';

/** What a pointer over a plot asks for. */
export interface PointerActions {
  hover(time: number | null): void;
  zoom(range: Range): void;
  /** Moves what is shown by some seconds. */
  pan(seconds: number): void;
  /** Scales around a time; more than 1 shows more. */
  scale(factor: number, around: number): void;
  reset(): void;
  setCursor(cursor: 'a' | 'b', time: number): void;
  /** Times of the cursors that are set. */
  cursors(): { a: number | null; b: number | null };
}

const near = 6;
const leastDrag = 5;

interface Drag {
  kind: 'zoom' | 'pan' | 'a' | 'b';
  /** Pixels. */
  start: number;
  last: number;
}

/** Zoom by dragging, pan by dragging with Shift or a finger, scale by the wheel, set and move cursors. */
export class PlotPointer {
  private readonly box = h('div', { class: 'zoom-box' });
  private drag: Drag | null = null;

  constructor(
    private readonly canvas: PlotCanvas,
    private readonly actions: PointerActions,
  ) {
    const { over } = canvas;
    over.append(this.box);
    over.addEventListener('pointerdown', (event) => this.down(event));
    over.addEventListener('pointermove', (event) => this.move(event));
    over.addEventListener('pointerup', (event) => this.up(event));
    over.addEventListener('pointercancel', () => this.end());
    over.addEventListener('pointerleave', () => {
      if (!this.drag) actions.hover(null);
    });
    over.addEventListener('dblclick', () => actions.reset());
    over.addEventListener('wheel', (event) => this.wheel(event), { passive: false });
  }

  private place(event: MouseEvent): number {
    return event.clientX - this.canvas.over.getBoundingClientRect().left;
  }

  private cursorNear(place: number): 'a' | 'b' | null {
    const { a, b } = this.actions.cursors();
    const isNear = (time: number | null): boolean =>
      time !== null && Math.abs(this.canvas.pixelOf(time) - place) <= near;
    return isNear(a) ? 'a' : isNear(b) ? 'b' : null;
  }

  private down(event: PointerEvent): void {
    if (event.button > 1) return;
    event.preventDefault();
    if (document.activeElement instanceof HTMLElement) document.activeElement.blur(); // keys belong to the plots now
    this.canvas.over.setPointerCapture(event.pointerId);
    const start = this.place(event);
    const cursor = event.button === 0 ? this.cursorNear(start) : null;
    const isPan = event.shiftKey || event.button === 1 || event.pointerType === 'touch';
    this.drag = { kind: cursor ?? (isPan ? 'pan' : 'zoom'), start, last: start };
  }

  private move(event: PointerEvent): void {
    const place = this.place(event);
    const time = this.canvas.timeAt(place);
    const { drag } = this;
    this.canvas.over.style.cursor = this.cursorNear(place) ? 'ew-resize' : 'crosshair';
    if (!drag) this.actions.hover(time);
    else if (drag.kind === 'a' || drag.kind === 'b') this.actions.setCursor(drag.kind, time);
    else if (drag.kind === 'pan') {
      if (Math.abs(place - drag.start) < leastDrag && drag.last === drag.start) return;
      this.actions.pan(this.canvas.timeAt(drag.last) - time);
      drag.last = place;
    } else {
      drag.last = place;
      const [left, right] = [Math.min(drag.start, place), Math.max(drag.start, place)];
      this.box.style.cssText = `display:block;left:${left}px;width:${right - left}px`;
    }
  }

  private up(event: PointerEvent): void {
    const { drag } = this;
    const place = this.place(event);
    this.end();
    if (!drag || drag.kind === 'a' || drag.kind === 'b') return;
    if (Math.abs(place - drag.start) < leastDrag && Math.abs(drag.last - drag.start) < leastDrag) {
      this.actions.setCursor(event.shiftKey ? 'b' : 'a', this.canvas.timeAt(place));
    } else if (drag.kind === 'zoom') {
      const [from, to] = [drag.start, place].map((at) => this.canvas.timeAt(at)).sort((x, y) => x - y);
      this.actions.zoom({ from, to });
    }
  }

  private end(): void {
    this.drag = null;
    this.box.style.display = 'none';
  }

  private wheel(event: WheelEvent): void {
    event.preventDefault();
    const time = this.canvas.timeAt(this.place(event));
    if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      const pixels = event.deltaX || event.deltaY;
      this.actions.pan(this.canvas.timeAt(pixels) - this.canvas.timeAt(0));
    } else {
      this.actions.scale(Math.exp(Math.max(-1, Math.min(1, event.deltaY / 300))), time);
    }
  }
}
