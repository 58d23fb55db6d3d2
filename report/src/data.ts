// What the program put into the page: the header (JSON) and its columns of integers.
// The layout is described in DATA.md.

export interface Column {
  at: number;
  bytes: number;
  count: number;
}

export interface Stretch {
  x: number;
  to: number;
  us: number | null;
  quality: "exact" | "estimated" | "unknown";
  run: number;
  tick: number;
  displaced?: boolean; // not where its clock says, or that says nothing
}

export interface Gap {
  reason: string;
  words: string;
  from: number | null;
  to: number | null;
  from_tick: number | null;
  to_tick: number | null;
  clusters: number;
  bytes: number;
}

export interface Step {
  x: number;
  tick: number;
  expected_us: number;
  told_us: number;
  words: string;
}

export interface FactValue {
  text: string;
  x: number | null;
  tick: number | null;
}

export interface SeriesHeader {
  id: string;
  family: string;
  name: string;
  unit: string;
  scale: number;
  decimals: number;
  x: Column;
  value: Column;
  flags: Column;
  thinned: boolean;
  words: { number: number; text: string }[]; // what the device tells in place of a value
}

export interface LaneHeader {
  id: string;
  group: string;
  name: string;
  role: "lights" | "siren" | null;
  words: string[];
  on: number[];
  x: Column;
  word: Column;
  flags: Column;
}

export interface Finding {
  severity: "gap" | "clock" | "crc" | "position" | "note";
  words: string;
  x: number | null;
}

export interface Fact {
  name: string;
  values: FactValue[];
  left_out?: number;
  untold: string;
}

export interface RecordingHeader {
  name: string;
  kind: string;
  sources: { path: string; bytes: number; sha256: string | null; problem: string; damage?: string }[];
  zone?: string;
  part?: { from: number; to: number } | null;
  nothing?: string;
  facts: Fact[];
  versions: { component: string; text: string }[];
  policies: { name: string; number: number; value: string }[];
  policy_sha256: string | null;
  policies_complete: boolean;
  no_policy: string;
  stretches: Stretch[];
  totals: {
    recorded_halves: number;
    lost_halves: number;
    lost_unknown: number;
    records: number;
    wrong_crc: number;
    wrong_crc_packets: number;
    unverified: number;
    runs: number;
    starts: number;
    overwritten: boolean;
  };
  gaps: Gap[];
  steps: Step[];
  new_runs: { x: number; run: number; tick: number }[];
  track: { x: Column; latitude: Column; longitude: Column; flags: Column; speed: Column; thinned: boolean };
  series: SeriesHeader[];
  lanes: LaneHeader[];
  events: {
    kinds: string[];
    texts: string[];
    x: Column;
    kind: Column;
    text: Column;
    tick: Column;
    run: Column;
    flags: Column;
  };
  findings: Finding[];
}

export interface Offset {
  from_us: number | null;
  minutes: number;
  abbreviation: string;
}

export interface Header {
  format: number;
  tool: string;
  made_us: number;
  title: string;
  range: { from: string | null; to: string | null } | null;
  video?: { name: string } | null;
  axis_us: number;
  has_time: boolean;
  zone: { name: string; recorded: boolean; asked?: boolean; unknown?: string; offsets: Offset[] };
  recordings: RecordingHeader[];
}

export const kUnknownFrom = 1; // flags of series and lanes: no value from here on
export const kWord = 8; // beside it, of series: a word in place of a value
export const kWrongCrc = 2;
export const kRepeats = 4; // of events; of series and lanes: known only from a full state
export const kNoTick = 8; // of events
export const kEstimated = 16; // of events
export const kPieceBegins = 1; // flags of the track
export const kUnverified = 2;
export const kTrackWrongCrc = 4;

// A position that lies where it says.
export const isSure = (flags: number): boolean => (flags & (kUnverified | kTrackWrongCrc)) === 0;

export interface Inflated {
  header: Header;
  columns: Uint8Array;
}

// A page that computes for long cannot be scrolled: work goes in slices of this length, and
// between two of them the browser paints and takes input.
const kSliceMs = 25;

export class Slices {
  private until = performance.now() + kSliceMs;

  due(): boolean {
    return performance.now() > this.until;
  }

  // Until what was drawn is on the screen, or for a moment where nothing is painted.
  async painted(): Promise<void> {
    await new Promise<void>((resolve) => {
      const late = setTimeout(resolve, 100);
      requestAnimationFrame(() => {
        clearTimeout(late);
        setTimeout(resolve, 0);
      });
    });
    this.until = performance.now() + kSliceMs;
  }

  async pause(): Promise<void> {
    await new Promise<void>((resolve) => {
      const channel = new MessageChannel();
      channel.port1.onmessage = () => {
        channel.port1.close();
        resolve();
      };
      channel.port2.postMessage(null);
    });
    this.until = performance.now() + kSliceMs;
  }
}

// A multiple of four, as four characters carry three bytes.
const kBase64Slice = 1 << 18;

async function feed(text: string, writer: WritableStreamDefaultWriter<BufferSource>, slices: Slices): Promise<void> {
  let carried = "";
  for (let at = 0; at < text.length; at += kBase64Slice) {
    const some = carried + text.slice(at, at + kBase64Slice).replace(/\s+/g, "");
    const whole = some.length - (some.length % 4);
    carried = some.slice(whole);
    const binary = atob(some.slice(0, whole));
    const bytes = new Uint8Array(binary.length);
    for (let i = 0; i < binary.length; i++) bytes[i] = binary.charCodeAt(i);
    void writer.write(bytes).catch(() => undefined);
    if (slices.due()) await slices.pause();
  }
  await writer.close();
}

export async function inflate(text: string, slices: Slices): Promise<Inflated> {
  const stream = new DecompressionStream("deflate");
  const writer = stream.writable.getWriter();
  const fed = feed(text, writer, slices);
  fed.catch(() => undefined); // the reader below reports the same damage
  const parts: Uint8Array[] = [];
  let size = 0;
  const reader = stream.readable.getReader();
  for (;;) {
    const { done, value } = await reader.read();
    if (done) break;
    parts.push(value);
    size += value.length;
  }
  await fed;
  const all = new Uint8Array(size);
  let at = 0;
  for (const part of parts) {
    all.set(part, at);
    at += part.length;
  }
  if (size < 4) throw new Error("the data ends before its header");
  const length = new DataView(all.buffer).getUint32(0, true);
  if (4 + length > size) throw new Error(`the header has ${length} bytes, ${size - 4} are there`);
  if (slices.due()) await slices.pause();
  const header = JSON.parse(new TextDecoder().decode(all.subarray(4, 4 + length))) as Header;
  if (header.format !== 1) throw new Error(`the data has format ${header.format}, this page reads format 1`);
  return { header, columns: all.subarray(4 + length) };
}

const kValuesBetweenLooks = 1 << 14;

// Zigzag LEB128 differences. Sums and products of doubles, not shifts: values reach 2^53.
export async function decode(columns: Uint8Array, column: Column, slices: Slices): Promise<Float64Array> {
  const end = column.at + column.bytes;
  if (end > columns.length) throw new Error(`a column ends at ${end}, the data at ${columns.length}`);
  const values = new Float64Array(column.count);
  let at = column.at;
  let value = 0;
  for (let i = 0; i < column.count; ) {
    const stop = Math.min(column.count, i + kValuesBetweenLooks);
    for (; i < stop; i++) {
      if (at >= end) throw new Error(`a column has ${i} values of ${column.count}`);
      let byte = columns[at++]!;
      let coded = byte & 0x7f;
      let factor = 128;
      while (byte & 0x80) {
        if (at >= end) throw new Error(`a column ends inside value ${i}`);
        byte = columns[at++]!;
        coded += (byte & 0x7f) * factor;
        factor *= 128;
      }
      value += coded % 2 === 0 ? coded / 2 : -(coded + 1) / 2;
      values[i] = value;
    }
    if (slices.due()) await slices.pause();
  }
  if (at !== end) throw new Error(`a column has ${end - at} bytes too many`);
  return values;
}
