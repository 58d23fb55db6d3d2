// The track on a plain grid.

import { countUpTo } from "./axis";
import { isSure, kPieceBegins, kTrackWrongCrc, kUnknownFrom, kUnverified, Slices } from "./data";
import { button, make, recorded, setText } from "./dom";
import type { Clock } from "./clock";
import { drawCross } from "./frame";
import type { Lane, Model, Recording } from "./model";
import { kPerDegree, Plane } from "./plane";
import { colours, prepare } from "./theme";
import type { View } from "./view";

const kMapKeys = "Arrow keys move it, plus and minus zoom, 0 shows all.";

const kLights = 1;
const kSiren = 2;

interface Path {
  recording: Recording;
  x: Float32Array; // metres east of the middle
  y: Float32Array; // metres north
  speed: Uint8Array; // index of the ramp, kNoSpeed
  signals: Uint8Array;
}

const kNoSpeed = 255;

// Layers of the drawing: the colours of the ramp first.
const kUnknownLayer = 6;
const kOutside = 7;
const kLightsLayer = 8;
const kSirenLayer = 9;
const kUnverifiedLayer = 10;
const kLayers = 11;

// A recording that goes on for longer than this without a position does not end at its last one.
const kGoesOn = 120;

interface Box {
  left: number;
  right: number;
  bottom: number;
  top: number;
}

// What is drawn may cover itself, labels may not.
interface Label {
  left: number;
  top: number;
  width: number;
}
const kLabelHeight = 15;

export interface SpeedUnit {
  name: string;
  perMmS: number;
}

export function speedUnit(model: Model): SpeedUnit {
  const units = model.recordings.flatMap((r) => r.series.filter((s) => s.header.family === "speed"));
  return units[0]?.header.unit === "mph"
    ? { name: "mph", perMmS: 1 / 447.04 }
    : { name: "km/h", perMmS: 0.0036 };
}

function lengthText(metres: number): string {
  return metres >= 1000 ? `${Number((metres / 1000).toPrecision(2))} km` : `${Math.round(metres)} m`;
}

function degrees(parts: number, plus: string, minus: string): string {
  return `${(Math.abs(parts) / kPerDegree).toFixed(5)} ${parts < 0 ? minus : plus}`;
}

export function positionText(latitude: number, longitude: number): string {
  return `${degrees(latitude, "N", "S")} ${degrees(longitude, "E", "W")}`;
}

// Upper ends of the ramp's colours: round numbers in the unit shown, the last one open.
function speedSteps(unit: SpeedUnit): number[] {
  return unit.name === "mph" ? [10, 25, 40, 55, 70] : [15, 40, 65, 90, 115];
}

function rampIndex(speed: number, steps: number[], unit: SpeedUnit): number {
  if (speed < 0) return kNoSpeed;
  const shown = speed * unit.perMmS;
  let i = 0;
  while (i < steps.length && shown >= steps[i]!) i++;
  return i;
}

function active(lane: Lane | undefined, entry: number): boolean {
  if (!lane || entry < 0 || lane.held.flags[entry]! & kUnknownFrom) return false;
  return lane.active[lane.held.state[entry]!] === true;
}

// Walks the lane beside the track, as both are in order of x.
function* entries(lane: Lane | undefined, recording: Recording): Generator<number, number, number> {
  let next = 0;
  let x = yield -1;
  for (;;) {
    if (!lane) {
      x = yield -1;
      continue;
    }
    while (next < lane.held.x.length && lane.held.x[next]! <= x) next++;
    const segment = recording.axis.segmentAt(x);
    x = yield segment && next > 0 && lane.held.x[next - 1]! >= segment.from ? next - 1 : -1;
  }
}

export class TrackMap {
  readonly element: HTMLElement;
  private readonly canvas = make("canvas", { "aria-hidden": "true" });
  private readonly overlay = make("canvas", { "aria-hidden": "true" });
  private readonly surface: HTMLElement;
  private readonly place = make("span", { class: "place" });
  private paths: Path[] = [];
  private readonly unit: SpeedUnit;
  private readonly steps: number[];
  private polar = false;
  private metres = 1; // per pixel
  private middle = { x: 0, y: 0 };
  private fitted = true;
  private box: Box = { left: 0, right: 0, bottom: 0, top: 0 }; // of what can be relied on
  private whole: Box = this.box;
  private labels: Label[] = [];
  private width = 0;
  private height = 0;

  constructor(
    private readonly model: Model,
    private readonly view: View,
    private readonly clock: Clock,
  ) {
    this.unit = speedUnit(model);
    this.steps = speedSteps(this.unit);
    this.surface = make("div", {
      class: "map-surface",
      tabindex: "0",
      role: "group",
      "aria-label": `Map of the track. ${kMapKeys}`,
    });
    this.surface.append(this.canvas, this.overlay);
    const keys = make(
      "div",
      { class: "map-keys" },
      button("+", "Zoom the map in", () => this.zoom(0.6)),
      button("−", "Zoom the map out", () => this.zoom(1 / 0.6)),
      button("All", "Show the whole track", () => this.fit()),
    );
    this.element = make(
      "div",
      { class: "map" },
      make("div", { class: "map-frame" }, this.surface, keys),
      this.legend(),
      this.placeLine(),
    );
    this.listen();
  }

  get empty(): boolean {
    return this.model.recordings.every((r) => r.track.x.length === 0);
  }

  private placeLine(): HTMLElement {
    return make(
      "p",
      { class: "map-place", "data-readout": "position" },
      this.model.recordings.some((r) => r.header.track.thinned) ? "Position at the cursor, of thinned ones: " : "Position at the cursor: ",
      this.place,
    );
  }

  private legend(): HTMLElement {
    const list = make("ul", { class: "map-legend" });
    const item = (kind: string, text: string) =>
      list.append(make("li", {}, make("canvas", { class: "map-swatch", "data-kind": kind, "aria-hidden": "true" }), text));
    const steps = this.steps;
    for (let i = 0; i <= steps.length; i++) {
      const text = i === 0 ? `<${steps[0]}` : i === steps.length ? `≥${steps[i - 1]} ${this.unit.name}` : `${steps[i - 1]}–`;
      item(`ramp${i}`, text);
    }
    item("nospeed", "speed unknown");
    item("lights", "lights on");
    item("siren", "siren on");
    if (this.model.recordings.some((r) => r.track.flags.some((flags) => (flags & kUnverified) !== 0)))
      item("unverified", "unverified: may lie in another hemisphere");
    for (const { index, header } of this.model.recordings) {
      if (index === 0) continue;
      item(`edge${index}`, "");
      list.lastElementChild!.append(recorded(header.name));
    }
    return list;
  }

  async read(slices: Slices): Promise<void> {
    const plane = await Plane.of(this.model.recordings.map((r) => r.track), slices);
    if (!plane) return;
    this.polar = plane.polar;
    for (const recording of this.model.recordings) this.paths.push(await this.path(recording, plane, slices));
    this.whole = this.boxOf(() => true);
    const sure = this.boxOf(isSure);
    this.box = sure.left <= sure.right ? sure : this.whole;
    const { box } = this;
    const size = `${lengthText(box.right - box.left)} wide and ${lengthText(box.top - box.bottom)} high`;
    this.surface.setAttribute("aria-label", `Map of the track, ${size}. ${kMapKeys}`);
  }

  // Of the positions with such flags; of none it is empty, its left above its right.
  private boxOf(takes: (flags: number) => boolean): Box {
    const box = { left: Infinity, right: -Infinity, bottom: Infinity, top: -Infinity };
    for (const { x, y, recording } of this.paths)
      for (let i = 0; i < x.length; i++) {
        if (!takes(recording.track.flags[i]!)) continue;
        box.left = Math.min(box.left, x[i]!);
        box.right = Math.max(box.right, x[i]!);
        box.bottom = Math.min(box.bottom, y[i]!);
        box.top = Math.max(box.top, y[i]!);
      }
    return box;
  }

  private async path(recording: Recording, plane: Plane, slices: Slices): Promise<Path> {
    const { track } = recording;
    const count = track.x.length;
    const path: Path = {
      recording,
      x: new Float32Array(count),
      y: new Float32Array(count),
      speed: new Uint8Array(count),
      signals: new Uint8Array(count),
    };
    const lightsLane = recording.lanes.find((l) => l.header.role === "lights");
    const sirenLane = recording.lanes.find((l) => l.header.role === "siren");
    const lights = entries(lightsLane, recording);
    const siren = entries(sirenLane, recording);
    lights.next(0);
    siren.next(0);
    for (let i = 0; i < count; i++) {
      const x = track.x[i]!;
      const at = plane.at(track.latitude[i]!, track.longitude[i]!);
      path.x[i] = at.x;
      path.y[i] = at.y;
      path.speed[i] = rampIndex(track.speed[i]!, this.steps, this.unit);
      path.signals[i] =
        (active(lightsLane, lights.next(x).value) ? kLights : 0) | (active(sirenLane, siren.next(x).value) ? kSiren : 0);
      if (i % 4096 === 0 && slices.due()) await slices.pause();
    }
    return path;
  }

  resize(width: number, height: number): void {
    this.width = width;
    this.height = height;
    for (const canvas of [this.canvas, this.overlay]) {
      canvas.style.width = `${width}px`;
      canvas.style.height = `${height}px`;
    }
    if (this.fitted) this.fit();
    else this.draw();
  }

  fit(): void {
    const { left, right, bottom, top } = this.box;
    const air = 44;
    this.metres = Math.max(
      (right - left) / Math.max(50, this.width - 2 * air),
      (top - bottom) / Math.max(50, this.height - 2 * air),
      0.25,
    );
    this.middle = { x: (left + right) / 2, y: (bottom + top) / 2 };
    this.fitted = true;
    this.draw();
  }

  private zoom(factor: number, px = this.width / 2, py = this.height / 2): void {
    const least = 0.05;
    const { left, right, bottom, top } = this.whole;
    const most = Math.max(1, (right - left) / 100, (top - bottom) / 100);
    const next = Math.min(most, Math.max(least, this.metres * factor));
    this.middle.x += (px - this.width / 2) * (this.metres - next);
    this.middle.y -= (py - this.height / 2) * (this.metres - next);
    this.metres = next;
    this.fitted = false;
    this.draw();
  }

  private pan(dx: number, dy: number): void {
    this.middle.x -= dx * this.metres;
    this.middle.y += dy * this.metres;
    this.fitted = false;
    this.draw();
  }

  private px(x: number): number {
    return this.width / 2 + (x - this.middle.x) / this.metres;
  }

  private py(y: number): number {
    return this.height / 2 - (y - this.middle.y) / this.metres;
  }

  private whyEmpty(): string {
    const lost = this.model.header.recordings.find((r) => r.nothing)?.nothing;
    if (lost) return `${lost[0]!.toUpperCase()}${lost.slice(1)}.`;
    return this.model.header.range ? "No positions were recorded in the part asked for." : "No positions were recorded.";
  }

  draw(): void {
    if (this.width === 0) return;
    const ctx = prepare(this.canvas, this.width, this.height);
    const c = colours();
    ctx.fillStyle = c.panel;
    ctx.fillRect(0, 0, this.width, this.height);
    this.drawSwatches();
    if (this.empty) {
      ctx.fillStyle = c.muted;
      ctx.font = "14px system-ui, sans-serif";
      ctx.textAlign = "center";
      ctx.fillText(this.whyEmpty(), this.width / 2, this.height / 2);
      this.drawCursor();
      return;
    }
    this.drawGrid(ctx);
    for (const path of this.paths) this.drawPath(ctx, path);
    this.labels = [];
    for (const path of this.paths) this.drawEnds(ctx, path);
    this.drawScale(ctx);
    if (!this.polar) this.drawNorth(ctx);
    this.drawCursor();
  }

  // The length of a round number of metres that takes between 60 and 150 pixels.
  private roundLength(): number {
    const least = 60 * this.metres;
    const power = 10 ** Math.floor(Math.log10(least));
    return [1, 2, 5, 10].map((n) => n * power).find((n) => n >= least)!;
  }

  private drawGrid(ctx: CanvasRenderingContext2D): void {
    const step = this.roundLength();
    ctx.fillStyle = colours().grid;
    const left = this.middle.x - (this.width / 2) * this.metres;
    const bottom = this.middle.y - (this.height / 2) * this.metres;
    for (let x = Math.ceil(left / step) * step; this.px(x) < this.width; x += step)
      ctx.fillRect(Math.round(this.px(x)), 0, 1, this.height);
    for (let y = Math.ceil(bottom / step) * step; this.py(y) > 0; y += step)
      ctx.fillRect(0, Math.round(this.py(y)), this.width, 1);
  }

  // Lines of the track by how they are drawn. Points that fall on the pixel of the one before are left
  // out, and so is a line between two pixels that both have one of the same kind: who drives the same
  // streets for a week is drawn as fast as who drives them once.
  private collect(path: Path): { layers: Path2D[]; doubtful: [number, number, boolean][] } {
    const layers = Array.from({ length: kLayers }, () => new Path2D());
    const pens = new Int32Array(kLayers).fill(-1); // index of the point where each layer's pen is
    const { width, height } = this;
    const drawn = new Uint16Array((Math.ceil(width) + 1) * (Math.ceil(height) + 1));
    const cell = (px: number, py: number) =>
      px < 0 || py < 0 || px > width || py > height ? -1 : Math.floor(py) * (Math.ceil(width) + 1) + Math.floor(px);
    const { track } = path.recording;
    const count = path.x.length;
    const { from, to } = this.view;
    const doubtful: [number, number, boolean][] = [];
    let last = 0;
    let lastX = 0;
    let lastY = 0;
    for (let i = 0; i < count; i++) {
      const px = this.px(path.x[i]!);
      const py = this.py(path.y[i]!);
      const flags = track.flags[i]!;
      if (flags & (kUnverified | kTrackWrongCrc)) doubtful.push([px, py, (flags & kTrackWrongCrc) !== 0]);
      // No line leads from a place that may lie in another hemisphere to one that does not.
      const breaksAt = (at: number) => (track.flags[at]! & kPieceBegins) !== 0 || ((track.flags[at]! ^ track.flags[at - 1]!) & kUnverified) !== 0;
      const begins = i === 0 || breaksAt(i);
      const ends = i + 1 === count || breaksAt(i + 1);
      if (!begins && !ends && Math.abs(px - lastX) < 1 && Math.abs(py - lastY) < 1) continue;
      if (!begins) {
        const here = cell(px, py);
        const before = cell(lastX, lastY);
        const x = track.x[i]!;
        const add = (layer: number) => {
          const bit = 1 << layer;
          if (here >= 0 && before >= 0) {
            if (drawn[here]! & bit && drawn[before]! & bit) return;
            drawn[here]! |= bit;
            drawn[before]! |= bit;
          }
          if (pens[layer] !== last) layers[layer]!.moveTo(lastX, lastY);
          layers[layer]!.lineTo(px, py);
          pens[layer] = i;
        };
        if (flags & kUnverified) add(kUnverifiedLayer);
        else if (x < from || x > to) add(kOutside);
        else {
          const signals = path.signals[i]!;
          if (signals & kLights) add(kLightsLayer);
          if (signals & kSiren) add(kSirenLayer);
          add(path.speed[i] === kNoSpeed ? kUnknownLayer : path.speed[i]!);
        }
      }
      last = i;
      lastX = px;
      lastY = py;
    }
    return { layers, doubtful };
  }

  // Below what lights and siren did, above it the track in the colour of the speed.
  private drawPath(ctx: CanvasRenderingContext2D, path: Path): void {
    const c = colours();
    const { layers, doubtful } = this.collect(path);
    const stroke = (layer: number, colour: string, width: number, dash: number[] = []) => {
      ctx.strokeStyle = colour;
      ctx.lineWidth = width;
      ctx.setLineDash(dash);
      ctx.stroke(layers[layer]!);
    };
    ctx.save();
    ctx.lineCap = "round";
    ctx.lineJoin = "round";
    stroke(kOutside, c.track, 1.5);
    ctx.globalAlpha = 0.38;
    stroke(kLightsLayer, c.lights, 11);
    ctx.globalAlpha = 1;
    ctx.lineCap = "butt";
    stroke(kSirenLayer, c.siren, 7, [2, 4]);
    stroke(kUnknownLayer, c.unknown, 2.5, [2, 3]);
    stroke(kUnverifiedLayer, c.position, 1.5, [5, 4]);
    ctx.lineCap = "round";
    // Of several vehicles each but the first has a dark edge, wider from one to the next.
    const edge = path.recording.index;
    if (edge > 0) c.speed_ramp.forEach((_, i) => stroke(i, c.text, 3 + 2 * Math.min(3, edge)));
    c.speed_ramp.forEach((colour, i) => stroke(i, colour, 3));
    ctx.setLineDash([]);
    this.drawDoubtful(ctx, doubtful);
    ctx.restore();
  }

  private drawDoubtful(ctx: CanvasRenderingContext2D, points: [number, number, boolean][]): void {
    const c = colours();
    ctx.lineWidth = 1.5;
    let last: [number, number] = [-99, -99];
    for (const [px, py, crc] of points) {
      if (Math.abs(px - last[0]) < 5 && Math.abs(py - last[1]) < 5) continue;
      last = [px, py];
      ctx.strokeStyle = crc ? c.crc : c.position;
      if (crc) drawCross(ctx, px, py, 3.5);
      else {
        ctx.fillStyle = c.background;
        ctx.beginPath();
        ctx.arc(px, py, 3, 0, 7);
        ctx.fill();
        ctx.stroke();
      }
    }
  }

  // Of the positions that can be relied on. Where the recording goes on without one, that place is
  // not where it ends: it was there last.
  private drawEnds(ctx: CanvasRenderingContext2D, path: Path): void {
    const { track, axis } = path.recording;
    const first = track.flags.findIndex(isSure);
    if (first < 0) return;
    let last = track.flags.length - 1;
    while (!isSure(track.flags[last]!)) last--;
    const c = colours();
    const name = this.paths.length > 1 ? `${path.recording.header.name} ` : "";
    const start = { px: this.px(path.x[first]!), py: this.py(path.y[first]!) };
    const end = { px: this.px(path.x[last]!), py: this.py(path.y[last]!) };
    ctx.strokeStyle = c.text;
    ctx.fillStyle = c.background;
    ctx.lineWidth = 2;
    ctx.beginPath();
    ctx.arc(start.px, start.py, 5, 0, 7);
    ctx.fill();
    ctx.stroke();
    ctx.fillStyle = c.text;
    ctx.fillRect(end.px - 5, end.py - 5, 10, 10);
    const begins = track.x[first]! - axis.from! <= kGoesOn;
    const ends = axis.to! - track.x[last]! <= kGoesOn;
    const near = Math.abs(start.px - end.px) < 60 && Math.abs(start.py - end.py) < 16;
    if (near && begins && ends) {
      this.label(ctx, `${name}start and end`, start.px, start.py);
      return;
    }
    this.label(ctx, name + (begins ? "start" : `first known, ${this.timeAt(path.recording, track.x[first]!)}`), start.px, start.py);
    this.label(ctx, name + (ends ? "end" : `last known, ${this.timeAt(path.recording, track.x[last]!)}`), end.px, end.py);
  }

  private timeAt(recording: Recording, x: number): string {
    const shown = recording.axis.clockAt(x);
    return shown ? this.clock.time(shown.us) : `tick ${recording.axis.tickAt(x)}`;
  }

  // Beside its place, on the side where there is room, or as near above or below as no other is.
  private label(ctx: CanvasRenderingContext2D, text: string, px: number, py: number): void {
    const c = colours();
    ctx.font = "600 12px system-ui, sans-serif";
    ctx.textBaseline = "middle";
    ctx.textAlign = "left";
    const width = ctx.measureText(text).width;
    const right = px + 10 + width > this.width - 4;
    const sides = right ? [px - 10 - width, px + 10] : [px + 10, px - 10 - width];
    const rows = [0, -1, 1, -2, 2, -3, 3].map((row) => py + row * kLabelHeight);
    const places = rows.flatMap((top) => sides.map((left) => ({ left: Math.max(4, Math.min(left, this.width - 4 - width)), top, width })));
    const isFree = (place: Label) =>
      this.labels.every(
        (other) =>
          place.left >= other.left + other.width + 4 ||
          other.left >= place.left + place.width + 4 ||
          Math.abs(place.top - other.top) >= kLabelHeight,
      );
    const place = places.find(isFree) ?? places[0]!;
    this.labels.push(place);
    ctx.lineWidth = 4;
    ctx.lineJoin = "round";
    ctx.strokeStyle = c.panel;
    ctx.strokeText(text, place.left, place.top);
    ctx.fillStyle = c.text;
    ctx.fillText(text, place.left, place.top);
  }

  private drawScale(ctx: CanvasRenderingContext2D): void {
    const c = colours();
    const metres = this.roundLength();
    const width = metres / this.metres;
    const left = 12;
    const bottom = this.height - 12;
    const text = metres >= 1000 ? `${metres / 1000} km` : `${metres} m`;
    ctx.fillStyle = c.panel;
    ctx.globalAlpha = 0.85;
    ctx.fillRect(left - 6, bottom - 24, width + 12, 30);
    ctx.globalAlpha = 1;
    ctx.strokeStyle = c.text;
    ctx.lineWidth = 1.5;
    ctx.beginPath();
    ctx.moveTo(left, bottom - 6);
    ctx.lineTo(left, bottom);
    ctx.lineTo(left + width, bottom);
    ctx.lineTo(left + width, bottom - 6);
    ctx.stroke();
    ctx.fillStyle = c.text;
    ctx.font = "12px system-ui, sans-serif";
    ctx.textAlign = "center";
    ctx.textBaseline = "alphabetic";
    ctx.fillText(text, left + width / 2, bottom - 7);
  }

  private drawNorth(ctx: CanvasRenderingContext2D): void {
    const c = colours();
    const x = 20;
    ctx.fillStyle = c.text;
    ctx.beginPath();
    ctx.moveTo(x, 10);
    ctx.lineTo(x + 6, 28);
    ctx.lineTo(x, 24);
    ctx.lineTo(x - 6, 28);
    ctx.fill();
    ctx.font = "600 12px system-ui, sans-serif";
    ctx.textAlign = "center";
    ctx.textBaseline = "top";
    ctx.fillText("N", x, 31);
  }

  private drawSwatches(): void {
    const c = colours();
    this.element.querySelectorAll<HTMLCanvasElement>("canvas.map-swatch").forEach((canvas) => {
      canvas.width = 40;
      canvas.height = 24;
      const ctx = canvas.getContext("2d")!;
      ctx.setTransform(2, 0, 0, 2, 0, 0);
      const kind = canvas.dataset["kind"]!;
      const line = (colour: string, width: number, dash: number[] = []) => {
        ctx.strokeStyle = colour;
        ctx.lineWidth = width;
        ctx.setLineDash(dash);
        ctx.beginPath();
        ctx.moveTo(1, 6);
        ctx.lineTo(19, 6);
        ctx.stroke();
      };
      if (kind === "lights") {
        ctx.globalAlpha = 0.38;
        line(c.lights, 11);
        ctx.globalAlpha = 1;
      } else if (kind === "siren") line(c.siren, 7, [2, 4]);
      else if (kind === "nospeed") line(c.unknown, 2.5, [2, 3]);
      else if (kind === "unverified") {
        line(c.position, 1.5, [4, 3]);
        ctx.setLineDash([]);
        ctx.fillStyle = c.background;
        ctx.beginPath();
        ctx.arc(10, 6, 3, 0, 7);
        ctx.fill();
        ctx.stroke();
      }
      else if (kind.startsWith("edge")) {
        line(c.text, 3 + 2 * Math.min(3, Number(kind.slice(4))));
        line(c.speed_ramp[2]!, 3);
      } else line(c.speed_ramp[Number(kind.slice(4))]!, 4);
      if (kind === "lights" || kind === "siren") line(c.text, 1.5);
    });
  }

  // In words and as a mark: the last position told in this piece of the recording; hollow once it is older than two seconds.
  drawCursor(): void {
    const ctx = this.width > 0 ? prepare(this.overlay, this.width, this.height) : null;
    const x = this.view.moment;
    const several = this.model.recordings.length > 1;
    const texts: (string | Node)[] = [];
    for (const path of this.model.recordings.map((recording) => this.paths.find((p) => p.recording === recording) ?? null)) {
      if (!path) continue;
      const { recording } = path;
      const i = countUpTo(recording.track.x, x) - 1;
      const segment = recording.axis.segmentAt(x);
      let text = "unknown";
      if (segment && i >= 0 && recording.track.x[i]! >= segment.from) {
        const age = (x - recording.track.x[i]!) / 2;
        text = positionText(recording.track.latitude[i]!, recording.track.longitude[i]!);
        if (age > 2) text += `, told ${age} s before`;
        if (recording.track.flags[i]! & kUnverified) text += ", unverified";
        if (recording.track.flags[i]! & kTrackWrongCrc) text += ", wrong CRC";
        if (ctx) this.drawPlace(ctx, this.px(path.x[i]!), this.py(path.y[i]!), age > 2);
      }
      if (texts.length) texts.push("; ");
      if (several) texts.push(recorded(recording.header.name), " ");
      texts.push(text);
    }
    if (several) this.place.replaceChildren(...texts);
    else setText(this.place, typeof texts[0] === "string" ? texts[0] : "unknown");
  }

  private drawPlace(ctx: CanvasRenderingContext2D, px: number, py: number, old: boolean): void {
    const c = colours();
    ctx.lineWidth = 3;
    ctx.strokeStyle = c.background;
    ctx.fillStyle = old ? c.background : c.accent;
    ctx.beginPath();
    ctx.arc(px, py, 7, 0, 7);
    ctx.fill();
    ctx.stroke();
    ctx.lineWidth = 2;
    ctx.strokeStyle = c.text;
    ctx.beginPath();
    ctx.arc(px, py, 8.5, 0, 7);
    ctx.stroke();
  }

  private nearest(px: number, py: number): number | null {
    let best = 24 * 24;
    let found: number | null = null;
    for (const path of this.paths) {
      for (let i = 0; i < path.x.length; i++) {
        const dx = this.px(path.x[i]!) - px;
        const dy = this.py(path.y[i]!) - py;
        const far = dx * dx + dy * dy;
        if (far < best) {
          best = far;
          found = path.recording.track.x[i]!;
        }
      }
    }
    return found;
  }

  private listen(): void {
    const s = this.surface;
    const pointers = new Map<number, { x: number; y: number }>();
    let moved = 0;
    const at = (e: { clientX: number; clientY: number }) => {
      const box = s.getBoundingClientRect();
      return { x: e.clientX - box.left, y: e.clientY - box.top };
    };
    s.addEventListener(
      "wheel",
      (e) => {
        e.preventDefault();
        const { x, y } = at(e);
        this.zoom(Math.exp(Math.sign(e.deltaY) * 0.2), x, y);
      },
      { passive: false },
    );
    s.addEventListener("pointerdown", (e) => {
      if (e.button !== 0) return;
      s.setPointerCapture(e.pointerId);
      pointers.set(e.pointerId, at(e));
      moved = 0;
    });
    s.addEventListener("pointermove", (e) => {
      const before = pointers.get(e.pointerId);
      if (!before) return;
      const now = at(e);
      moved += Math.abs(now.x - before.x) + Math.abs(now.y - before.y);
      if (pointers.size === 2) {
        const other = [...pointers].find(([id]) => id !== e.pointerId)![1];
        const was = Math.hypot(before.x - other.x, before.y - other.y);
        const is = Math.hypot(now.x - other.x, now.y - other.y);
        if (was > 0 && is > 0) this.zoom(was / is, (now.x + other.x) / 2, (now.y + other.y) / 2);
      } else if (moved > 4) this.pan(now.x - before.x, now.y - before.y);
      pointers.set(e.pointerId, now);
    });
    const end = (e: PointerEvent) => {
      if (!pointers.delete(e.pointerId) || e.type === "pointercancel" || moved > 4) return;
      const { x, y } = at(e);
      const found = this.nearest(x, y);
      if (found !== null) this.view.choose(found);
    };
    s.addEventListener("pointerup", end);
    s.addEventListener("pointercancel", end);
    s.addEventListener("keydown", (e) => {
      const moves: Record<string, () => void> = {
        ArrowLeft: () => this.pan(40, 0),
        ArrowRight: () => this.pan(-40, 0),
        ArrowUp: () => this.pan(0, 40),
        ArrowDown: () => this.pan(0, -40),
        "+": () => this.zoom(0.6),
        "=": () => this.zoom(0.6),
        "-": () => this.zoom(1 / 0.6),
        "0": () => this.fit(),
      };
      const move = moves[e.key];
      if (!move || e.ctrlKey || e.metaKey || e.altKey) return;
      e.preventDefault();
      move();
    });
  }
}
