// The axis of a recording: where it was recorded, and what its unit's clock showed there.

import type { Header, RecordingHeader, Stretch } from "./data";

// A piece of the axis recorded without interruption; `to` is its last half second.
export interface Segment {
  from: number;
  to: number;
  run: number;
}

// The number of values <= x: the entry in force at x is the one before that.
export function countUpTo(values: ArrayLike<number>, x: number): number {
  let low = 0;
  let high = values.length;
  while (low < high) {
    const middle = (low + high) >>> 1;
    if (values[middle]! <= x) low = middle + 1;
    else high = middle;
  }
  return low;
}

// Stretches that follow each other without a hole, within one run: a value holds across them
// (the clock was corrected, the vehicle went on), and over nothing else.
function joined(stretches: Stretch[]): Segment[] {
  const segments: Segment[] = [];
  for (const stretch of stretches) {
    const last = segments[segments.length - 1];
    if (last && last.run === stretch.run && stretch.x <= last.to + 1) last.to = Math.max(last.to, stretch.to);
    else segments.push({ from: stretch.x, to: stretch.to, run: stretch.run });
  }
  return segments;
}

// Where nothing is recorded, and what tells why: it was lost; the clock was set back while ticks
// went on, so that it never showed these times; it jumped forward, for one of two reasons; nothing.
export type HoleKind = "lost" | "clock" | "jump" | "none";

// Between the last half second in front of it and the first one behind it.
export interface Hole {
  from: number;
  to: number;
  kind: HoleKind;
}

export const kHoleTexts: Record<HoleKind, string> = {
  lost: "lost",
  clock: "no time of this name by the unit's clock",
  jump: "not recorded: the unit was off, or its clock was set",
  none: "not recorded",
};

type Holed = Pick<RecordingHeader, "stretches" | "gaps" | "steps">;

// The parts of a hole that gaps cover are lost; a gap whose other end nobody knows takes all of a
// hole that it begins or ends.
function split(hole: Hole, { gaps }: Holed): Hole[] {
  const parts: Hole[] = [];
  let at = hole.from;
  const isBetween = Number.isFinite(hole.from) && Number.isFinite(hole.to);
  const lost = gaps
    .filter((gap) => gap.reason !== "overwritten" && (gap.from !== null || gap.to !== null))
    .map((gap) => ({
      from: gap.from ?? (isBetween ? hole.from : gap.to!),
      to: gap.to ?? (isBetween && Math.abs(gap.from! - hole.from) <= 1 ? hole.to : gap.from!),
    }))
    .filter((gap) => gap.to > hole.from + 1 && gap.from < hole.to - 1)
    .sort((a, b) => a.from - b.from);
  for (const gap of lost) {
    // An end that is a half second off is the same one.
    if (gap.from > at + 1) parts.push({ from: at, to: gap.from, kind: hole.kind });
    const from = gap.from > at + 1 ? gap.from : at;
    at = gap.to < hole.to - 1 ? Math.max(at, gap.to) : hole.to;
    if (at > from) parts.push({ from, to: at, kind: "lost" });
  }
  if (at < hole.to) parts.push({ from: at, to: hole.to, kind: hole.kind });
  return parts;
}

function holesOf(recording: Holed, segments: Segment[]): Hole[] {
  const holes: Hole[] = [];
  let from = -Infinity;
  for (const segment of segments) {
    const step = recording.steps.find((s) => s.x === segment.from);
    const kind = !step || from === -Infinity ? "none" : step.told_us < step.expected_us ? "clock" : "jump";
    if (segment.from > from + 1) holes.push(...split({ from, to: segment.from, kind }, recording));
    from = segment.to;
  }
  return [...holes, ...split({ from, to: Infinity, kind: "none" }, recording)];
}

export class RecordingAxis {
  readonly segments: Segment[];
  readonly holes: Hole[];
  private readonly begins: Float64Array;
  private readonly segmentBegins: Float64Array;

  constructor(private readonly recording: Holed) {
    this.segments = joined(recording.stretches);
    this.holes = holesOf(recording, this.segments);
    this.begins = Float64Array.from(recording.stretches, (s) => s.x);
    this.segmentBegins = Float64Array.from(this.segments, (s) => s.from);
  }

  get from(): number | null {
    return this.segments.length ? this.segments[0]!.from : null;
  }

  get to(): number | null {
    return this.segments.length ? this.segments[this.segments.length - 1]!.to : null;
  }

  segmentAt(x: number): Segment | null {
    const segment = this.segments[countUpTo(this.segmentBegins, x) - 1];
    return segment && x <= segment.to ? segment : null;
  }

  // Why nothing is recorded at x.
  holeAt(x: number): HoleKind {
    return this.holes.find((hole) => hole.from < x && x < hole.to)?.kind ?? "none";
  }

  stretchAt(x: number): Stretch | null {
    const stretch = this.recording.stretches[countUpTo(this.begins, x) - 1];
    return stretch && x <= stretch.to ? stretch : null;
  }

  // What the unit's clock showed, or null where it told no time or nothing was recorded.
  clockAt(x: number): { us: number; estimated: boolean } | null {
    const stretch = this.stretchAt(x);
    if (!stretch || stretch.us === null || stretch.quality === "unknown") return null;
    return { us: stretch.us + (x - stretch.x) * 500000, estimated: stretch.quality === "estimated" };
  }

  tickAt(x: number): number | null {
    const stretch = this.stretchAt(x);
    return stretch ? stretch.tick + (x - stretch.x) : null;
  }
}

// What is known of the clock that showed a displaced stretch: whether it was set at its end, or at
// its beginning.
export function displacedWords({ stretches, steps }: Pick<RecordingHeader, "stretches" | "steps">, stretch: Stretch): string {
  const isStep = (x: number) => steps.some((step) => step.x === x);
  let i = stretches.indexOf(stretch);
  let behind = i + 1;
  while (stretches[behind]?.run === stretch.run && stretches[behind]!.displaced && !isStep(stretches[behind]!.x)) behind++;
  if (stretches[behind]?.run === stretch.run && isStep(stretches[behind]!.x)) return "by the clock before it was set";
  while (i > 0 && stretches[i - 1]!.run === stretch.run && !isStep(stretches[i]!.x)) i--;
  return isStep(stretches[i]!.x) ? "by the clock after it was set" : "by a clock that contradicts the rest";
}

// Something is recorded at x, and all of it by a clock that did not show the time of the axis.
export function isDisplaced(header: Pick<Header, "has_time" | "recordings">, x: number): boolean {
  let displaced = false;
  for (const { stretches } of header.recordings)
    for (const stretch of stretches) {
      if (x < stretch.x || x > stretch.to) continue;
      if (!stretch.displaced) return false;
      displaced = header.has_time;
    }
  return displaced;
}
