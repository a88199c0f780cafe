import uPlot from 'uplot';
import { themeColour } from './colours';
import { h } from './dom';
import type { Area, Curve, Lane } from './drawing';
import { drawBands, drawCurve, drawLanes, laneHeight, paddedExtent } from './drawing';
import { numberText } from './number_text';
import { firstAfter, firstFrom } from './search_places';
import { clockSteps, timeText } from './time_text';
import type { Range } from './types';

/** Width of the axis on the left in CSS pixels: the same for all plots, so that their times are aligned. */
const axisWidth = 76;

export interface PlotContents {
  curves: Curve[];
  lanes: Lane[];
  bands: Lane | null;
}

export interface PlotLabels {
  /** Unit of the ordinate. */
  y: string;
  x: string;
  /** Hours, minutes, seconds. */
  clock: boolean;
  /** Whether the abscissa is a value and no time. */
  isXy: boolean;
}

/** The axes of one plot (by uPlot) and what is drawn in them. */
export class PlotCanvas {
  readonly element: HTMLElement;
  private readonly plot: uPlot;
  private contents: PlotContents = { curves: [], lanes: [], bands: null };
  private range: Range = { from: 0, to: 1 };
  private y: [number, number] = [0, 1];

  constructor(
    width: number,
    height: number,
    private readonly labels: PlotLabels,
  ) {
    this.element = h('div', { class: 'canvas' });
    this.plot = new uPlot(
      this.options(width, height),
      [
        [0, 1],
        [0, 1],
      ] as uPlot.AlignedData,
      this.element,
    );
  }

  /** The element over the area of the axes: pointer events, lines of cursors. */
  get over(): HTMLElement {
    return this.plot.over;
  }

  get canvas(): HTMLCanvasElement {
    return this.plot.ctx.canvas;
  }

  /** Width of the area in CSS pixels. */
  get areaWidth(): number {
    return this.plot.over.clientWidth;
  }

  resize(width: number, height: number): void {
    this.plot.setSize({ width, height });
  }

  /** Shows other contents; of an XY plot the range is that of its abscissa. */
  show(contents: PlotContents, range: Range): void {
    this.contents = contents;
    this.range = this.labels.isXy ? extentOfX(contents.curves) : range;
    this.y = contents.lanes.length > 0 ? [0, contents.lanes.length] : this.extent();
    this.plot.setData([[this.range.from, this.range.to], this.y] as uPlot.AlignedData);
  }

  /** Shows the same contents over another range, until those of that range arrive. */
  setRange(range: Range): void {
    if (!this.labels.isXy) this.show(this.contents, range);
  }

  /** Pixels from the left edge of the area. */
  pixelOf(time: number): number {
    return this.plot.valToPos(time, 'x');
  }

  timeAt(pixel: number): number {
    return this.plot.posToVal(pixel, 'x');
  }

  destroy(): void {
    this.plot.destroy();
  }

  // What is in sight decides; samples beyond both ends only where there is none between.
  private extent(): [number, number] {
    const inside = this.contents.curves.map(({ series: { x, y } }) => {
      if (this.labels.isXy) return y;
      const part = y.subarray(firstFrom(x, this.range.from), firstAfter(x, this.range.to));
      return part.some(Number.isFinite) ? part : y;
    });
    return paddedExtent(inside);
  }

  private options(width: number, height: number): uPlot.Options {
    const isLanes = (): boolean => this.contents.lanes.length > 0;
    const grid = { stroke: () => themeColour('grid'), width: 1 };
    const axis = {
      stroke: () => themeColour('ink-2'),
      font: '11px system-ui, sans-serif',
      labelFont: '11px system-ui, sans-serif',
      grid,
      ticks: { ...grid, size: 4 },
    };
    return {
      width,
      height,
      padding: [8, 20, 0, 0],
      legend: { show: false },
      cursor: { show: false },
      scales: {
        x: { time: false, range: () => [this.range.from, this.range.to] },
        y: { range: () => this.y },
      },
      axes: [
        {
          ...axis,
          size: 22,
          label: this.labels.x,
          labelSize: 16,
          gap: 3,
          ...(this.labels.clock ? { incrs: clockSteps, space: 70 } : { space: 60 }),
          values: (_plot, splits) => {
            if (this.labels.isXy) return splits.map(numberText);
            const step = splits.length > 1 ? splits[1] - splits[0] : 1;
            return splits.map((split) => timeText(split, step, this.labels.clock));
          },
        },
        {
          ...axis,
          size: axisWidth - 18,
          label: this.labels.y || ' ',
          labelSize: 18,
          space: 28,
          values: (_plot, splits) => (isLanes() ? splits.map(() => '') : splits.map(numberText)),
          grid: { ...grid, show: true },
        },
      ],
      series: [{}, { show: true, paths: () => null, points: { show: false } }],
      hooks: { drawAxes: [() => this.draw()] },
    };
  }

  private draw(): void {
    const { ctx, bbox } = this.plot;
    const area: Area = {
      left: bbox.left,
      top: bbox.top,
      width: bbox.width,
      height: bbox.height,
      ratio: devicePixelRatio || 1,
      x: (value) => this.plot.valToPos(value, 'x', true),
      y: (value) => this.plot.valToPos(value, 'y', true),
    };
    ctx.save();
    ctx.beginPath();
    ctx.rect(area.left, area.top, area.width, area.height);
    ctx.clip();
    ctx.textAlign = 'left';
    if (this.contents.bands) drawBands(ctx, area, this.contents.bands);
    for (const curve of this.contents.curves) drawCurve(ctx, area, curve);
    if (this.contents.lanes.length > 0) {
      ctx.fillStyle = themeColour('panel');
      ctx.fillRect(area.left, area.top, area.width, area.height);
      drawLanes(ctx, area, this.contents.lanes, themeColour('ink'));
    }
    ctx.restore();
  }
}

function extentOfX(curves: Curve[]): Range {
  const [from, to] = paddedExtent(curves.map((curve) => curve.series.x));
  return { from, to };
}

/** Height of a plot whose height nobody chose, in CSS pixels. */
export function heightFor(lanes: number, isXy: boolean): number {
  if (lanes > 0) return lanes * laneHeight + 54;
  return isXy ? 320 : 220;
}
