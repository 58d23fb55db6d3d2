// What is asked first, in digits: when the lights were on, and the greatest speed. Made of a few
// columns before anything is drawn, so that nothing below moves when it comes.

import { displacedWords, RecordingAxis } from "./axis";
import { exactDurationText, type Clock } from "./clock";
import { decode, kRepeats, Slices, type Column, type Inflated, type LaneHeader, type RecordingHeader, type SeriesHeader } from "./data";
import { eachPiece, split, type Held } from "./model";

const kMostSpans = 3;

// `begun`, `ended`: it is told that it was off before and behind.
interface OnSpan {
  from: number;
  to: number;
  begun: boolean;
  ended: boolean;
}

interface LightsAnswer {
  name: string;
  spans: OnSpan[];
  unknown: number; // half seconds recorded without telling it
}

interface SpeedAnswer {
  name: string;
  text: string;
  x: number;
  unknown: number;
}

export interface Answers {
  lights: LightsAnswer[];
  speeds: SpeedAnswer[];
}

async function heldOf(columns: Uint8Array, x: Column, state: Column, flags: Column, slices: Slices): Promise<Held> {
  const [xs, states, all] = [await decode(columns, x, slices), await decode(columns, state, slices), await decode(columns, flags, slices)];
  return split(xs, states, all).held;
}

function lightsOf(lane: LaneHeader, held: Held, axis: RecordingAxis): LightsAnswer | null {
  const spans: OnSpan[] = [];
  let unknown = 0;
  let known = false;
  let before: "on" | "off" | "unknown" = "unknown";
  eachPiece(held, axis, -Infinity, Infinity, (from, to, entry, opens) => {
    const word = entry < 0 ? 0 : held.state[entry]!;
    const state = word === 0 ? "unknown" : lane.on.includes(word) ? "on" : "off";
    const last = opens ? "unknown" : before;
    if (state === "unknown") unknown += to - from;
    else known = true;
    if (state === "on" && last === "on") spans[spans.length - 1]!.to = to;
    else if (state === "on") spans.push({ from, to, begun: last === "off" && !(held.flags[entry]! & kRepeats), ended: false });
    else if (state === "off" && last === "on") spans[spans.length - 1]!.ended = true;
    before = state;
  });
  return known ? { name: lane.name, spans, unknown } : null;
}

function speedOf(series: SeriesHeader, held: Held, axis: RecordingAxis): SpeedAnswer | null {
  let unknown = 0;
  let most = -Infinity;
  let at = 0;
  eachPiece(held, axis, -Infinity, Infinity, (from, to, entry) => {
    if (entry < 0) unknown += to - from;
    else if (held.state[entry]! > most) {
      most = held.state[entry]!;
      at = from;
    }
  });
  if (most === -Infinity) return null;
  const text = `${(most * series.scale).toFixed(series.decimals)} ${series.unit || "(unit not told)"}`;
  return { name: series.name.replace(/ speed$/, ""), text, x: at, unknown };
}

export async function readAnswers({ header, columns }: Inflated, slices: Slices): Promise<Answers[]> {
  const all: Answers[] = [];
  for (const recording of header.recordings) {
    const axis = new RecordingAxis(recording);
    const answers: Answers = { lights: [], speeds: [] };
    for (const lane of recording.lanes.filter((l) => l.role === "lights")) {
      const found = lightsOf(lane, await heldOf(columns, lane.x, lane.word, lane.flags, slices), axis);
      if (found) answers.lights.push(found);
    }
    for (const series of recording.series.filter((s) => s.family === "speed")) {
      const found = speedOf(series, await heldOf(columns, series.x, series.value, series.flags, slices), axis);
      if (found) answers.speeds.push(found);
    }
    all.push(answers);
  }
  return all;
}

// With its date where the recording has several; what no clock showed is a tick.
function momentText(recording: RecordingHeader, axis: RecordingAxis, clock: Clock, x: number): string {
  const shown = axis.clockAt(x);
  if (!shown) return `tick ${axis.tickAt(x)}`;
  const first = recording.stretches.find((s) => s.us !== null && !s.displaced);
  const day = first && clock.date(first.us!) === clock.date(shown.us) ? "" : `${clock.date(shown.us)} `;
  return `${shown.estimated ? "about " : ""}${day}${clock.time(shown.us)}`;
}

function clockNote(recording: RecordingHeader, axis: RecordingAxis, x: number): string {
  const stretch = axis.stretchAt(x);
  return stretch?.displaced && axis.clockAt(x) ? ` ${displacedWords(recording, stretch)}` : "";
}

const unknownText = (halves: number): string => (halves > 0 ? `; unknown for ${exactDurationText(halves)}` : "");

export function answerTexts({ lights, speeds }: Answers, recording: RecordingHeader, clock: Clock): string[] {
  const axis = new RecordingAxis(recording);
  const moment = (x: number) => momentText(recording, axis, clock, x);
  const texts = lights.map(({ spans, unknown }) => {
    if (spans.length === 0) return `Lights never on where that is known${unknownText(unknown)}`;
    const told = spans
      .slice(0, kMostSpans)
      .map((s) => `${moment(s.from)}${s.begun ? "" : " or before"}–${moment(s.to)}${s.ended ? "" : " or later"}${clockNote(recording, axis, s.from)}`);
    const more = spans.length > kMostSpans ? ` and ${spans.length - kMostSpans} more` : "";
    return `Lights on ${spans.length} ${spans.length === 1 ? "time" : "times"}: ${told.join(", ")}${more}${unknownText(unknown)}`;
  });
  for (const { name, text, x, unknown } of speeds)
    texts.push(`Greatest speed ${text} at ${moment(x)}${clockNote(recording, axis, x)} (${name})${unknownText(unknown)}`);
  return texts;
}
