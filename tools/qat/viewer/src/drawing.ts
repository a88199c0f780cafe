// What is drawn on the canvas of a plot: curves, lanes of labels, bands of labels behind curves.
import type { Series } from './types';

export interface Curve {
  series: Series;
  colour: string;
  /** Of the second file. */
  isDashed: boolean;
  /** Holds each value until the next sample. */
  isStairs: boolean;
}

/** Labels over time. */
export interface Lane {
  series: Series;
  name: string;
  /** The label of a value; empty draws nothing, as where a logical is false. */
  textOf: (value: number) => string;
  colourOf: (value: number) => string;
}

/** The rectangle of the axes on the canvas, and how values become pixels in it. */
export interface Area {
  left: number;
  top: number;
  width: number;
  height: number;
  /** Device pixels per CSS pixel. */
  ratio: number;
  x: (value: number) => number;
  y: (value: number) => number;
}

/** Points that are stroked at once: what one call takes grows faster than its points where they cross each other. */
const strokedAtOnce = { solid: 50, dashed: 1000 };

/** Draws one curve; NaN leaves a gap, and few samples are marked by points. */
export function drawCurve(context: CanvasRenderingContext2D, area: Area, curve: Curve): void {
  const { x, y } = curve.series;
  context.strokeStyle = context.fillStyle = curve.colour;
  // Where more than a point falls on a pixel, joins do not show; thin lines are quick, where pieces would show.
  const isDense = x.length * area.ratio > area.width;
  context.lineWidth = (isDense && curve.isDashed ? 1 : 1.5) * area.ratio;
  context.lineJoin = isDense ? 'bevel' : 'round';
  context.lineCap = curve.isDashed ? 'butt' : 'round';
  const atOnce = curve.isDashed ? strokedAtOnce.dashed : strokedAtOnce.solid;
  context.setLineDash(curve.isDashed ? [6 * area.ratio, 4 * area.ratio] : []);
  context.beginPath();
  let isDown = false;
  let lastY = 0;
  for (let i = 0; i < x.length; i++) {
    if (!Number.isFinite(y[i]) || !Number.isFinite(x[i])) {
      // A held value ends where the gap begins.
      if (isDown && curve.isStairs && Number.isFinite(x[i])) context.lineTo(area.x(x[i]), lastY);
      isDown = false;
      continue;
    }
    const [px, py] = [area.x(x[i]), area.y(y[i])];
    if (!isDown) context.moveTo(px, py);
    else {
      if (curve.isStairs) context.lineTo(px, lastY);
      context.lineTo(px, py);
    }
    isDown = true;
    lastY = py;
    if (i % atOnce === atOnce - 1) {
      context.stroke();
      context.beginPath();
      context.moveTo(px, py);
    }
  }
  context.stroke();
  context.setLineDash([]);
  drawPoints(context, area, curve.series);
}

// Points where there are few, and single samples between gaps, which no line shows.
function drawPoints(context: CanvasRenderingContext2D, area: Area, { x, y }: Series): void {
  const areFew = x.length * 14 * area.ratio < area.width;
  const isNumber = (i: number): boolean => i >= 0 && i < y.length && Number.isFinite(y[i]);
  const radius = 2.4 * area.ratio;
  for (let i = 0; i < x.length; i++) {
    if (!isNumber(i) || !(areFew || (!isNumber(i - 1) && !isNumber(i + 1)))) continue;
    context.beginPath();
    context.arc(area.x(x[i]), area.y(y[i]), radius, 0, 2 * Math.PI);
    context.fill();
  }
}

/** Calls back for every stretch of time in which a value holds. */
function forEachStretch(series: Series, area: Area, draw: (left: number, right: number, value: number) => void): void {
  const { x, y } = series;
  const clip = (px: number): number => Math.max(area.left, Math.min(area.left + area.width, px));
  for (let i = 0; i < x.length; ) {
    let end = i + 1;
    while (end < x.length && y[end] === y[i]) end++;
    // The last sample is shown as a short stretch.
    const right = end < x.length ? area.x(x[end]) : area.x(x[x.length - 1]) + 3 * area.ratio;
    const [from, to] = [clip(area.x(x[i])), clip(right)];
    if (to > from && !Number.isNaN(y[i])) draw(from, to, y[i]);
    i = end;
  }
}

/** Height of a lane in CSS pixels. */
export const laneHeight = 44;

/** Draws lanes from top to bottom, each with its name above it. */
export function drawLanes(context: CanvasRenderingContext2D, area: Area, lanes: Lane[], ink: string): void {
  const { ratio } = area;
  const step = area.height / Math.max(1, lanes.length);
  context.textBaseline = 'middle';
  lanes.forEach((lane, k) => {
    const top = area.top + k * step;
    const barTop = top + Math.min(16 * ratio, step * 0.4);
    const barHeight = top + step - 4 * ratio - barTop;
    context.font = `${11 * ratio}px system-ui, sans-serif`;
    context.fillStyle = ink;
    context.fillText(fitted(context, lane.name, area.width - 8 * ratio), area.left + 4 * ratio, top + 8 * ratio);
    context.font = `600 ${11 * ratio}px system-ui, sans-serif`;
    forEachStretch(lane.series, area, (left, right, value) => {
      const text = lane.textOf(value);
      context.fillStyle = lane.colourOf(value);
      if (text === '') {
        context.fillRect(left, barTop + barHeight - ratio, right - left, ratio);
        return;
      }
      context.fillRect(left, barTop, Math.max(ratio, right - left - ratio), barHeight);
      const room = right - left - 8 * ratio;
      if (room < 12 * ratio) return;
      context.fillStyle = '#fff';
      context.fillText(fitted(context, text, room), left + 4 * ratio, barTop + barHeight / 2 + ratio / 2);
    });
  });
}

/** Colours the background by the labels of one trace, each named at the top. */
export function drawBands(context: CanvasRenderingContext2D, area: Area, lane: Lane): void {
  const { ratio } = area;
  context.textBaseline = 'top';
  context.font = `${10 * ratio}px system-ui, sans-serif`;
  forEachStretch(lane.series, area, (left, right, value) => {
    const text = lane.textOf(value);
    if (text === '') return;
    context.globalAlpha = 0.16;
    context.fillStyle = lane.colourOf(value);
    context.fillRect(left, area.top, right - left, area.height);
    context.globalAlpha = 0.95;
    if (right - left > 26 * ratio) {
      context.fillText(fitted(context, text, right - left - 6 * ratio), left + 3 * ratio, area.top + 3 * ratio);
    }
  });
  context.globalAlpha = 1;
}

/** A text cut to a width, with an ellipsis; empty if nothing of it fits. */
export function fitted(context: CanvasRenderingContext2D, text: string, width: number): string {
  if (context.measureText(text).width <= width) return text;
  let [low, high] = [0, Math.min(text.length, 200)];
  while (low < high) {
    const middle = Math.ceil((low + high) / 2);
    if (context.measureText(`${text.slice(0, middle)}…`).width <= width) low = middle;
    else high = middle - 1;
  }
  return low === 0 ? '' : `${text.slice(0, low)}…`;
}

/** The extent of values with some room around it; around a single value as well. */
export function paddedExtent(series: Float64Array[]): [number, number] {
  let [low, high] = [Infinity, -Infinity];
  for (const values of series) {
    for (let i = 0; i < values.length; i++) {
      const value = values[i];
      if (!Number.isFinite(value)) continue;
      if (value < low) low = value;
      if (value > high) high = value;
    }
  }
  if (!(low <= high)) return [0, 1];
  const room = high > low ? 0.06 * (high - low) : Math.abs(low) * 0.1 || 0.5;
  return [low - room, high + room];
}
