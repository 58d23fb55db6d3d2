// The whole recording as one strip, with the part shown below it as a window that can be moved.

import type { Clock } from "./clock";
import { make } from "./dom";
import { drawHoles, frameOf, timeMarks, toPx, toX, type Frame } from "./frame";
import { eachPiece, type Lane, type Model } from "./model";
import { colours, prepare } from "./theme";
import { View } from "./view";

const kHeight = 34;
const kAxisHeight = 16;

type Grip = "from" | "to" | "window";

export class Overview {
  readonly row: HTMLElement;
  private readonly canvas = make("canvas", { "aria-hidden": "true" });
  private readonly window = make("div", { class: "window" });
  private readonly grips: Record<"from" | "to", HTMLElement>;
  private readonly area: HTMLElement;
  private readonly whole: View;
  private frame: Frame = frameOf(600);

  constructor(
    private readonly model: Model,
    private readonly view: View,
    private readonly clock: Clock,
    private readonly momentText: (x: number) => string,
    private readonly timed: boolean, // has the times itself: no plot below it is on the first screen
  ) {
    this.whole = new View(view.first, view.last);
    const grip = (which: "from" | "to", label: string) => {
      const element = make("div", { class: `grip ${which}`, role: "slider", tabindex: "0", "aria-label": label });
      element.addEventListener("keydown", (e) => this.key(e, which));
      return element;
    };
    this.grips = { from: grip("from", "Begin of the part shown"), to: grip("to", "End of the part shown") };
    this.area = make("div", { class: "area" }, this.canvas, this.window, this.grips.from, this.grips.to);
    this.row = make(
      "div",
      { class: timed ? "row overview timed" : "row overview" },
      make("div", { class: "side" }, make("h3", {}, "Whole recording"), make("p", { class: "hint" }, "drag to choose a part")),
      this.area,
    );
    this.listen();
  }

  resize(frame: Frame): void {
    this.frame = frame;
  }

  // All of it is always there: drawn again only for another size or other colours.
  draw(): void {
    const all = this.timed ? kHeight + kAxisHeight : kHeight;
    const ctx = prepare(this.canvas, this.frame.width, all);
    this.canvas.style.width = `${this.frame.width}px`;
    this.canvas.style.height = `${all}px`;
    const c = colours();
    ctx.fillStyle = c.panel;
    ctx.fillRect(this.frame.left, 0, this.frame.plot, kHeight);
    const rows = this.model.recordings.length;
    const height = kHeight / rows;
    this.model.recordings.forEach((recording, i) => {
      const top = i * height;
      drawHoles(ctx, recording.axis, this.whole, this.frame, top, height);
      this.drawSpeed(ctx, i, top, height);
      for (const lane of recording.lanes) if (lane.header.role) this.drawSignal(ctx, lane, top, height);
    });
    if (this.timed) this.drawTimes(ctx);
    this.placeWindow();
  }

  private drawTimes(ctx: CanvasRenderingContext2D): void {
    ctx.fillStyle = colours().muted;
    ctx.font = "11px system-ui, sans-serif";
    ctx.textAlign = "center";
    ctx.textBaseline = "top";
    for (const mark of timeMarks(this.model.header, this.clock, this.whole, this.frame.plot)) {
      const most = this.frame.width - ctx.measureText(mark.label).width / 2;
      ctx.fillText(mark.label, Math.min(most, toPx(this.frame, this.whole, mark.x)), kHeight + 4);
    }
  }

  private drawSpeed(ctx: CanvasRenderingContext2D, index: number, top: number, height: number): void {
    const recording = this.model.recordings[index]!;
    const series = recording.series.find((s) => s.header.family === "speed");
    if (!series || series.most <= 0) return;
    const most = new Float64Array(Math.ceil(this.frame.plot) + 1);
    eachPiece(series.held, recording.axis, this.whole.from, this.whole.to, (from, to, entry) => {
      if (entry < 0) return;
      const value = (series.held.state[entry]! * series.header.scale) / series.most;
      const end = Math.round(toPx(this.frame, this.whole, to) - this.frame.left);
      for (let px = Math.round(toPx(this.frame, this.whole, from) - this.frame.left); px <= end; px++)
        most[px] = Math.max(most[px]!, value);
    });
    ctx.fillStyle = colours().line;
    most.forEach((value, px) => {
      const size = value * (height - 6);
      ctx.fillRect(this.frame.left + px, top + height - size, 1, size);
    });
  }

  private drawSignal(ctx: CanvasRenderingContext2D, lane: Lane, top: number, height: number): void {
    const c = colours();
    ctx.fillStyle = lane.header.role === "lights" ? c.lights : c.siren;
    const y = lane.header.role === "lights" ? top : top + 3;
    eachPiece(lane.held, lane.recording.axis, this.whole.from, this.whole.to, (from, to, entry) => {
      if (entry < 0 || !lane.active[lane.held.state[entry]!]) return;
      const left = toPx(this.frame, this.whole, from);
      ctx.fillRect(left, y, Math.max(1, toPx(this.frame, this.whole, to) - left), Math.min(3, height / 4));
    });
  }

  placeWindow(): void {
    const left = toPx(this.frame, this.whole, this.view.from);
    const right = toPx(this.frame, this.whole, this.view.to);
    this.window.style.left = `${left}px`;
    this.window.style.width = `${Math.max(2, right - left)}px`;
    for (const which of ["from", "to"] as const) {
      const grip = this.grips[which];
      const x = Math.round(this.view[which]);
      grip.style.left = `${which === "from" ? left : right}px`;
      grip.setAttribute("aria-valuemin", String(this.view.first));
      grip.setAttribute("aria-valuemax", String(this.view.last));
      grip.setAttribute("aria-valuenow", String(x));
      grip.setAttribute("aria-valuetext", this.momentText(x));
    }
  }

  private key(e: KeyboardEvent, which: "from" | "to"): void {
    const step = Math.max(1, (this.view.last - this.view.first) / 100);
    const by = e.key === "ArrowLeft" || e.key === "ArrowDown" ? -step : e.key === "ArrowRight" || e.key === "ArrowUp" ? step : 0;
    if (by === 0) return;
    e.preventDefault();
    this.move(which, by);
  }

  private move(which: Grip, by: number): void {
    const { from, to, first, last } = this.view;
    if (which === "window") this.view.pan(by);
    else if (which === "from") this.view.show(Math.max(first, Math.min(from + by, to - 20)), to);
    else this.view.show(from, Math.min(last, Math.max(to + by, from + 20)));
  }

  private listen(): void {
    const area = this.area;
    let held: Grip | "new" | null = null;
    let begin = 0;
    let last = 0;
    const at = (e: PointerEvent) => toX(this.frame, this.whole, e.clientX - area.getBoundingClientRect().left);
    area.addEventListener("pointerdown", (e) => {
      if (e.button !== 0) return;
      area.setPointerCapture(e.pointerId);
      begin = last = at(e);
      const isAll = this.view.from <= this.view.first && this.view.to >= this.view.last;
      if (e.target === this.grips.from) held = "from";
      else if (e.target === this.grips.to) held = "to";
      else if (e.target === this.window && !isAll) held = "window";
      else held = "new";
    });
    area.addEventListener("pointermove", (e) => {
      if (!held) return;
      const x = at(e);
      if (held === "new") {
        if (Math.abs(x - begin) > (this.view.last - this.view.first) / 200) this.view.show(Math.min(begin, x), Math.max(begin, x));
      } else this.move(held, x - last);
      last = x;
    });
    const end = () => {
      held = null;
    };
    area.addEventListener("pointerup", end);
    area.addEventListener("pointercancel", end);
    area.addEventListener("dblclick", () => this.view.all());
    area.addEventListener(
      "wheel",
      (e) => {
        e.preventDefault();
        const x = toX(this.frame, this.whole, e.clientX - area.getBoundingClientRect().left);
        this.view.zoom(Math.exp(Math.sign(e.deltaY) * 0.25), Math.min(this.view.to, Math.max(this.view.from, x)));
      },
      { passive: false },
    );
  }
}
