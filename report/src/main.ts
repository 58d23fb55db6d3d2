// Puts the page together: the header at once, then the columns in slices, then the panels.

import { readAnswers, type Answers } from "./answers";
import { RecordingAxis } from "./axis";
import { Clock, type ZoneChoice } from "./clock";
import { inflate, Slices, type Header } from "./data";
import { details } from "./details";
import { button, byId, make, recorded, setText } from "./dom";
import { doubts, findings, heading } from "./heading";
import { linkFor, readLink } from "./link";
import { TrackMap } from "./map";
import { extent, opening, readModel, type Model } from "./model";
import { Moments } from "./moments";
import { TimePanel } from "./panel";
import { EventTable } from "./table";
import { isPrinting, kPrintWidth, onThemeOfSystem, setPrinting, switchTheme } from "./theme";
import { Video } from "./video";
import { View } from "./view";

const kPrintMapHeight = 330; // as in the style sheet

// Some browsers refuse more than a hundred changes of the address in half a minute.
const kAddressEveryMs = 400;

class Page {
  private readonly clock: Clock;
  private readonly moments: Moments;
  private readonly view: View;
  private readonly now = make("output", { class: "now", "data-readout": "moment" });
  private readonly link = make("a", { class: "button", href: "#", title: "Copy this address to come back to this moment" }, "Link");
  private readonly problem = make("p", { class: "link-problem", role: "status", hidden: "" });
  private readonly video: Video;
  private panel: TimePanel | null = null;
  private map: TrackMap | null = null;
  private table: EventTable | null = null;
  private readonly axes: RecordingAxis[];
  private asked = new Set<string>();
  private address = ""; // as last read or written
  private writing = false;

  constructor(
    private readonly header: Header,
    private readonly answers: Answers[],
  ) {
    this.clock = new Clock(header);
    this.moments = new Moments(header, this.clock);
    this.axes = header.recordings.map((recording) => new RecordingAxis(recording));
    const { from, to } = extent(header);
    this.view = new View(from, to);
    this.video = new Video(this.view, header.video?.name ?? null, () => this.writeLink());
  }

  // All that needs no columns, in its final size: nothing moves when the panels come.
  frame(): void {
    this.texts();
    byId("toolbar").append(this.now, this.tools(), this.problem);
    byId("video").append(this.video.element);
    this.readout();
    this.readLink(); // what it says of itself stands there before anything is drawn below it
    byId("app").hidden = false;
    byId("loading").hidden = true;
  }

  private texts(): void {
    byId("heading").replaceChildren(heading(this.header, this.clock, this.answers), doubts(this.header));
    byId("findings-list").replaceChildren(findings(this.header, this.clock, (x) => this.view.choose(x)));
    const open = [...document.querySelectorAll<HTMLDetailsElement>("#details-list details")].map((d) => d.open);
    byId("details-list").replaceChildren(details(this.header));
    document.querySelectorAll<HTMLDetailsElement>("#details-list details").forEach((d, i) => (d.open = open[i] ?? false));
  }

  private tools(): HTMLElement {
    const zone = make("select", { id: "zone", "aria-label": "Time zone" });
    const choices: [ZoneChoice, string][] = [
      ["unit", this.header.zone.asked ? this.header.zone.name : "Unit's time"],
      ["utc", "UTC"],
      ["reader", "My time"],
    ];
    for (const [value, text] of choices) zone.append(make("option", { value }, text));
    zone.addEventListener("change", () => {
      this.clock.choice = zone.value as ZoneChoice;
      this.texts();
      this.redraw();
      this.table?.draw();
    });
    const { view } = this;
    return make(
      "div",
      { class: "tools" },
      button("◀", "Event before (key [)", () => this.around(-1)),
      button("▶", "Event after (key ])", () => this.around(1)),
      button("+", "Zoom in (key +)", () => view.zoom(0.5, this.inSight())),
      button("−", "Zoom out (key -)", () => view.zoom(2, this.inSight())),
      button("All", "Show the whole recording (key 0)", () => view.all()),
      button("Show in table", "Go to this moment in the table of events", () => this.table?.focus()),
      this.link,
      zone,
      button("◐", "Light or dark", () => {
        switchTheme();
        this.redraw();
      }),
      button("Print", "Print with all events", () => window.print()),
    );
  }

  private inSight(): number {
    const { cursor, from, to } = this.view;
    return cursor >= from && cursor <= to ? cursor : (from + to) / 2;
  }

  private around(direction: number): void {
    const x = this.table?.neighbour(direction);
    if (x !== null && x !== undefined) this.view.choose(x);
  }

  async show(model: Model, map: TrackMap, table: EventTable, slices: Slices): Promise<void> {
    this.map = map;
    this.table = table;
    this.view.choose(opening(model));
    this.readLink();
    this.readout();
    this.panel = new TimePanel(
      model,
      this.view,
      this.clock,
      (x) => this.moments.axisText(x),
      (direction) => this.around(direction),
    );
    byId("app").classList.remove("reading");
    byId("map").replaceChildren(map.element);
    byId("time").replaceChildren(this.panel.element);
    byId("events").replaceChildren(table.element);
    this.sizePanel();
    await slices.painted();
    this.sizeMap();
    await slices.painted();
    table.draw();
    this.view.listen((change) => this.ask(change));
    const sizes = () => `${byId("time").clientWidth} ${byId("map").clientWidth}`;
    let drawn = sizes();
    const resized = new ResizeObserver(() => {
      if (sizes() === drawn) return;
      drawn = sizes();
      this.ask("size");
    });
    resized.observe(byId("time"));
    resized.observe(byId("map"));
    onThemeOfSystem(() => this.redraw());
    window.addEventListener("hashchange", () => this.readLink());
    this.print();
    this.readout();
    this.setLink();
  }

  get events(): { view: View; clock: Clock } {
    return { view: this.view, clock: this.clock };
  }

  private readLink(): void {
    this.address = location.hash;
    const linked = readLink(this.header, this.clock, location.hash);
    setText(this.problem, linked.problem === null ? "" : `The link leads nowhere: ${linked.problem}.`);
    this.problem.hidden = linked.problem === null;
    if (linked.video !== null) this.video.setBegin(linked.video);
    if (linked.x !== null && linked.x !== this.view.cursor) this.view.choose(linked.x);
  }

  private setLink(): void {
    this.link.setAttribute("href", linkFor(this.header, this.view.cursor, this.video.begins));
  }

  private writeLink(): void {
    this.setLink();
    if (this.writing) return;
    this.writing = true;
    setTimeout(() => this.writeAddress(), kAddressEveryMs);
  }

  private writeAddress(): void {
    this.writing = false;
    const link = linkFor(this.header, this.view.cursor, this.video.begins);
    // An address that the reader has just changed is read first.
    if (location.hash === link || location.hash !== this.address) return;
    history.replaceState(null, "", link);
    this.address = link;
  }

  // Drawing is asked for and done once per frame, however many events a pointer sends.
  private ask(change: string): void {
    if (this.asked.size === 0) requestAnimationFrame(() => this.answer());
    this.asked.add(change);
  }

  private answer(): void {
    const asked = this.asked;
    this.asked = new Set();
    if (asked.has("size")) this.size();
    else if (asked.has("range")) {
      this.panel?.draw();
      this.map?.draw();
    }
    if (asked.has("cursor")) {
      this.writeLink();
      this.video.seek(this.view.cursor);
      this.table?.follow();
      this.table?.draw();
    }
    this.readout();
    document.documentElement.dataset["drawn"] = String(Number(document.documentElement.dataset["drawn"] ?? 0) + 1);
  }

  private readout(): void {
    this.panel?.readout();
    this.map?.drawCursor();
    const x = this.view.moment;
    const parts: Node[] = [];
    const several = this.header.recordings.length > 1;
    this.header.recordings.forEach((recording, i) => {
      const { name } = recording;
      const axis = this.axes[i]!;
      const text = this.moments.text(axis, x);
      const part = make("span", { class: "now-part", "data-recording": name });
      if (several) part.append(recorded(name), " ");
      part.append(make("strong", {}, text));
      const apart = this.moments.apart(recording, axis, x);
      if (apart) part.append(make("span", { class: "tick" }, `, ${apart}`));
      const tick = axis.tickAt(x);
      if (tick !== null && !text.includes("tick")) part.append(make("span", { class: "tick" }, ` tick ${tick}`));
      parts.push(part);
    });
    this.now.replaceChildren(...parts);
  }

  private size(): void {
    this.sizePanel();
    this.sizeMap();
  }

  private sizePanel(): void {
    this.panel?.resize();
  }

  private sizeMap(): void {
    if (isPrinting()) {
      this.map?.resize(kPrintWidth, kPrintMapHeight);
      return;
    }
    const map = byId("map").querySelector<HTMLElement>(".map-frame");
    if (map && map.clientWidth > 0) this.map?.resize(map.clientWidth, map.clientHeight);
  }

  private redraw(): void {
    this.panel?.drawAll();
    this.map?.draw();
    this.readout();
  }

  private print(): void {
    window.addEventListener("beforeprint", () => {
      setPrinting(true);
      document.documentElement.classList.add("printing");
      document.querySelectorAll<HTMLDetailsElement>("#details-list details").forEach((d) => (d.open = true));
      this.table?.beginPrint();
      this.size();
      this.panel?.beginPrint();
    });
    window.addEventListener("afterprint", () => {
      setPrinting(false);
      document.documentElement.classList.remove("printing");
      this.table?.endPrint();
      this.panel?.endPrint();
      this.size();
    });
  }
}

async function run(): Promise<void> {
  byId("loading").hidden = false;
  const slices = new Slices();
  const text = byId("vmr-data").textContent ?? "";
  const inflated = await inflate(text, slices);
  const page = new Page(inflated.header, await readAnswers(inflated, slices));
  page.frame();
  await slices.pause();
  const model = await readModel(inflated, slices);
  const { view, clock } = page.events;
  const map = new TrackMap(model, view, clock);
  await map.read(slices);
  const table = new EventTable(model, view, clock);
  await table.read(slices);
  await slices.pause();
  await page.show(model, map, table, slices);
  document.documentElement.dataset["ready"] = "yes";
}

run().catch((error: unknown) => {
  const loading = byId("loading");
  loading.hidden = false;
  loading.classList.add("failed");
  setText(loading, `This page cannot be shown: ${error instanceof Error ? error.message : String(error)}`);
});
