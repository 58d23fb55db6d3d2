// Values over time. uPlot keeps the axes and the scales; the lines are drawn from the full columns,
// as steps (a value holds until the next one), broken where nothing is known. Where several values
// fall on one column of pixels, the line covers them from the least to the greatest: no peak is lost.

import uPlot from "uplot";

import type { Clock } from "./clock";
import { kUnknownFrom } from "./data";
import { make, recorded, setText } from "./dom";
import { drawCross, drawHoles, drawJumps, frameOf, kRight, timeMarks, toPx, type Frame } from "./frame";
import { eachPiece, entryAt, seriesText, type Model, type Series } from "./model";
import { colours, hatch } from "./theme";
import type { View } from "./view";

const kTop = 8;
const kRug = 4; // height of a row that says where one series is unknown

const kDashes: number[][] = [[], [6, 3], [2, 2], [8, 3, 2, 3]];

interface Group {
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

// Speeds of the vehicle and of the radar share a plot when they share a unit.
export function groups(model: Model): Group[] {
  const found = new Map<string, Group>();
  for (const recording of model.recordings) {
    for (const series of recording.series) {
      const { family, unit } = series.header;
      const title = kFamilies[family] ?? family;
      const key = `${title} ${unit}`;
      const group = found.get(key) ?? { title, unit, series: [], fromZero: title === "Speed" };
      group.series.push(series);
      found.set(key, group);
    }
  }
  const order = ["Speed", "Temperature", "Voltage"];
  const rank = (g: Group) => (order.indexOf(g.title) + order.length + 1) % (order.length + 1);
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
      if (several) name.append(recorded(series.recording.header.name), " ");
      name.append(recorded(series.header.name));
      legend.append(make("li", {}, swatch, name, value));
    });
    const title = make("h3", {}, group.unit ? `${group.title}, ` : group.title);
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
      setText(this.values[i]!, seriesText(series, entry));
      this.values[i]!.classList.toggle("unknown", entry < 0);
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
    // Two vehicles drive at different times: a hole of one of them is not a hole of the plot.
    if (this.model.recordings.length === 1)
      drawHoles(ctx, this.model.recordings[0]!.axis, this.view, this.frame, top, height);
    for (const recording of this.model.recordings) drawJumps(ctx, recording, this.view, this.frame, top, height);
    this.group.series.forEach((series, i) => {
      this.drawSteps(ctx, series, i, toY);
      this.drawUnknown(ctx, series, top + height - kRug * (this.group.series.length - i));
      this.drawWrong(ctx, series, toY);
    });
    ctx.restore();
  }

  private style(ctx: CanvasRenderingContext2D, i: number): void {
    const colour = colours().series;
    ctx.strokeStyle = colour[i % colour.length]!;
    ctx.lineWidth = i === 0 ? 2 : 1.5;
    ctx.setLineDash(kDashes[i % kDashes.length]!);
    ctx.lineJoin = "round";
  }

  private drawSteps(ctx: CanvasRenderingContext2D, series: Series, index: number, toY: (value: number) => number): void {
    this.style(ctx, index);
    ctx.beginPath();
    const scale = series.header.scale;
    let column = NaN;
    let least = 0;
    let most = 0;
    let last = NaN;
    const flush = () => {
      if (least !== most) {
        ctx.moveTo(column, least);
        ctx.lineTo(column, most);
        ctx.moveTo(column, last);
      }
      least = NaN;
    };
    eachPiece(series.held, series.recording.axis, this.view.from, this.view.to, (from, to, entry, opens) => {
      const begin = toPx(this.frame, this.view, from);
      const end = toPx(this.frame, this.view, to);
      if (opens || entry < 0) {
        if (!Number.isNaN(least)) flush();
        least = most = last = NaN;
        if (entry < 0) return;
      }
      const y = toY(series.held.state[entry]! * scale);
      const px = Math.round(begin);
      if (Number.isNaN(last)) {
        ctx.moveTo(begin, y);
        column = px;
        least = most = y;
      } else if (px === column) {
        least = Math.min(least, y);
        most = Math.max(most, y);
      } else {
        flush();
        column = px;
        least = most = y;
        ctx.lineTo(begin, last);
        ctx.lineTo(begin, y);
      }
      last = y;
      if (end - begin >= 1) ctx.lineTo(begin, y);
      if (to > from) ctx.lineTo(end, y);
    });
    if (!Number.isNaN(least)) flush();
    ctx.stroke();
    ctx.setLineDash([]);
  }

  private drawUnknown(ctx: CanvasRenderingContext2D, series: Series, top: number): void {
    ctx.fillStyle = hatch(ctx, colours().unknown, false);
    eachPiece(series.held, series.recording.axis, this.view.from, this.view.to, (from, to, entry) => {
      if (entry >= 0) return;
      const left = toPx(this.frame, this.view, from);
      ctx.fillRect(left, top, Math.max(1, toPx(this.frame, this.view, to) - left), kRug - 1);
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
