// Where the time panels draw: all of them put the same moment at the same place.

import type { Clock } from "./clock";
import type { Header } from "./data";
import { isDisplaced, type HoleKind, type RecordingAxis } from "./axis";
import type { Recording } from "./model";
import { ticksAhead } from "./moments";
import { colours, hatch } from "./theme";
import type { View } from "./view";

export const kRight = 10; // free space behind the last moment, for the end of its label

export interface Frame {
  width: number;
  left: number; // space for the numbers of the plots
  plot: number; // from the first moment shown to the last
}

export function frameOf(width: number): Frame {
  const left = width < 420 ? 34 : 44;
  return { width, left, plot: Math.max(40, width - left - kRight) };
}

export function toPx(frame: Frame, view: Pick<View, "from" | "to">, x: number): number {
  return frame.left + ((x - view.from) / (view.to - view.from)) * frame.plot;
}

export function toX(frame: Frame, view: Pick<View, "from" | "to">, px: number): number {
  return view.from + ((px - frame.left) / frame.plot) * (view.to - view.from);
}

export interface Mark {
  x: number;
  label: string;
}

// Room for a label, in px.
const kLabel = 76;
const kLabelWithOffset = 108;

// In seconds; from `kLongStep` on a date without its year would come again.
const kLongStep = 2592000;
const kSteps = [
  1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800, 604800, 1209600,
  2592000, 5184000, 15552000, 31536000, 63072000, 157680000, 315360000, 630720000, 1576800000,
];

function tickMarks(from: number, to: number, most: number, ahead: number): Mark[] {
  let step = 1;
  for (let i = 0; (to - from) / step > most; i++) step *= i % 3 === 1 ? 2.5 : 2;
  const marks: Mark[] = [];
  for (let tick = Math.ceil((from + ahead) / step) * step; tick <= to + ahead; tick += step)
    marks.push({ x: tick - ahead, label: String(Math.round(tick)) });
  return marks;
}

// Places and labels on the axis, at round times of the chosen zone; none at times that no clock showed.
export function timeMarks(header: Header, clock: Clock, view: Pick<View, "from" | "to">, plot: number): Mark[] {
  const marks = timeMarksAtMost(header, clock, view, Math.max(2, Math.floor(plot / kLabel)));
  // An hour that clocks show twice is told apart by its offset, for which labels need more room.
  const isAmbiguous = new Set(marks.map((mark) => mark.offset)).size > 1;
  if (!isAmbiguous) return marks;
  const fewer = timeMarksAtMost(header, clock, view, Math.max(2, Math.floor(plot / kLabelWithOffset)));
  return fewer.map((mark) => ({ ...mark, label: `${mark.label} ${mark.offset}`.trim() }));
}

interface ZonedMark extends Mark {
  offset: string; // empty: the label is a date
}

function timeMarksAtMost(header: Header, clock: Clock, view: Pick<View, "from" | "to">, most: number): ZonedMark[] {
  if (!header.has_time) return tickMarks(view.from, view.to, most, ticksAhead(header) ?? 0).map((mark) => ({ ...mark, offset: "" }));
  const seconds = (view.to - view.from) / 2;
  const step = kSteps.find((s) => seconds / s <= most) ?? kSteps[kSteps.length - 1]!;
  const base = header.axis_us / 1e6;
  const shift = clock.offsetAt(header.axis_us + view.from * 500000) * 60;
  const marks: ZonedMark[] = [];
  let at = Math.ceil((base + view.from / 2 + shift) / step) * step - shift;
  for (; at <= base + view.to / 2; at += step) {
    const us = at * 1e6;
    const midnight = clock.time(us) === "00:00:00";
    const isDate = midnight || step >= 86400;
    const date = step >= kLongStep ? clock.date(us) : clock.date(us).slice(5);
    const label = isDate ? date : step < 60 ? clock.time(us) : clock.minute(us);
    const x = (at - base) * 2;
    if (!isDisplaced(header, x)) marks.push({ x, label, offset: step >= 86400 ? "" : clock.offset(us) });
  }
  return marks;
}

// The parts of what is shown where this recording has nothing.
export function eachHole(axis: RecordingAxis, from: number, to: number, draw: (from: number, to: number, kind: HoleKind) => void): void {
  for (const hole of axis.holes)
    if (hole.to >= from && hole.from <= to && Math.max(hole.from, from) < Math.min(hole.to, to))
      draw(Math.max(hole.from, from), Math.min(hole.to, to), hole.kind);
}

const kHolePatterns: Record<HoleKind, "crossed" | "dotted" | "upright"> = {
  lost: "crossed",
  clock: "upright",
  jump: "dotted",
  none: "dotted",
};

export function drawHoles(
  ctx: CanvasRenderingContext2D,
  axis: RecordingAxis,
  view: View,
  frame: Frame,
  top: number,
  height: number,
): void {
  eachHole(axis, view.from, view.to, (from, to, kind) => {
    ctx.fillStyle = hatch(ctx, colours()[kind === "clock" ? "clock" : "gap"], kHolePatterns[kind]);
    const left = toPx(frame, view, from);
    ctx.fillRect(left, top, Math.max(2, toPx(frame, view, to) - left), height);
  });
}

export function drawGrid(
  ctx: CanvasRenderingContext2D,
  marks: Mark[],
  view: View,
  frame: Frame,
  top: number,
  height: number,
): void {
  ctx.fillStyle = colours().grid;
  for (const mark of marks) ctx.fillRect(Math.round(toPx(frame, view, mark.x)), top, 1, height);
}

// Dashed lines where the unit's clock jumped or a new run began.
export function drawJumps(
  ctx: CanvasRenderingContext2D,
  recording: Recording,
  view: View,
  frame: Frame,
  top: number,
  height: number,
): void {
  const line = (x: number, dash: number[]) => {
    if (x < view.from || x > view.to) return;
    const px = Math.round(toPx(frame, view, x)) + 0.5;
    ctx.setLineDash(dash);
    ctx.beginPath();
    ctx.moveTo(px, top);
    ctx.lineTo(px, top + height);
    ctx.stroke();
  };
  ctx.save();
  ctx.lineWidth = 1;
  ctx.strokeStyle = colours().clock;
  for (const step of recording.header.steps) line(step.x, [4, 3]);
  ctx.strokeStyle = colours().muted;
  for (const run of recording.header.new_runs) line(run.x, [1, 3]);
  ctx.restore();
}

// With an edge of the background, so that it is seen on whatever it lies on.
export function drawCross(ctx: CanvasRenderingContext2D, x: number, y: number, size: number): void {
  const colour = ctx.strokeStyle;
  const width = ctx.lineWidth;
  ctx.beginPath();
  ctx.moveTo(x - size, y - size);
  ctx.lineTo(x + size, y + size);
  ctx.moveTo(x - size, y + size);
  ctx.lineTo(x + size, y - size);
  ctx.strokeStyle = colours().background;
  ctx.lineWidth = width + 3;
  ctx.stroke();
  ctx.strokeStyle = colour;
  ctx.lineWidth = width;
  ctx.stroke();
}
