// Moments of the axis in words.

import { displacedWords, isDisplaced, kHoleTexts, RecordingAxis } from "./axis";
import type { Clock } from "./clock";
import type { Header, RecordingHeader } from "./data";

// What ticks are ahead of the axis, where that is the same all over: of one run of one recording.
export function ticksAhead(header: Pick<Header, "recordings">): number | null {
  const [recording, ...others] = header.recordings;
  const first = recording?.stretches[0];
  if (!first || others.length > 0) return null;
  const same = recording.stretches.every((s) => s.run === first.run && s.tick - s.x === first.tick - first.x);
  return same ? first.tick - first.x : null;
}

export class Moments {
  constructor(
    private readonly header: Header,
    private readonly clock: Clock,
  ) {}

  axisUs(x: number): number {
    return this.header.axis_us + x * 500000;
  }

  // The time on the axis, or what a unit's clock showed there instead.
  axisText(x: number): string {
    if (!this.header.has_time) {
      const ahead = ticksAhead(this.header);
      return ahead === null ? `half second ${x}` : `tick ${x + ahead}`;
    }
    if (!isDisplaced(this.header, x)) return this.clock.full(this.axisUs(x));
    for (const recording of this.header.recordings) {
      const axis = new RecordingAxis(recording);
      const shown = this.clockText(axis, x);
      if (shown) return `${shown} ${displacedWords(recording, axis.stretchAt(x)!)}`;
    }
    return "time unknown";
  }

  // What the unit's clock showed, and null where it showed nothing.
  clockText(axis: RecordingAxis, x: number): string | null {
    const shown = axis.clockAt(x);
    return shown ? `${shown.estimated ? "about " : ""}${this.clock.full(shown.us)}` : null;
  }

  // Why the recording's clock showed another time than the axis has.
  apart(recording: RecordingHeader, axis: RecordingAxis, x: number): string | null {
    const stretch = axis.stretchAt(x);
    const displaced = this.header.has_time && stretch?.displaced && axis.clockAt(x);
    return displaced ? displacedWords(recording, stretch) : null;
  }

  // For a recording at a moment: its clock, else its tick, else that there is nothing.
  text(axis: RecordingAxis, x: number): string {
    const clock = this.clockText(axis, x);
    if (clock) return clock;
    const tick = axis.tickAt(x);
    return tick === null ? kHoleTexts[axis.holeAt(x)] : `time unknown, tick ${tick}`;
  }
}
