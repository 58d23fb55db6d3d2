// The events of all recordings. Of some ten thousand rows only those in sight are elements; for
// printing all of them are.

import { countUpTo } from "./axis";
import type { Clock } from "./clock";
import { kEstimated, kNoTick, kRepeats, kWrongCrc, Slices } from "./data";
import { make, recorded, setText } from "./dom";
import type { Model } from "./model";
import type { View } from "./view";

const kRow = 26;
const kSpare = 8; // rows above and below those in sight
// Browsers stop at some ten million pixels: beyond this height the scroll bar stands for more.
const kMostHeight = 8_000_000;

// As in the rows: a phone has no room for them.
const kHeadClasses: Record<string, string> = { Tick: "tick", Kind: "kind-name" };

interface KindFilter {
  name: string;
  count: number;
  on: boolean;
  button: HTMLButtonElement;
}

export class EventTable {
  readonly element: HTMLElement;
  private readonly scroller: HTMLElement;
  private readonly spacer = make("div", { class: "spacer", role: "presentation" });
  private readonly pool = make("div", { class: "rows", role: "rowgroup" });
  private readonly count = make("span", { class: "count", role: "status" });
  private readonly search: HTMLInputElement;
  private readonly printed = make("div", { class: "printed" });
  private readonly kinds: KindFilter[] = [];
  private readonly several: boolean;
  // Of every event in order of time: its recording and its place there.
  private owner = new Uint8Array(0);
  private place = new Uint32Array(0);
  private xs = new Float64Array(0);
  private kindOf: number[][] = []; // per recording: its kinds as indexes of `kinds`
  private matches: Uint8Array[] = []; // per recording and text: 1 if the filter lets it through
  private shown = new Uint32Array(0);
  private shownX = new Float64Array(0);
  private active = 0;

  constructor(
    private readonly model: Model,
    private readonly view: View,
    private readonly clock: Clock,
  ) {
    this.several = model.recordings.length > 1;
    this.search = make("input", {
      type: "search",
      id: "event-search",
      placeholder: "for example: siren",
      autocomplete: "off",
      spellcheck: "false",
    });
    const offsets = clock.changesOffset ? " offsets" : "";
    const head = make("div", { class: "events-head", role: "row" });
    for (const text of this.columns()) head.append(make("div", { role: "columnheader", class: kHeadClasses[text] ?? "" }, text));
    this.scroller = make(
      "div",
      {
        class: (this.several ? "events-grid several" : "events-grid") + offsets,
        role: "grid",
        tabindex: "0",
        "aria-label": "Events. Up and down choose one, Enter shows its moment.",
      },
      make("div", { class: "head-group", role: "rowgroup" }, head),
      this.pool,
      this.spacer,
    );
    this.element = make("div", { class: "events" });
  }

  private columns(time = "Time"): string[] {
    return this.several ? [time, "Recording", "Tick", "Kind", "What"] : [time, "Tick", "Kind", "What"];
  }

  async read(slices: Slices): Promise<void> {
    await this.merge(slices);
    this.readKinds();
    this.element.append(this.filters(), this.scroller, this.printed);
    this.listen();
    this.filter();
  }

  // Each recording's events are in order already; equal moments keep the order of the recordings.
  private async merge(slices: Slices): Promise<void> {
    const all = this.model.recordings.map((r) => r.events);
    const total = all.reduce((sum, e) => sum + e.x.length, 0);
    this.owner = new Uint8Array(total);
    this.place = new Uint32Array(total);
    this.xs = new Float64Array(total);
    const next = all.map(() => 0);
    for (let i = 0; i < total; i++) {
      let best = -1;
      for (let r = 0; r < all.length; r++) {
        if (next[r]! >= all[r]!.x.length) continue;
        if (best < 0 || all[r]!.x[next[r]!]! < all[best]!.x[next[best]!]!) best = r;
      }
      this.owner[i] = best;
      this.place[i] = next[best]!;
      this.xs[i] = all[best]!.x[next[best]!]!;
      next[best]!++;
      if (i % 8192 === 0 && slices.due()) await slices.pause();
    }
  }

  private readKinds(): void {
    const known = new Map<string, number>();
    for (const recording of this.model.recordings) {
      const { kinds } = recording.header.events;
      const counts = new Array<number>(kinds.length).fill(0);
      for (const kind of recording.events.kind) counts[kind]!++;
      this.kindOf.push(
        kinds.map((name, i) => {
          let at = known.get(name);
          if (at === undefined) {
            at = this.kinds.length;
            known.set(name, at);
            this.kinds.push({ name, count: 0, on: false, button: make("button", { type: "button", class: "kind" }) });
          }
          this.kinds[at]!.count += counts[i]!;
          return at;
        }),
      );
      this.matches.push(new Uint8Array(recording.header.events.texts.length).fill(1));
    }
  }

  private filters(): HTMLElement {
    const kinds = make("div", { class: "kinds", role: "group", "aria-label": "Kinds of events shown" });
    for (const kind of this.kinds) {
      if (kind.count === 0) continue;
      kind.button.append(recorded(kind.name.replace(/_/g, " ")), make("span", { class: "number" }, ` ${kind.count}`));
      kind.button.setAttribute("aria-pressed", "false");
      kind.button.addEventListener("click", () => {
        kind.on = !kind.on;
        kind.button.setAttribute("aria-pressed", String(kind.on));
        this.filter();
      });
      kinds.append(kind.button);
    }
    const label = make("label", { for: "event-search" }, "Text ");
    return make("div", { class: "filters" }, make("div", { class: "search" }, label, this.search, this.count), kinds);
  }

  private filter(): void {
    const words = this.search.value.trim().toLowerCase();
    this.model.recordings.forEach((recording, r) => {
      const matches = this.matches[r]!;
      recording.header.events.texts.forEach((text, i) => {
        matches[i] = words === "" || text.toLowerCase().includes(words) ? 1 : 0;
      });
    });
    const any = this.kinds.some((k) => k.on);
    const shown: number[] = [];
    for (let i = 0; i < this.place.length; i++) {
      const r = this.owner[i]!;
      const events = this.model.recordings[r]!.events;
      const at = this.place[i]!;
      if (!this.matches[r]![events.text[at]!]) continue;
      if (any && !this.kinds[this.kindOf[r]![events.kind[at]!]!]!.on) continue;
      shown.push(i);
    }
    this.shown = Uint32Array.from(shown);
    this.shownX = Float64Array.from(shown, (i) => this.xs[i]!);
    this.active = Math.max(0, Math.min(this.active, shown.length - 1));
    setText(this.count, `${shown.length} of ${this.place.length} events`);
    this.scroller.setAttribute("aria-rowcount", String(shown.length + 1));
    this.spacer.style.height = `${Math.min(kMostHeight, shown.length * kRow)}px`;
    this.follow();
    this.draw();
  }

  private get room(): number {
    return Math.max(kRow, this.scroller.clientHeight - kRow);
  }

  // The first row in sight, when one pixel of the scroll bar may stand for several rows.
  private firstRow(): number {
    const all = this.shown.length * kRow;
    if (all <= kMostHeight) return this.scroller.scrollTop / kRow;
    const share = this.scroller.scrollTop / Math.max(1, kMostHeight - this.room);
    return (share * (all - this.room)) / kRow;
  }

  private scrollToRow(row: number): void {
    const first = this.firstRow();
    const rows = this.room / kRow;
    if (row >= first && row + 1 <= first + rows) return;
    const wanted = Math.max(0, row - Math.floor(rows / 3)) * kRow;
    const all = this.shown.length * kRow;
    this.scroller.scrollTop =
      all <= kMostHeight ? wanted : (wanted / (all - this.room)) * (kMostHeight - this.room);
  }

  draw(): void {
    const top = this.firstRow();
    const rows = Math.ceil(this.room / kRow);
    const from = Math.max(0, Math.floor(top) - kSpare);
    const to = Math.min(this.shown.length, Math.ceil(top) + rows + kSpare);
    const lines: HTMLElement[] = [];
    for (let row = from; row < to; row++) lines.push(this.line(row));
    this.pool.replaceChildren(...lines);
    const shift = this.scroller.scrollTop - (top - from) * kRow;
    this.pool.style.transform = `translateY(${shift}px)`;
    const active = document.getElementById(`event-${this.active}`);
    if (active) this.scroller.setAttribute("aria-activedescendant", active.id);
    else this.scroller.removeAttribute("aria-activedescendant");
  }

  private line(row: number): HTMLElement {
    const line = make("div", {
      class: "event",
      role: "row",
      id: `event-${row}`,
      "aria-rowindex": String(row + 2),
      "aria-selected": String(row === this.active),
      "data-row": String(row),
    });
    const cells = this.cells(this.shown[row]!);
    for (const cell of cells) {
      cell.setAttribute("role", "gridcell");
      line.append(cell);
    }
    return line;
  }

  private cells(i: number): HTMLElement[] {
    const recording = this.model.recordings[this.owner[i]!]!;
    const { events, header, axis } = recording;
    const at = this.place[i]!;
    const flags = events.flags[at]!;
    const x = events.x[at]!;
    const tick = events.tick[at]!;
    const shown = axis.clockAt(x);
    const time = make("div", { class: "when" });
    if (shown && !(flags & kNoTick)) {
      if (flags & kEstimated || shown.estimated) time.append("about ");
      time.append(make("span", { class: "day" }, `${this.clock.date(shown.us)} `), this.clock.time(shown.us));
      if (this.clock.changesOffset) time.append(` ${this.clock.offset(shown.us)}`);
    } else time.append(flags & kNoTick ? "no time of its own" : "unknown");
    const what = make("div", { class: "what" }, recorded(header.events.texts[events.text[at]!] ?? ""));
    if (flags & kWrongCrc) what.append(make("span", { class: "badge crc" }, "wrong CRC"));
    if (flags & kRepeats) what.append(make("span", { class: "badge" }, "repeated"));
    const kind = make("div", { class: "kind-name" });
    kind.append(recorded((header.events.kinds[events.kind[at]!] ?? "").replace(/_/g, " ")));
    const cells = [time];
    if (this.several) cells.push(make("div", { class: "owner" }, recorded(header.name)));
    cells.push(make("div", { class: "tick" }, tick < 0 ? "–" : String(tick)), kind, what);
    return cells;
  }

  // The last event at or before the moment becomes the active one.
  follow(): void {
    if (this.shown.length === 0) return;
    if (this.xs[this.shown[this.active]!] !== this.view.cursor)
      this.active = Math.max(0, countUpTo(this.shownX, this.view.cursor) - 1);
    this.scrollToRow(this.active);
  }

  // The moment of the event before or after the cursor, among those that the filters let through.
  neighbour(direction: number): number | null {
    const i = direction > 0 ? countUpTo(this.shownX, this.view.cursor) : countUpTo(this.shownX, this.view.cursor - 1) - 1;
    return this.shownX[i] ?? null;
  }

  focus(): void {
    this.follow();
    this.draw();
    this.scroller.focus();
  }

  private choose(row: number): void {
    if (row < 0 || row >= this.shown.length) return;
    this.active = row;
    this.scrollToRow(row);
    this.draw();
  }

  private jump(): void {
    const x = this.shownX[this.active];
    if (x === undefined) return;
    this.view.choose(x);
    if (this.view.cursor < this.view.from || this.view.cursor > this.view.to) this.view.centre(x);
  }

  private listen(): void {
    this.search.addEventListener("input", () => this.filter());
    let asked = false;
    this.scroller.addEventListener("scroll", () => {
      if (asked) return;
      asked = true;
      requestAnimationFrame(() => {
        asked = false;
        this.draw();
      });
    });
    this.pool.addEventListener("click", (e) => {
      const row = (e.target as Element).closest<HTMLElement>(".event");
      if (!row) return;
      this.choose(Number(row.dataset["row"]));
      this.jump();
    });
    this.scroller.addEventListener("keydown", (e) => {
      const page = Math.max(1, Math.floor(this.room / kRow) - 1);
      const moves: Record<string, number> = { ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page };
      const last = this.shown.length - 1;
      const by = moves[e.key];
      if (by !== undefined) this.choose(Math.max(0, Math.min(last, this.active + by)));
      else if (e.key === "Home") this.choose(0);
      else if (e.key === "End") this.choose(last);
      else if (e.key === "Enter" || e.key === " ") this.jump();
      else return;
      e.preventDefault();
    });
  }

  // Where one offset is that of all times the heading says it, else each of them does.
  private timeHeading(): string {
    const first = this.model.header.recordings.flatMap((r) => r.stretches).find((s) => s.us !== null);
    return first && !this.clock.changesOffset ? `Time, ${this.clock.offset(first.us!)}` : "Time";
  }

  // Paper has no scroll bar and no filter: it gets every event.
  beginPrint(): void {
    const head = make("tr");
    for (const text of this.columns(this.timeHeading())) head.append(make("th", { scope: "col" }, text));
    const body = make("tbody");
    for (let i = 0; i < this.place.length; i++) {
      const line = make("tr");
      for (const cell of this.cells(i)) {
        const td = make("td", { class: cell.className });
        td.append(...cell.childNodes);
        line.append(td);
      }
      body.append(line);
    }
    this.printed.replaceChildren(make("table", {}, make("thead", {}, head), body));
  }

  endPrint(): void {
    this.printed.replaceChildren();
  }
}
