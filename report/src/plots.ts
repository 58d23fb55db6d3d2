// Values over time. uPlot keeps the axes and the scales; the lines are drawn from the full columns,
// as steps (a value holds until the next one), broken where nothing is known. Where several values
// fall on one column of pixels, the line covers them from the least to the greatest: no peak is lost.

import uPlot from "uplot";

import { countUpTo } from "./axis";
import type { Clock } from "./clock";
import { kUnknownFrom } from "./data";
import { make, recorded, setText } from "./dom";
import { drawCross, drawHoles, drawJumps, frameOf, kRight, timeMarks, toPx, type Frame } from "./frame";
import { eachPiece, entryAt, seriesText, wordAt, type Model, type Recording, type Series } from "./model";
import { colours, hatch } from "./theme";
import type { View } from "./view";

const kTop = 8;
const kRug = 4; // height of a row that says where one series is unknown

const kDashes: number[][] = [[], [6, 3], [2, 2], [8, 3, 2, 3]];

interface Group {
  recording: Recording;
  title: string;
  unit: string;
  series: Series[];
  fromZero: boolean;
}

const kFamilies: Record<string, string> = {
  speed: "Speed",
  radar: "Speed",
  temperature: "Temperature",
  voltage: "Voltage",
};

// Speeds of the vehicle and of the radar share a plot when they share a unit. Two vehicles do not:
// their lines would hide each other.
export function groups(model: Model): Group[] {
  const found = new Map<string, Group>();
  for (const recording of model.recordings) {
    for (const series of recording.series) {
      const { family, unit } = series.header;
      const title = kFamilies[family] ?? family;
      const key = `${recording.index} ${title} ${unit}`;
      const group = found.get(key) ?? { recording, title, unit, series: [], fromZero: title === "Speed" };
      group.series.push(series);
      found.set(key, group);
    }
  }
  const order = ["Speed", "Temperature", "Voltage"];
  // The vehicle's own speed before that of its radar.
  const rank = (g: Group) => (g.series[0]!.header.family === "radar" ? 0.5 : 0) + (order.indexOf(g.title) + order.length + 1) % (order.length + 1);
  return [...found.values()].sort((a, b) => rank(a) - rank(b));
}

function bounds(group: Group): [number, number] {
  let low = group.fromZero ? 0 : Infinity;
  let high = group.fromZero ? 10 : -Infinity;
  for (const series of group.series) {
    low = Math.min(low, series.least);
    high = Math.max(high, series.most);
  }
  if (low > high) return [0, 1];
  const air = Math.max((high - low) * 0.08, group.unit === "V" ? 0.2 : 1);
  return [low === 0 ? 0 : low - air, high + air];
}

export class Plot {
  readonly row: HTMLElement;
  private readonly area: HTMLElement;
  private readonly values: HTMLElement[] = [];
  private readonly bounds: [number, number];
  private plot: uPlot | null = null;
  private frame: Frame = frameOf(600);

  constructor(
    private readonly model: Model,
    private readonly group: Group,
    private readonly view: View,
    private readonly clock: Clock,
    private readonly height: number,
  ) {
    this.bounds = bounds(group);
    this.area = make("div", { class: "area" });
    const legend = make("ul", { class: "legend" });
    const several = model.recordings.length > 1;
    group.series.forEach((series, i) => {
      const value = make("span", {
        class: "value",
        "data-recording": series.recording.header.name,
        "data-series": series.header.id,
      });
      this.values.push(value);
      const swatch = make("canvas", { class: "swatch", "aria-hidden": "true", "data-swatch": String(i) });
      const name = make("span", { class: "name" });
      name.append(recorded(series.header.name));
      if (series.header.thinned) name.append(" (thinned)");
      name.title = name.textContent ?? "";
      legend.append(make("li", {}, swatch, name, value));
    });
    const radar = group.series.every((s) => s.header.family === "radar");
    const words = radar ? "Radar" : group.title;
    const title = make("h3", {}, group.unit ? `${words}, ` : words);
    if (several) title.prepend(recorded(group.recording.header.name), " · ");
    if (group.unit) title.append(recorded(group.unit));
    this.row = make("div", { class: "row plot" }, make("div", { class: "side" }, title, legend), this.area);
    this.row.style.setProperty("--plot-height", `${height}px`);
  }

  resize(frame: Frame): void {
    this.frame = frame;
    if (!this.plot) this.plot = this.create();
    else this.plot.setSize({ width: frame.width, height: this.height });
  }

  draw(): void {
    const { from, to } = this.view;
    this.plot?.setData([
      [from, to],
      [null, null],
    ]);
    this.drawSwatches();
  }

  readout(x: number): void {
    this.group.series.forEach((series, i) => {
      const entry = entryAt(series.held, series.recording.axis, x);
      const word = entry < 0 ? wordAt(series, x) : null;
      setText(this.values[i]!, word ?? seriesText(series, entry));
      this.values[i]!.classList.toggle("unknown", entry < 0 && word === null);
    });
  }

  private create(): uPlot {
    const axis = {
      stroke: () => colours().muted,
      grid: { stroke: () => colours().grid, width: 1 },
      ticks: { show: false },
      font: "11px system-ui, sans-serif",
    };
    const marks = () => timeMarks(this.model.header, this.clock, this.view, this.frame.plot);
    return new uPlot(
      {
        width: this.frame.width,
        height: this.height,
        padding: [kTop, kRight, 0, 0],
        cursor: { show: false },
        legend: { show: false },
        select: { show: false, left: 0, top: 0, width: 0, height: 0 },
        scales: {
          x: { time: false, range: () => [this.view.from, this.view.to] },
          y: { range: () => this.bounds },
        },
        series: [{}, {}],
        axes: [
          { ...axis, size: 20, gap: 4, splits: () => marks().map((m) => m.x), values: () => marks().map((m) => m.label) },
          { ...axis, size: () => this.frame.left, gap: 6, space: 28 },
        ],
        hooks: { drawSeries: [(u) => this.drawSeries(u)] },
      },
      [
        [this.view.from, this.view.to],
        [null, null],
      ],
      this.area,
    );
  }

  private drawSeries(u: uPlot): void {
    const { ctx } = u;
    const ratio = uPlot.pxRatio;
    const top = u.bbox.top / ratio;
    const height = u.bbox.height / ratio;
    const [low, high] = this.bounds;
    const toY = (value: number) => top + height - ((value - low) / (high - low)) * height;
    ctx.save();
    ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
    ctx.beginPath();
    ctx.rect(this.frame.left, 0, this.frame.plot + 1, top + height + 1);
    ctx.clip();
    drawHoles(ctx, this.group.recording.axis, this.view, this.frame, top, height);
    drawJumps(ctx, this.group.recording, this.view, this.frame, top, height);
    // The first one, the vehicle's own, lies on top.
    [...this.group.series].reverse().forEach((series, behind) => {
      const i = this.group.series.length - 1 - behind;
      this.drawSeriesLine(ctx, series, i, toY);
      this.drawUnknown(ctx, series, top + height - kRug * (this.group.series.length - i));
      this.drawWords(ctx, i, top + height - kRug * (this.group.series.length - i));
      this.drawWrong(ctx, series, toY);
    });
    ctx.restore();
  }

  private style(ctx: CanvasRenderingContext2D, i: number): void {
    const colour = colours().series;
    ctx.strokeStyle = colour[i % colour.length]!;
    ctx.lineWidth = i === 0 ? 2 : 1.5;
    ctx.setLineDash(kDashes[i % kDashes.length]!);
    ctx.lineJoin = "bevel";
  }

  private drawSeriesLine(ctx: CanvasRenderingContext2D, series: Series, index: number, toY: (value: number) => number): void {
    const { x } = series.held;
    const entries = countUpTo(x, this.view.to) - countUpTo(x, this.view.from);
    if (entries > 2 * this.frame.plot) this.drawDense(ctx, series, index, toY);
    else this.drawSteps(ctx, series, index, toY);
  }

  private drawSteps(ctx: CanvasRenderingContext2D, series: Series, index: number, toY: (value: number) => number): void {
    this.style(ctx, index);
    ctx.beginPath();
    let up = true; // the pen
    eachPiece(series.held, series.recording.axis, this.view.from, this.view.to, (from, to, entry, opens) => {
      if (entry < 0) {
        up = true;
        return;
      }
      const begin = toPx(this.frame, this.view, from);
      const y = toY(series.held.state[entry]! * series.header.scale);
      if (up || opens) ctx.moveTo(begin, y);
      else ctx.lineTo(begin, y);
      up = false;
      // What holds for one half second only is still seen.
      ctx.lineTo(Math.max(begin + 1, toPx(this.frame, this.view, to)), y);
    });
    ctx.stroke();
    ctx.setLineDash([]);
  }

  // Many values on each column of pixels: a bar from the least to the greatest, touching the one before.
  private drawDense(ctx: CanvasRenderingContext2D, series: Series, index: number, toY: (value: number) => number): void {
    const columns = Math.ceil(this.frame.plot) + 1;
    const least = new Float64Array(columns).fill(Infinity);
    const most = new Float64Array(columns).fill(-Infinity);
    eachPiece(series.held, series.recording.axis, this.view.from, this.view.to, (from, to, entry) => {
      if (entry < 0) return;
      const y = toY(series.held.state[entry]! * series.header.scale);
      const end = Math.floor(toPx(this.frame, this.view, to) - this.frame.left);
      for (let px = Math.floor(toPx(this.frame, this.view, from) - this.frame.left); px <= end; px++) {
        if (y < least[px]!) least[px] = y;
        if (y > most[px]!) most[px] = y;
      }
    });
    this.style(ctx, index);
    ctx.setLineDash([]);
    ctx.fillStyle = ctx.strokeStyle;
    for (let px = 0; px < columns; px++) {
      if (least[px]! > most[px]!) continue;
      const joins = px > 0 && least[px - 1]! <= most[px - 1]!;
      const top = joins ? Math.min(least[px]!, most[px - 1]!) : least[px]!;
      const bottom = joins ? Math.max(most[px]!, least[px - 1]!) : most[px]!;
      ctx.fillRect(this.frame.left + px, top - 0.75, 1, bottom - top + 1.5);
    }
  }

  private drawUnknown(ctx: CanvasRenderingContext2D, series: Series, top: number): void {
    ctx.fillStyle = hatch(ctx, colours().unknown, "striped");
    eachPiece(series.held, series.recording.axis, this.view.from, this.view.to, (from, to, entry) => {
      if (entry >= 0 || wordAt(series, from) !== null) return;
      const left = toPx(this.frame, this.view, from);
      ctx.fillRect(left, top, Math.max(1, toPx(this.frame, this.view, to) - left), kRug - 1);
    });
  }

  // Where the device tells a word it is no value, but neither is it unknown: a thin line, and the
  // word above it where there is room, and no word of a series above.
  private drawWords(ctx: CanvasRenderingContext2D, index: number, top: number): void {
    const series = this.group.series[index]!;
    const above = this.group.series.slice(0, index);
    ctx.fillStyle = colours().muted;
    ctx.font = "10px system-ui, sans-serif";
    ctx.textAlign = "left";
    ctx.textBaseline = "bottom";
    const { held, recording } = series;
    const { from: first, to: last } = this.view;
    eachPiece(held, recording.axis, first, last, (from, to, entry) => {
      const word = entry < 0 ? wordAt(series, from) : null;
      if (word === null) return;
      const left = toPx(this.frame, this.view, from);
      const room = toPx(this.frame, this.view, to) - left;
      ctx.fillRect(left, top + 1, Math.max(1, room), 1.5);
      const taken = above.some((other) => wordAt(other, from) !== null);
      if (!taken && ctx.measureText(word).width + 6 < room) ctx.fillText(word, left + 3, top);
    });
  }

  private drawWrong(ctx: CanvasRenderingContext2D, series: Series, toY: (value: number) => number): void {
    ctx.strokeStyle = colours().crc;
    ctx.lineWidth = 1.5;
    const { x, state, flags } = series.wrong;
    for (let i = 0; i < x.length; i++) {
      if (x[i]! < this.view.from || x[i]! > this.view.to || flags[i]! & kUnknownFrom) continue;
      drawCross(ctx, toPx(this.frame, this.view, x[i]!), toY(state[i]! * series.header.scale), 3.5);
    }
  }

  private drawSwatches(): void {
    this.row.querySelectorAll<HTMLCanvasElement>("canvas.swatch").forEach((canvas, i) => {
      const ratio = 2;
      canvas.width = 22 * ratio;
      canvas.height = 6 * ratio;
      const ctx = canvas.getContext("2d")!;
      ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
      this.style(ctx, i);
      ctx.lineWidth = 2;
      ctx.beginPath();
      ctx.moveTo(0, 3);
      ctx.lineTo(22, 3);
      ctx.stroke();
    });
  }
}
