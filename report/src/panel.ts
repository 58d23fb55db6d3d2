// The time panels one below the other, with one cursor through all of them.

import type { Clock } from "./clock";
import { make } from "./dom";
import { frameOf, toPx, toX, type Frame } from "./frame";
import { onKeys, onPointers } from "./gestures";
import { Lanes } from "./lanes";
import type { Model } from "./model";
import { Overview } from "./overview";
import { groups, Plot } from "./plots";
import { isPrinting, kPrintWidth } from "./theme";
import type { View } from "./view";

const kPlotHeight = 150;
const kLowPlotHeight = 96;
const kPrintSide = 250; // as in the style sheet

export class TimePanel {
  readonly element: HTMLElement;
  private readonly surface: HTMLElement;
  private readonly hairline = make("div", { class: "hairline" });
  private readonly chosen = make("div", { class: "hairline chosen" });
  private readonly brush = make("div", { class: "brush" });
  private readonly overview: Overview;
  private readonly plots: Plot[];
  private readonly lanes: Lanes;
  private frame: Frame = frameOf(600);

  constructor(
    model: Model,
    private readonly view: View,
    clock: Clock,
    private readonly momentText: (x: number) => string,
    around: (direction: number) => void,
  ) {
    const all = groups(model);
    this.overview = new Overview(model, view, clock, momentText, !all.some((g) => g.title === "Speed"));
    const build = (title: boolean) =>
      all
        .filter((g) => (g.title === "Speed") === title)
        .map((g) => {
          const room = 30 + g.series.length * 18;
          const low = !title || model.recordings.length > 1 || g.series[0]!.header.family === "radar";
          return new Plot(model, g, view, clock, Math.max(low ? kLowPlotHeight : kPlotHeight, room));
        });
    const speeds = build(true);
    const others = build(false);
    this.plots = [...speeds, ...others];
    this.lanes = new Lanes(model, view, clock);
    this.surface = make(
      "div",
      {
        class: "surface",
        role: "slider",
        tabindex: "0",
        "aria-label": "Moment",
        "aria-describedby": "time-keys",
      },
      this.brush,
      this.chosen,
      this.hairline,
    );
    const body = make(
      "div",
      { class: "time-body" },
      ...speeds.map((p) => p.row),
      this.lanes.element,
      ...others.map((p) => p.row),
      this.surface,
    );
    this.element = make("div", { class: "time" }, this.overview.row, body);
    this.brush.hidden = true;
    onPointers(this.surface, view, {
      toX: (clientX) => toX(this.frame, view, clientX - this.surface.getBoundingClientRect().left),
      preview: (from, to) => this.preview(from, to),
    });
    onKeys(this.surface, view, around);
  }

  resize(): void {
    const area = this.overview.row.querySelector<HTMLElement>(".area")!;
    const width = isPrinting() ? kPrintWidth - kPrintSide : area.clientWidth;
    if (width === 0) return;
    this.frame = frameOf(width);
    this.overview.resize(this.frame);
    for (const plot of this.plots) plot.resize(this.frame);
    this.overview.draw();
    this.draw();
  }

  beginPrint(): void {
    this.lanes.beginPrint();
  }

  endPrint(): void {
    this.lanes.endPrint();
  }

  drawAll(): void {
    this.overview.draw();
    this.draw();
  }

  draw(): void {
    for (const plot of this.plots) plot.draw();
    this.lanes.draw(this.frame);
    this.overview.placeWindow();
    this.readout();
  }

  readout(): void {
    const x = this.view.moment;
    for (const plot of this.plots) plot.readout(x);
    this.lanes.readout(x);
    this.place(this.hairline, x);
    this.place(this.chosen, this.view.cursor);
    this.chosen.hidden = this.view.hover === null;
    const s = this.surface;
    s.setAttribute("aria-valuemin", String(this.view.first));
    s.setAttribute("aria-valuemax", String(this.view.last));
    s.setAttribute("aria-valuenow", String(this.view.cursor));
    s.setAttribute("aria-valuetext", this.momentText(this.view.cursor));
  }

  private place(line: HTMLElement, x: number): void {
    const outside = x < this.view.from || x > this.view.to;
    line.classList.toggle("outside", outside);
    if (!outside) line.style.transform = `translateX(${Math.round(toPx(this.frame, this.view, x))}px)`;
  }

  private preview(from: number | null, to: number | null): void {
    this.brush.hidden = from === null || to === null;
    if (from === null || to === null) return;
    const left = toPx(this.frame, this.view, Math.max(this.view.from, Math.min(from, to)));
    const right = toPx(this.frame, this.view, Math.min(this.view.to, Math.max(from, to)));
    this.brush.style.left = `${left}px`;
    this.brush.style.width = `${Math.max(0, right - left)}px`;
  }
}
