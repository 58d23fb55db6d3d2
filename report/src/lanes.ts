// One lane per input, microphone, camera and stream, and before them the lights and sirens of all
// recordings and what each of them recorded at all.

import { countUpTo, type HoleKind } from "./axis";
import type { Clock } from "./clock";
import { kUnverified, kWrongCrc } from "./data";
import { make, recorded, setText } from "./dom";
import { drawCross, drawGrid, drawHoles, drawJumps, timeMarks, toPx, type Frame } from "./frame";
import { eachPiece, entryAt, laneText, neverKnown, type Lane, type Model, type Recording } from "./model";
import { colours, hatch, isPrinting, prepare } from "./theme";
import type { View } from "./view";

// As in the style sheet: on a phone the value stands below the name, so that the name has room.
const narrow = matchMedia("(max-width: 620px)");

function heightOfLane(): number {
  return narrow.matches && !isPrinting() ? 34 : 20;
}

// What the line of a lane has room for.
const kShortHoleTexts: Record<HoleKind, string> = { lost: "lost", clock: "no such time", jump: "not recorded", none: "not recorded" };

const kHeadHeight = 24;
const kAxisHeight = 20;
const kMostPrintedTogether = 10; // rows of lanes, a fifth of a page

type Row =
  | { kind: "head"; text: string; recording: Recording | null }
  | { kind: "lane"; lane: Lane; named: boolean }
  | { kind: "coverage"; recording: Recording; named: boolean };

const kGroups: [string, string][] = [
  ["inputs", "Inputs"],
  ["microphones", "Microphones"],
  ["cameras", "Cameras"],
  ["streams", "Streams"],
  ["gps", "GPS"],
  ["radar", "Radar"],
  ["other", "Other"],
];

function rowsOf(model: Model): Row[] {
  const several = model.recordings.length > 1;
  const rows: Row[] = [];
  const first = model.recordings.flatMap((r) => r.lanes.filter((l) => l.header.role !== null));
  if (first.length) {
    rows.push({ kind: "head", text: "Lights and siren", recording: null });
    for (const lane of first) rows.push({ kind: "lane", lane, named: several });
  }
  rows.push({ kind: "head", text: "Recorded", recording: null });
  for (const recording of model.recordings) rows.push({ kind: "coverage", recording, named: several });
  for (const recording of model.recordings) {
    const known = new Set(kGroups.map(([id]) => id));
    const never = recording.lanes.filter((l) => l.header.role === null && neverKnown(l));
    const told = recording.lanes.filter((l) => !never.includes(l));
    for (const [id, text] of kGroups) {
      const lanes = told.filter(
        (l) => l.header.role === null && (l.header.group === id || (id === "other" && !known.has(l.header.group))),
      );
      if (!lanes.length) continue;
      rows.push({ kind: "head", text, recording: several ? recording : null });
      for (const lane of lanes) rows.push({ kind: "lane", lane, named: false });
    }
    // Last, as they only say that nothing was told.
    if (never.length) rows.push({ kind: "head", text: "Unknown throughout", recording: several ? recording : null });
    for (const lane of never) rows.push({ kind: "lane", lane, named: false });
  }
  return rows;
}

// What a column of pixels has to show of a lane; several at once when it stands for a long time.
const kOn = 1;
const kOff = 2;
const kUnknown = 4;

export class Lanes {
  readonly element: HTMLElement;
  private readonly row: HTMLElement;
  private readonly printed = make("div", { class: "printed-lanes" });
  private readonly canvas = make("canvas", { "aria-hidden": "true" });
  private readonly rows: Row[];
  private readonly values: (HTMLElement | null)[] = [];
  private height = 0;
  private laneHeight = heightOfLane();
  private columns = new Uint8Array(0);

  constructor(
    private readonly model: Model,
    private readonly view: View,
    private readonly clock: Clock,
  ) {
    this.rows = rowsOf(model);
    const side = make("div", { class: "side lane-names" });
    for (const row of this.rows) side.append(this.name(row));
    this.row = make("div", { class: "row lanes" }, side, make("div", { class: "area" }, this.canvas));
    this.element = make("div", {}, this.row, this.printed);
  }

  // On paper a row for each group, of a long one for each of its parts, with its part of the drawing:
  // a page ends between two of them, and none stays half empty because what is next does not fit
  // into what is left of it.
  beginPrint(): void {
    const names = [...this.row.querySelectorAll(".lane-names > *")];
    const ratio = this.canvas.height / this.height;
    const parts: HTMLElement[] = [];
    let head = 0; // of the group
    let first = 0; // of the part
    let top = 0;
    for (let behind = 1; behind <= this.rows.length; behind++) {
      const ends = behind === this.rows.length || this.rows[behind]!.kind === "head";
      if (!ends && behind - first < kMostPrintedTogether) continue;
      const heading = first === head ? 0 : kHeadHeight;
      const axis = behind === this.rows.length ? kAxisHeight : 0;
      const drawn = this.rows.slice(first, behind).reduce((sum, row) => sum + (row.kind === "head" ? kHeadHeight : this.laneHeight), axis);
      const part = make("canvas", { "aria-hidden": "true" });
      part.width = this.canvas.width;
      part.height = Math.round((heading + drawn) * ratio);
      part.style.width = this.canvas.style.width;
      part.style.height = `${heading + drawn}px`;
      const ctx = part.getContext("2d")!;
      ctx.beginPath();
      ctx.rect(0, Math.round(heading * ratio), part.width, part.height);
      ctx.clip();
      ctx.drawImage(this.canvas, 0, -Math.round((top - heading) * ratio));
      top += drawn;
      const side = make("div", { class: "side lane-names" });
      if (heading) {
        const again = names[head]!.cloneNode(true) as HTMLElement;
        again.append(", continued");
        side.append(again);
      }
      for (const name of names.slice(first, behind)) side.append(name.cloneNode(true));
      parts.push(make("div", { class: "row" }, side, make("div", { class: "area" }, part)));
      first = behind;
      if (ends) head = behind;
    }
    this.printed.replaceChildren(...parts);
  }

  endPrint(): void {
    this.printed.replaceChildren();
  }

  private name(row: Row): HTMLElement {
    if (row.kind === "head") {
      this.values.push(null);
      const head = make("h3", { class: "lane-head" }, row.text);
      if (row.recording) head.prepend(recorded(row.recording.header.name), " · ");
      return head;
    }
    const recording = row.kind === "lane" ? row.lane.recording : row.recording;
    const value = make("span", {
      class: "value",
      "data-recording": recording.header.name,
      "data-lane": row.kind === "lane" ? row.lane.header.id : "coverage",
    });
    this.values.push(value);
    const name = make("span", { class: "name" });
    if (row.named) name.append(recorded(recording.header.name), " ");
    const text = row.kind === "lane" ? row.lane.header.name : row.named ? "" : "recorded at all";
    name.append(recorded(text));
    name.title = name.textContent ?? "";
    return make("div", { class: "lane" }, name, value);
  }

  readout(x: number): void {
    this.rows.forEach((row, i) => {
      const value = this.values[i];
      if (!value || row.kind === "head") return;
      if (row.kind === "coverage") {
        const { axis } = row.recording;
        const known = axis.segmentAt(x) !== null;
        setText(value, known ? "recorded" : kShortHoleTexts[axis.holeAt(x)]);
        value.classList.toggle("unknown", !known);
        return;
      }
      const entry = entryAt(row.lane.held, row.lane.recording.axis, x);
      const word = entry < 0 ? 0 : row.lane.held.state[entry]!;
      setText(value, laneText(row.lane, entry));
      value.classList.toggle("unknown", word === 0);
      value.classList.toggle("on", row.lane.active[word] === true);
    });
  }

  draw(frame: Frame): void {
    this.laneHeight = heightOfLane();
    this.height = this.rows.reduce((sum, row) => sum + (row.kind === "head" ? kHeadHeight : this.laneHeight), kAxisHeight);
    this.canvas.style.height = `${this.height}px`;
    const ctx = prepare(this.canvas, frame.width, this.height);
    this.canvas.style.width = `${frame.width}px`;
    if (this.columns.length !== Math.ceil(frame.plot) + 1) this.columns = new Uint8Array(Math.ceil(frame.plot) + 1);
    const marks = timeMarks(this.model.header, this.clock, this.view, frame.plot);
    drawGrid(ctx, marks, this.view, frame, 0, this.height - kAxisHeight);
    let top = 0;
    for (const row of this.rows) {
      if (row.kind === "head") top += kHeadHeight;
      else {
        if (row.kind === "lane") this.drawLane(ctx, row.lane, frame, top);
        else this.drawCoverage(ctx, row.recording, frame, top);
        top += this.laneHeight;
      }
    }
    ctx.fillStyle = colours().muted;
    ctx.font = "11px system-ui, sans-serif";
    ctx.textAlign = "center";
    ctx.textBaseline = "top";
    for (const mark of marks) ctx.fillText(mark.label, toPx(frame, this.view, mark.x), this.height - kAxisHeight + 5);
    ctx.save();
    ctx.beginPath();
    ctx.rect(frame.left, 0, frame.plot + 1, this.height - kAxisHeight);
    ctx.clip();
    for (const recording of this.model.recordings)
      drawJumps(ctx, recording, this.view, frame, 0, this.height - kAxisHeight);
    ctx.restore();
  }

  private collect(lane: Lane, frame: Frame): void {
    const columns = this.columns.fill(0);
    eachPiece(lane.held, lane.recording.axis, this.view.from, this.view.to, (from, to, entry) => {
      const word = entry < 0 ? 0 : lane.held.state[entry]!;
      const bit = word === 0 ? kUnknown : lane.active[word] ? kOn : kOff;
      const begin = Math.round(toPx(frame, this.view, from) - frame.left);
      const end = Math.max(begin + 1, Math.round(toPx(frame, this.view, to) - frame.left));
      for (let px = begin; px < end; px++) columns[px]! |= bit;
    });
  }

  private drawLane(ctx: CanvasRenderingContext2D, lane: Lane, frame: Frame, top: number): void {
    const c = colours();
    drawHoles(ctx, lane.recording.axis, this.view, frame, top + 3, this.laneHeight - 6);
    this.collect(lane, frame);
    const role = lane.header.role;
    const solid = role === "lights" ? c.lights : role === "siren" ? c.siren : c.active;
    const striped = hatch(ctx, c.unknown, "striped");
    const columns = this.columns;
    const width = Math.ceil(frame.plot);
    for (let px = 0; px < width; ) {
      const bits = columns[px]!;
      let end = px + 1;
      while (end < width && columns[end] === bits) end++;
      const left = frame.left + px;
      if (bits & kOn) {
        ctx.fillStyle = solid;
        // Half as high where it was also off within this column of pixels.
        const height = bits & kOff ? (this.laneHeight - 6) / 2 : this.laneHeight - 6;
        ctx.fillRect(left, top + (this.laneHeight - height) / 2, end - px, height);
        // Part of this time is unknown: a stripe below the bar says so.
        if (bits & kUnknown) {
          ctx.fillStyle = striped;
          ctx.fillRect(left, top + this.laneHeight - 3, end - px, 3);
        }
      } else if (bits & kUnknown) {
        ctx.fillStyle = striped;
        ctx.fillRect(left, top + 3, end - px, this.laneHeight - 6);
      } else if (bits & kOff) {
        ctx.fillStyle = c.track;
        ctx.fillRect(left, top + this.laneHeight / 2, end - px, 1);
      }
      px = end;
    }
    this.drawWords(ctx, lane, frame, top);
    ctx.strokeStyle = c.crc;
    ctx.lineWidth = 1.5;
    const wrong = lane.wrong.x;
    for (let i = countUpTo(wrong, this.view.from - 1); i < wrong.length && wrong[i]! <= this.view.to; i++)
      drawCross(ctx, toPx(frame, this.view, wrong[i]!), top + this.laneHeight / 2, 3.5);
  }

  // With several active words ("on", "background") the colour does not say which: the bar does.
  private drawWords(ctx: CanvasRenderingContext2D, lane: Lane, frame: Frame, top: number): void {
    if (lane.header.on.length < 2) return;
    ctx.fillStyle = colours().background;
    ctx.font = "10px system-ui, sans-serif";
    ctx.textAlign = "left";
    ctx.textBaseline = "middle";
    eachPiece(lane.held, lane.recording.axis, this.view.from, this.view.to, (from, to, entry) => {
      if (entry < 0 || !lane.active[lane.held.state[entry]!]) return;
      const left = toPx(frame, this.view, from);
      const room = toPx(frame, this.view, to) - left;
      if (room < 16) return;
      const text = laneText(lane, entry);
      if (ctx.measureText(text).width + 8 < room) ctx.fillText(text, left + 4, top + this.laneHeight / 2 + 0.5);
    });
  }

  private drawCoverage(ctx: CanvasRenderingContext2D, recording: Recording, frame: Frame, top: number): void {
    const c = colours();
    const middle = top + this.laneHeight / 2;
    drawHoles(ctx, recording.axis, this.view, frame, top + 3, this.laneHeight - 6);
    for (const stretch of recording.header.stretches) {
      if (stretch.to < this.view.from || stretch.x > this.view.to) continue;
      const left = Math.max(frame.left, toPx(frame, this.view, stretch.x));
      const right = Math.min(frame.left + frame.plot, toPx(frame, this.view, stretch.to));
      // A thin bar where the time is estimated or not told, a full one where it is exact.
      const height = stretch.quality === "exact" ? 8 : 3;
      ctx.fillStyle = c.good;
      ctx.fillRect(left, middle - height / 2, Math.max(1.5, right - left), height);
    }
    ctx.save();
    ctx.beginPath();
    ctx.rect(frame.left - 5, top, frame.plot + 10, this.laneHeight);
    ctx.clip();
    this.drawDoubts(ctx, recording, frame, middle);
    ctx.restore();
  }

  private drawDoubts(ctx: CanvasRenderingContext2D, recording: Recording, frame: Frame, middle: number): void {
    const c = colours();
    let last = -Infinity;
    ctx.strokeStyle = c.position;
    ctx.fillStyle = c.background;
    ctx.lineWidth = 1.5;
    const { track, events } = recording;
    for (let i = countUpTo(track.x, this.view.from - 1); i < track.x.length && track.x[i]! <= this.view.to; i++) {
      if (!(track.flags[i]! & kUnverified)) continue;
      const px = toPx(frame, this.view, track.x[i]!);
      if (px < last + 9) continue;
      last = px;
      ctx.beginPath();
      ctx.arc(px, middle, 3, 0, 7);
      ctx.fill();
      ctx.stroke();
    }
    ctx.strokeStyle = c.crc;
    last = -Infinity;
    for (let i = countUpTo(events.x, this.view.from - 1); i < events.x.length && events.x[i]! <= this.view.to; i++) {
      if (!(events.flags[i]! & kWrongCrc)) continue;
      const px = toPx(frame, this.view, events.x[i]!);
      if (px < last + 3) continue;
      last = px;
      drawCross(ctx, px, middle, 3.5);
    }
    ctx.fillStyle = c.clock;
    for (const step of recording.header.steps) {
      const px = toPx(frame, this.view, step.x);
      ctx.beginPath();
      ctx.moveTo(px, middle - 6);
      ctx.lineTo(px + 5, middle);
      ctx.lineTo(px, middle + 6);
      ctx.lineTo(px - 5, middle);
      ctx.fill();
    }
  }
}
