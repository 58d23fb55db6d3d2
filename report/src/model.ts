// The recordings as the panels use them: columns decoded, wrong entries apart from those that hold.

import { countUpTo, RecordingAxis } from "./axis";
import type { Segment } from "./axis";
import {
  decode,
  kNoTick,
  kUnknownFrom,
  kWord,
  kWrongCrc,
  Slices,
  type Header,
  type Inflated,
  type LaneHeader,
  type RecordingHeader,
  type SeriesHeader,
} from "./data";

// Entries of a column in force from their x on. `state` is the value, `flags` as recorded.
export interface Held {
  x: Float64Array;
  state: Float64Array;
  flags: Float64Array;
}

export interface Series {
  header: SeriesHeader;
  recording: Recording;
  held: Held;
  wrong: Held; // entries from packets with a wrong CRC: drawn as marks, in force nowhere
  least: number; // of the known values, already scaled; least > most: there are none
  most: number;
}

export interface Lane {
  header: LaneHeader;
  recording: Recording;
  held: Held;
  wrong: Held;
  active: boolean[]; // by word
}

export interface Track {
  x: Float64Array;
  latitude: Float64Array;
  longitude: Float64Array;
  flags: Float64Array;
  speed: Float64Array;
}

export interface Events {
  x: Float64Array;
  kind: Float64Array;
  text: Float64Array;
  tick: Float64Array;
  run: Float64Array;
  flags: Float64Array;
}

export interface Recording {
  index: number;
  header: RecordingHeader;
  axis: RecordingAxis;
  track: Track;
  series: Series[];
  lanes: Lane[];
  events: Events;
}

export interface Model {
  header: Header;
  recordings: Recording[];
  from: number;
  to: number;
}

// The index of the entry in force at x, or -1 where nothing is known: outside of what was
// recorded, before the first entry of the piece, or from an entry that says so.
export function entryAt(held: Held, axis: RecordingAxis, x: number): number {
  const segment = axis.segmentAt(x);
  return segment ? entryIn(held, segment, x) : -1;
}

function entryIn(held: Held, segment: Segment, x: number): number {
  const i = countUpTo(held.x, x) - 1;
  if (i < 0 || held.x[i]! < segment.from || held.flags[i]! & kUnknownFrom) return -1;
  return i;
}

// Calls `piece` for every part of [from, to] that was recorded, with the entry in force there or -1.
export function eachPiece(
  held: Held,
  axis: RecordingAxis,
  from: number,
  to: number,
  piece: (from: number, to: number, entry: number, opens: boolean) => void,
): void {
  for (const segment of axis.segments) {
    if (segment.to < from) continue;
    if (segment.from > to) break;
    const end = Math.min(segment.to, to);
    let at = Math.max(segment.from, from);
    let next = countUpTo(held.x, at);
    let entry = entryIn(held, segment, at);
    let opens = true;
    for (; next < held.x.length && held.x[next]! <= end; next++) {
      const x = held.x[next]!;
      if (x > at) {
        piece(at, x, entry, opens);
        opens = false;
        at = x;
      }
      entry = held.flags[next]! & kUnknownFrom ? -1 : next;
    }
    piece(at, end, entry, opens);
  }
}

export function split(x: Float64Array, state: Float64Array, flags: Float64Array): { held: Held; wrong: Held } {
  let count = 0;
  for (let i = 0; i < x.length; i++) if (flags[i]! & kWrongCrc) count++;
  const pick = (values: Float64Array, crc: boolean) =>
    count === 0 ? (crc ? new Float64Array(0) : values) : values.filter((_, i) => ((flags[i]! & kWrongCrc) !== 0) === crc);
  const part = (crc: boolean): Held => ({ x: pick(x, crc), state: pick(state, crc), flags: pick(flags, crc) });
  return { held: part(false), wrong: part(true) };
}

function extremes(series: Pick<Series, "held" | "wrong" | "header">): { least: number; most: number } {
  let least = Infinity;
  let most = -Infinity;
  for (const part of [series.held, series.wrong]) {
    for (let i = 0; i < part.state.length; i++) {
      if (part.flags[i]! & kUnknownFrom) continue;
      const value = part.state[i]! * series.header.scale;
      if (value < least) least = value;
      if (value > most) most = value;
    }
  }
  return { least, most };
}

// An event without a tick of its own stands where the one before it does.
function placeEvents(events: Events, first: number): void {
  let before = first;
  for (let i = 0; i < events.x.length; i++) {
    if (events.flags[i]! & kNoTick && events.x[i] === -1) events.x[i] = before;
    before = events.x[i]!;
  }
}

async function readRecording(
  header: RecordingHeader,
  index: number,
  columns: Uint8Array,
  slices: Slices,
): Promise<Recording> {
  const column = (c: RecordingHeader["track"]["x"]) => decode(columns, c, slices);
  const t = header.track;
  const e = header.events;
  const recording: Recording = {
    index,
    header,
    axis: new RecordingAxis(header),
    track: {
      x: await column(t.x),
      latitude: await column(t.latitude),
      longitude: await column(t.longitude),
      flags: await column(t.flags),
      speed: await column(t.speed),
    },
    series: [],
    lanes: [],
    events: {
      x: await column(e.x),
      kind: await column(e.kind),
      text: await column(e.text),
      tick: await column(e.tick),
      run: await column(e.run),
      flags: await column(e.flags),
    },
  };
  placeEvents(recording.events, recording.axis.from ?? 0);
  for (const s of header.series) {
    const parts = split(await column(s.x), await column(s.value), await column(s.flags));
    if (slices.due()) await slices.pause();
    recording.series.push({ header: s, recording, ...parts, ...extremes({ header: s, ...parts }) });
    if (slices.due()) await slices.pause();
  }
  for (const l of header.lanes) {
    const parts = split(await column(l.x), await column(l.word), await column(l.flags));
    recording.lanes.push({ header: l, recording, ...parts, active: l.words.map((_, i) => l.on.includes(i)) });
    if (slices.due()) await slices.pause();
  }
  return recording;
}

// The part of the axis that the page shows: all that was recorded, and everything that has a place.
export function extent(header: Header): { from: number; to: number } {
  let from = Infinity;
  let to = -Infinity;
  for (const recording of header.recordings) {
    if (recording.part) {
      from = Math.min(from, recording.part.from);
      to = Math.max(to, recording.part.to);
    }
    for (const stretch of recording.stretches) {
      from = Math.min(from, stretch.x);
      to = Math.max(to, stretch.to);
    }
    for (const gap of recording.gaps) {
      // A gap in which the part asked for begins lies before the axis.
      if (gap.from !== null && gap.from >= 0) from = Math.min(from, gap.from);
      if (gap.to !== null) to = Math.max(to, gap.to);
    }
  }
  return from <= to ? { from, to: Math.max(to, from + 1) } : { from: 0, to: 1 };
}

export async function readModel({ header, columns }: Inflated, slices: Slices): Promise<Model> {
  const recordings: Recording[] = [];
  for (const [index, recording] of header.recordings.entries())
    recordings.push(await readRecording(recording, index, columns, slices));
  return { header, recordings, ...extent(header) };
}

// A unit in words stands above the values, not behind each of them.
const kLongUnit = 7;

// The moment that a page opens at: the first with a position, else the first at all.
export function opening(model: Model): number {
  const places = model.recordings.filter((r) => r.track.x.length > 0).map((r) => r.track.x[0]!);
  return places.length ? Math.min(...places) : model.from;
}

export function neverKnown(lane: Lane): boolean {
  return lane.held.state.every((word, i) => word === 0 || (lane.held.flags[i]! & kUnknownFrom) !== 0);
}

export function seriesText(series: Series, entry: number): string {
  if (entry < 0) return "unknown";
  const { scale, decimals, unit } = series.header;
  const number = (series.held.state[entry]! * scale).toFixed(decimals);
  return unit && unit.length <= kLongUnit ? `${number} ${unit}` : number;
}

// What the device tells at x in place of a value; null: nothing.
export function wordAt(series: Series, x: number): string | null {
  const { held, header, recording } = series;
  const segment = recording.axis.segmentAt(x);
  const i = segment ? countUpTo(held.x, x) - 1 : -1;
  if (!segment || i < 0 || held.x[i]! < segment.from || !(held.flags[i]! & kWord)) return null;
  const number = held.state[i]!;
  return header.words.find((word) => word.number === number)?.text ?? `number ${number}`;
}

export function laneText(lane: Lane, entry: number): string {
  const word = entry < 0 ? 0 : lane.held.state[entry]!;
  return lane.header.words[word] ?? `number ${word}`;
}
