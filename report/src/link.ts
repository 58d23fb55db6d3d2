// The moment in the address of the page: "#t=2019-06-19T21:51:30.0Z", or "#t=x123" (half seconds)
// where no clock told that time; "&video=" is the moment at which the reader's video begins. Who
// writes one by hand may leave out the offset (the time is that of the zone shown), the seconds and
// their fraction, or give a tick as a plain number.

import { isDisplaced } from "./axis";
import type { Clock } from "./clock";
import type { Header } from "./data";
import { extent } from "./model";

export interface Linked {
  x: number | null;
  problem: string | null; // why the moment asked for cannot be shown
  video: number | null; // half seconds on the axis, may have a fraction
}

export function linkFor(header: Header, x: number, video: number | null): string {
  const t = header.has_time && !isDisplaced(header, x)
    ? new Date((header.axis_us + x * 500000) / 1000).toISOString().replace(/(\.\d)\d\dZ$/, "$1Z")
    : `x${x}`;
  return `#t=${t}${video === null ? "" : `&video=${(video / 2).toFixed(2)}`}`;
}

const kTime = /^(\d{4})-(\d\d)-(\d\d)[T ](\d\d):(\d\d)(?::(\d\d)(\.\d+)?)?(Z|[+-]\d\d:?\d\d)?$/i;

// µs since 1970; null: it is no time.
function timeOf(text: string, clock: Clock): number | null {
  const found = kTime.exec(text);
  if (!found) return null;
  const [, year, month, day, hour, minute, second, fraction, offset] = found;
  const ms = Date.UTC(Number(year), Number(month) - 1, Number(day), Number(hour), Number(minute), Number(second ?? 0));
  const shown = new Date(ms).toISOString().slice(0, 16);
  if (shown !== `${year}-${month}-${day}T${hour}:${minute}`) return null; // a 31st of April
  const local = ms * 1000 + Math.round(Number(fraction ?? 0) * 1e6);
  if (!offset) return clock.usOf(local);
  if (offset.toUpperCase() === "Z") return local;
  const minutes = Number(offset.slice(1, 3)) * 60 + Number(offset.slice(-2));
  return local - (offset.startsWith("-") ? -minutes : minutes) * 60e6;
}

// Where the first recording that has the tick has it first.
function placeOfTick(header: Header, tick: number): number | null {
  for (const { stretches } of header.recordings)
    for (const s of stretches) if (tick >= s.tick && tick <= s.tick + s.to - s.x) return s.x + tick - s.tick;
  return null;
}

function placeOf(header: Header, clock: Clock, t: string): { x: number } | { problem: string } {
  const { from, to } = extent(header);
  let x: number;
  if (/^x-?\d+$/.test(t)) x = Number(t.slice(1));
  else if (/^\d+$/.test(t)) {
    const place = placeOfTick(header, Number(t));
    if (place === null) return { problem: `tick ${t} is not recorded` };
    x = place;
  } else {
    const us = timeOf(t, clock);
    if (us === null) return { problem: `"${t}" is neither a time nor a tick` };
    if (!header.has_time) return { problem: `${t} cannot be found: no time is recorded` };
    x = Math.floor((us - header.axis_us) / 500000);
    if (x < from || x > to) return { problem: `${clock.full(us)} is outside of what was recorded` };
  }
  return x < from || x > to ? { problem: `half second ${x} is outside of what was recorded` } : { x };
}

export function readLink(header: Header, clock: Clock, hash: string): Linked {
  // A plus sign stands for a blank in a query, and here before an offset.
  const fields = new URLSearchParams(hash.replace(/^#/, "").replace(/\+/g, "%2B"));
  const t = fields.get("t");
  const video = fields.get("video");
  const place = t === null ? null : placeOf(header, clock, t.trim());
  const seconds = video === null || video.trim() === "" ? NaN : Number(video);
  return {
    x: place && "x" in place ? place.x : null,
    problem: place && "problem" in place ? place.problem : null,
    video: Number.isFinite(seconds) ? seconds * 2 : null,
  };
}
