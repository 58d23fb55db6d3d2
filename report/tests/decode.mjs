// A second reader of the page's data, written apart from the page's own: whole numbers as BigInt,
// every question answered by a walk from the beginning.

import { readFileSync } from "node:fs";
import { inflateSync } from "node:zlib";

export function readPage(path) {
  const html = readFileSync(path, "utf8");
  const begin = html.indexOf('id="vmr-data">') + 'id="vmr-data">'.length;
  const stream = inflateSync(Buffer.from(html.slice(begin, html.indexOf("</script>", begin)), "base64"));
  const length = stream.readUInt32LE(0);
  const header = JSON.parse(stream.subarray(4, 4 + length).toString("utf8"));
  const columns = stream.subarray(4 + length);
  return { header, column: (c) => column(columns.subarray(c.at, c.at + c.bytes), c.count) };
}

function column(bytes, count) {
  const values = [];
  let sum = 0n;
  let coded = 0n;
  let shift = 0n;
  for (const byte of bytes) {
    coded |= BigInt(byte & 127) << shift;
    shift += 7n;
    if (byte & 128) continue;
    sum += (coded >> 1n) ^ -(coded & 1n);
    values.push(Number(sum));
    coded = 0n;
    shift = 0n;
  }
  if (values.length !== count) throw new Error(`${values.length} values instead of ${count}`);
  return values;
}

// The pieces of a recording over which a value holds: stretches of one run without a hole between.
function pieceAt(recording, x) {
  const at = recording.stretches.findIndex((s) => s.x <= x && x <= s.to);
  if (at < 0) return null;
  let first = at;
  while (first > 0) {
    const [before, here] = [recording.stretches[first - 1], recording.stretches[first]];
    if (before.run !== here.run || here.x - before.to > 1) break;
    first--;
  }
  return { from: recording.stretches[first].x, stretch: recording.stretches[at] };
}

// The value in force at x, or null.
function inForce(piece, xs, values, flags, x) {
  let value = null;
  for (let i = 0; i < xs.length && xs[i] <= x; i++) {
    if (xs[i] < piece.from || flags[i] & 2) continue;
    value = flags[i] & 1 ? null : values[i];
  }
  return value;
}

// What a device tells at x in place of a value.
function wordInForce(piece, s, xs, values, flags, x) {
  let told = null;
  for (let i = 0; i < xs.length && xs[i] <= x; i++)
    if (xs[i] >= piece.from && !(flags[i] & 2)) told = flags[i] & 8 ? s.words.find((w) => w.number === values[i]).text : null;
  return told;
}

// What the page must show at x: by recording the tick, the position, the series and the lanes.
export function momentReader(page) {
  const recordings = page.header.recordings.map((recording) => ({
    recording,
    track: Object.fromEntries(["x", "latitude", "longitude"].map((k) => [k, page.column(recording.track[k])])),
    series: recording.series.map((s) => ({ s, x: page.column(s.x), value: page.column(s.value), flags: page.column(s.flags) })),
    lanes: recording.lanes.map((l) => ({ l, x: page.column(l.x), word: page.column(l.word), flags: page.column(l.flags) })),
  }));
  return (x) =>
    recordings.map(({ recording, track, series, lanes }) => {
      const piece = pieceAt(recording, x);
      const values = {};
      for (const { s, x: xs, value, flags } of series) {
        const raw = piece && inForce(piece, xs, value, flags, x);
        const word = piece && wordInForce(piece, s, xs, value, flags, x);
        values[s.id] = word ? word : raw === null ? "unknown" : [(raw * s.scale).toFixed(s.decimals), s.unit.length > 7 ? "" : s.unit].join(" ").trim();
      }
      const lost = recording.gaps.some((gap) => gap.from !== null && gap.to !== null && gap.from <= x && x <= gap.to);
      const words = { coverage: piece ? "recorded" : lost ? "lost" : "not recorded" };
      for (const { l, x: xs, word, flags } of lanes) {
        const raw = piece && inForce(piece, xs, word, flags, x);
        words[l.id] = l.words[raw ?? 0];
      }
      let position = "unknown";
      for (let i = 0; piece && i < track.x.length && track.x[i] <= x; i++) {
        if (track.x[i] < piece.from) continue;
        const [latitude, longitude] = [track.latitude[i] / 600000, track.longitude[i] / 600000];
        position = `${Math.abs(latitude).toFixed(5)} ${latitude < 0 ? "S" : "N"} ${Math.abs(longitude).toFixed(5)} ${longitude < 0 ? "W" : "E"}`;
      }
      const tick = piece ? piece.stretch.tick + x - piece.stretch.x : null;
      return { name: recording.name, tick, position, values, words };
    });
}

// Every event in the order of time.
export function eventsOf(page) {
  const all = page.header.recordings.flatMap((recording, r) => {
    const e = recording.events;
    const [x, kind, text, tick, flags] = [e.x, e.kind, e.text, e.tick, e.flags].map((c) => page.column(c));
    return x.map((at, i) => ({ x: at, r, kind: e.kinds[kind[i]], text: e.texts[text[i]], tick: tick[i], flags: flags[i] }));
  });
  return all.map((e, i) => [e, i]).sort(([a, i], [b, j]) => a.x - b.x || i - j).map(([e]) => e);
}
