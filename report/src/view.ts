// What the reader looks at: the part of the axis shown, the moment chosen, and the one under the pointer.

export type Change = "range" | "cursor" | "hover" | "style";

const kLeastSpan = 20; // ten seconds

export class View {
  from: number;
  to: number;
  cursor: number;
  hover: number | null = null;
  private readonly listeners: ((change: Change) => void)[] = [];

  constructor(
    readonly first: number,
    readonly last: number,
  ) {
    this.from = first;
    this.to = last;
    this.cursor = first;
  }

  // The moment that all panels show: under the pointer while there is one, else the chosen one.
  get moment(): number {
    return this.hover ?? this.cursor;
  }

  listen(listener: (change: Change) => void): void {
    this.listeners.push(listener);
  }

  tell(change: Change): void {
    for (const listener of this.listeners) listener(change);
  }

  private within(x: number): number {
    return Math.min(this.last, Math.max(this.first, Math.floor(x)));
  }

  point(x: number | null): void {
    const hover = x === null ? null : this.within(x);
    if (hover === this.hover) return;
    this.hover = hover;
    this.tell("hover");
  }

  choose(x: number): void {
    this.cursor = this.within(x);
    this.hover = null;
    if (this.cursor < this.from || this.cursor > this.to) this.centre(this.cursor);
    this.tell("cursor");
  }

  show(from: number, to: number): void {
    const all = this.last - this.first;
    const span = Math.min(all, Math.max(Math.min(kLeastSpan, all), to - from));
    const middle = (from + to) / 2;
    const begin = Math.min(this.last - span, Math.max(this.first, middle - span / 2));
    if (begin === this.from && begin + span === this.to) return;
    this.from = begin;
    this.to = begin + span;
    this.tell("range");
  }

  centre(x: number): void {
    const half = (this.to - this.from) / 2;
    this.show(x - half, x + half);
  }

  // Above 1: a longer part is shown. `x` stays where it is on the screen.
  zoom(factor: number, x: number): void {
    const span = Math.min(this.last - this.first, Math.max(kLeastSpan, (this.to - this.from) * factor));
    const share = (x - this.from) / (this.to - this.from);
    this.show(x - share * span, x + (1 - share) * span);
  }

  pan(by: number): void {
    this.show(this.from + by, this.to + by);
  }

  all(): void {
    this.show(this.first, this.last);
  }
}
