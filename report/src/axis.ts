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

export class RecordingAxis {
  readonly segments: Segment[];
  private readonly begins: Float64Array;
  private readonly segmentBegins: Float64Array;

  constructor(private readonly recording: Pick<RecordingHeader, "stretches">) {
    this.segments = joined(recording.stretches);
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
