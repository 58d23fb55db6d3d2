// Times as the reader wants them: in the unit's zone, in UTC or in the reader's own.

import type { Header, Offset, RecordingHeader } from "./data";

export type ZoneChoice = "unit" | "utc" | "reader";

const two = (n: number): string => String(n).padStart(2, "0");

const kDays = ["Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"];

export function offsetText(minutes: number): string {
  const size = Math.abs(minutes);
  return `${minutes < 0 ? "-" : "+"}${two(Math.floor(size / 60))}:${two(size % 60)}`;
}

// "2 h 5 min", "41 min 59 s", "0.5 s": the two largest units that say something.
export function durationText(halves: number): string {
  const seconds = halves / 2;
  if (seconds < 60) return `${seconds} s`;
  const whole = Math.round(seconds);
  const parts: [number, string][] = [
    [Math.floor(whole / 86400), "d"],
    [Math.floor((whole % 86400) / 3600), "h"],
    [Math.floor((whole % 3600) / 60), "min"],
    [whole % 60, "s"],
  ];
  const first = parts.findIndex(([n]) => n > 0);
  return parts
    .slice(first, first + 2)
    .filter(([n]) => n > 0)
    .map(([n, unit]) => `${n} ${unit}`)
    .join(" ");
}

// The same with nothing left out, for what is to add up: "1 d 2 h 5 min 3 s", "1 min 0.5 s".
export function exactDurationText(halves: number): string {
  const minutes = Math.floor(halves / 120);
  const parts: [number, string][] = [
    [Math.floor(minutes / 1440), "d"],
    [Math.floor(minutes / 60) % 24, "h"],
    [minutes % 60, "min"],
    [(halves % 120) / 2, "s"],
  ];
  const told = parts.filter(([n]) => n > 0).map(([n, unit]) => `${n} ${unit}`);
  return told.length ? told.join(" ") : "0 s";
}

// All times are those of one zone, the first one told.
function tellsOtherZone(recording: RecordingHeader, zone: string): boolean {
  const told = recording.facts.find((fact) => fact.name === "time_zone")?.values ?? [];
  return told.length ? told.some((v) => v.text !== zone) : (recording.zone ?? "") !== zone;
}

export class Clock {
  choice: ZoneChoice = "unit";

  constructor(private readonly header: Pick<Header, "zone" | "recordings">) {}

  offsetAt(us: number): number {
    if (this.choice === "utc") return 0;
    if (this.choice === "reader") return -new Date(us / 1000).getTimezoneOffset();
    return this.unitOffset(us)?.minutes ?? 0;
  }

  private unitOffset(us: number): Offset | undefined {
    const offsets = this.header.zone.offsets;
    let found = offsets[0];
    for (const offset of offsets) if (offset.from_us !== null && offset.from_us <= us) found = offset;
    return found;
  }

  // When clocks of the zone show this, given as if it were UTC; of an hour that they show twice the first.
  usOf(local: number): number {
    const offsets = [this.offsetAt(local - 86400e6), this.offsetAt(local), this.offsetAt(local + 86400e6)];
    const fits = offsets.map((minutes) => local - minutes * 60e6).filter((us) => us + this.offsetAt(us) * 60e6 === local);
    return fits.length ? Math.min(...fits) : local - this.offsetAt(local) * 60e6;
  }

  // Shifted so that the UTC fields of the result are the local ones.
  private local(us: number): Date {
    return new Date(us / 1000 + this.offsetAt(us) * 60000);
  }

  // Whether times of the recordings shown have more than one: an hour is shown twice then, or left out.
  get changesOffset(): boolean {
    const shown = this.header.recordings.flatMap((r) =>
      r.stretches.flatMap((s) => (s.us === null || s.quality === "unknown" ? [] : [s.us, s.us + (s.to - s.x) * 500000])),
    );
    return new Set(shown.map((us) => this.offsetAt(us))).size > 1;
  }

  date(us: number): string {
    const d = this.local(us);
    return `${d.getUTCFullYear()}-${two(d.getUTCMonth() + 1)}-${two(d.getUTCDate())}`;
  }

  weekday(us: number): string {
    return kDays[this.local(us).getUTCDay()]!;
  }

  minute(us: number): string {
    const d = this.local(us);
    return `${two(d.getUTCHours())}:${two(d.getUTCMinutes())}`;
  }

  // To the second, with the tenths only where there are any.
  time(us: number): string {
    const d = this.local(us);
    const tenths = Math.floor(d.getUTCMilliseconds() / 100);
    return `${this.minute(us)}:${two(d.getUTCSeconds())}${tenths ? `.${tenths}` : ""}`;
  }

  offset(us: number): string {
    return this.choice === "utc" ? "UTC" : offsetText(this.offsetAt(us));
  }

  full(us: number): string {
    return `${this.date(us)} ${this.time(us)} ${this.offset(us)}`;
  }

  // The zone in words, for the heading.
  zoneName(): string {
    if (this.choice === "utc") return "UTC";
    if (this.choice === "reader") return `the reader's time, ${Intl.DateTimeFormat().resolvedOptions().timeZone}`;
    const { name, recorded, asked, unknown } = this.header.zone;
    if (asked) return `${name}, chosen when this page was made`;
    if (!recorded && unknown) return `${name}; the recorded zone "${unknown}" was not known where this page was made`;
    if (!recorded) return `${name}, the unit's own zone is not recorded`;
    const others = this.others().map((r) => r.name);
    const own = `the unit's time, ${name}`;
    return others.length === 0 ? own : `${own}; another zone, or none, is recorded in ${others.join(", ")}`;
  }

  private others(): RecordingHeader[] {
    return this.header.recordings.filter((r) => tellsOtherZone(r, this.header.zone.name));
  }
}
