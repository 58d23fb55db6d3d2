// Made-up recordings in the page's data format, and the page filled with them.
// "node make_data.mjs FOLDER" writes one page of each kind there.

import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { deflateSync } from "node:zlib";

const here = dirname(fileURLToPath(import.meta.url));

// The same numbers in every run: a failure can be repeated.
export function random(seed) {
  let state = seed >>> 0;
  return () => {
    state = (state + 0x6d2b79f5) >>> 0;
    let t = Math.imul(state ^ (state >>> 15), 1 | state);
    t = (t + Math.imul(t ^ (t >>> 7), 61 | t)) ^ t;
    return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
  };
}

class Columns {
  constructor() {
    this.parts = [];
    this.size = 0;
  }

  put(values) {
    let bytes = Buffer.alloc(values.length * 10);
    let at = 0;
    let before = 0n;
    for (const value of values) {
      const now = BigInt(value);
      const difference = now - before;
      before = now;
      let coded = difference >= 0n ? 2n * difference : -2n * difference - 1n;
      for (; coded >= 128n; coded >>= 7n) bytes[at++] = Number(coded & 127n) | 128;
      bytes[at++] = Number(coded);
    }
    bytes = bytes.subarray(0, at);
    const column = { at: this.size, bytes: at, count: values.length };
    this.parts.push(Buffer.from(bytes));
    this.size += at;
    return column;
  }
}

export function pack(header, columns) {
  const json = Buffer.from(JSON.stringify(header));
  const length = Buffer.alloc(4);
  length.writeUInt32LE(json.length);
  return deflateSync(Buffer.concat([length, json, ...columns.parts])).toString("base64");
}

const escaped = (text) => text.replace(/&/g, "&amp;").replace(/</g, "&lt;").replace(/>/g, "&gt;").replace(/"/g, "&quot;");

export function fill(template, { title, summary, data }) {
  const put = (page, place, text) => page.split(`<!--vmr:${place}-->`).join(text);
  return put(put(put(template, "title", escaped(title)), "summary", `<p>${escaped(summary)}</p>`), "data", data);
}

const kUnknownFrom = 1;
const kWrongCrc = 2;
const kWord = 8;
const kFullState = 4;

// One recording while it is made: `step` calls in order of x, `finish` packs it.
class Maker {
  constructor(columns, name, seed) {
    this.columns = columns;
    this.name = name;
    this.random = random(seed);
    this.series = new Map();
    this.lanes = new Map();
    this.track = { x: [], latitude: [], longitude: [], flags: [], speed: [] };
    this.events = { x: [], kind: [], text: [], tick: [], run: [], flags: [] };
    this.kinds = [];
    this.texts = new Map();
    this.run = 0;
    this.tick0 = 0;
    this.stretches = [];
    this.gaps = [];
    this.steps = [];
    this.newRuns = [];
    this.findings = [];
    this.begin = true; // of a piece of the track
  }

  addSeries(id, family, name, unit, scale = 1, decimals = 0) {
    this.series.set(id, { id, family, name, unit, scale, decimals, words: [{ number: 254, text: "blank" }], x: [], value: [], flags: [], last: null });
  }

  addLane(id, group, name, role = null, words = ["unknown", "off", "on"], on = [2]) {
    this.lanes.set(id, { id, group, name, role, words, on, x: [], word: [], flags: [], last: null });
  }

  value(id, x, value, flags = 0) {
    const s = this.series.get(id);
    if (!(flags & kWrongCrc) && s.last === value && flags === 0) return;
    s.x.push(x);
    s.value.push(value);
    s.flags.push(flags);
    if (!(flags & kWrongCrc)) s.last = flags & kUnknownFrom ? null : value;
  }

  word(id, x, word, flags = 0) {
    const l = this.lanes.get(id);
    if (!(flags & kWrongCrc) && l.last === word && flags === 0) return false;
    l.x.push(x);
    l.word.push(word);
    l.flags.push(flags);
    if (!(flags & kWrongCrc)) l.last = flags & kUnknownFrom ? null : word;
    return true;
  }

  // Switches a lane and says so in the table.
  toggle(id, x, word, kind = "input") {
    const l = this.lanes.get(id);
    if (this.word(id, x, word)) this.event(x, kind, `${l.name} ${l.words[word]}`);
  }

  event(x, kind, text, flags = 0) {
    if (!this.kinds.includes(kind)) this.kinds.push(kind);
    if (!this.texts.has(text)) this.texts.set(text, this.texts.size);
    this.events.x.push(x);
    this.events.kind.push(this.kinds.indexOf(kind));
    this.events.text.push(this.texts.get(text));
    this.events.tick.push(flags & 8 ? -1 : x + this.tick0);
    this.events.run.push(this.run);
    this.events.flags.push(flags);
  }

  point(x, latitude, longitude, mms, flags = 0) {
    const t = this.track;
    t.x.push(x);
    t.latitude.push(Math.round(latitude * 600000));
    t.longitude.push(Math.round(longitude * 600000));
    t.flags.push(flags | (this.begin ? 1 : 0));
    t.speed.push(mms);
    this.begin = false;
  }

  unknownFrom(x) {
    for (const id of this.series.keys()) this.value(id, x, 0, kUnknownFrom);
    for (const id of this.lanes.keys()) this.word(id, x, 0, kUnknownFrom);
    this.begin = true;
  }

  finish(extra = {}) {
    const c = this.columns;
    // From the first to the last tick of what hangs together.
    const goesOn = (s, i) => i > 0 && this.stretches[i - 1].run === s.run && this.stretches[i - 1].to + 1 === s.x;
    const halves = this.stretches.reduce((sum, s, i) => sum + s.to - s.x + (goesOn(s, i) ? 1 : 0), 0);
    const lost = this.gaps.reduce((sum, g) => sum + (g.from !== null && g.to !== null ? g.to - g.from : 0), 0);
    return {
      name: this.name,
      kind: "store",
      sources: [1, 2].map((n) => ({
        path: `${this.name}/drive_${n}.mtd`,
        bytes: 134217728,
        sha256: "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a0".padEnd(64, String(n)),
        problem: "",
      })),
      facts: [],
      versions: [
        { component: "mainboard", text: "4.1" },
        { component: "system software", text: "5.2.0 build 1187" },
        { component: "IOP", text: "2.18" },
        { component: "front panel", text: "1.4.2" },
      ],
      policies: Array.from({ length: 40 }, (_, i) => ({ name: `setting ${i}`, number: i, value: String((i * 7) % 30) })),
      policy_sha256: "2c26b46b68ffc68ff99b453c1d30413413422d706483bfa0f98a5e886266e7ae",
      policies_complete: true,
      stretches: this.stretches,
      totals: {
        recorded_halves: halves,
        lost_halves: lost,
        lost_unknown: this.gaps.filter((g) => g.from === null || g.to === null).length,
        records: this.events.x.length + this.track.x.length,
        wrong_crc_packets: new Set(this.events.x.filter((_, i) => this.events.flags[i] & kWrongCrc)).size,
        wrong_crc: this.events.flags.filter((f) => f & kWrongCrc).length,
        unverified: this.track.flags.filter((f) => f & 2).length,
        runs: this.run + 1,
        starts: this.run + 1,
        overwritten: false,
      },
      gaps: this.gaps,
      steps: this.steps,
      new_runs: this.newRuns,
      track: { ...Object.fromEntries(Object.entries(this.track).map(([k, v]) => [k, c.put(v)])), thinned: false },
      series: [...this.series.values()].map(({ last, x, value, flags, ...s }) => ({
        ...s,
        x: c.put(x),
        value: c.put(value),
        flags: c.put(flags),
        thinned: false,
      })),
      lanes: [...this.lanes.values()].map(({ last, x, word, flags, ...l }) => ({
        ...l,
        x: c.put(x),
        word: c.put(word),
        flags: c.put(flags),
      })),
      events: {
        kinds: this.kinds,
        texts: [...this.texts.keys()],
        ...Object.fromEntries(Object.entries(this.events).map(([k, v]) => [k, c.put(v)])),
      },
      findings: this.findings,
      ...extra,
    };
  }
}

function fact(name, ...texts) {
  return { name, values: texts.map((text, i) => ({ text, x: i * 1200, tick: i * 1200 + 5 })), untold: texts.length ? "" : "not recorded" };
}

function identity(officer, vehicle, serial, zone = "America/Chicago") {
  return [
    fact("officer", ...[officer].flat()),
    fact("badge", "4711"),
    fact("department", "Story County Sheriff"),
    fact("vehicle", vehicle),
    fact("serial_number", serial),
    fact("mac", "02:00:5E:10:00:01"),
    fact("time_zone", zone),
  ];
}

function fitOut(m) {
  m.addSeries("speed/0", "speed", "GPS speed", "mph");
  m.addSeries("radar/target", "radar", "radar target", "mph");
  m.addSeries("radar/lock", "radar", "radar lock", "mph");
  m.addSeries("temperature/cpu", "temperature", "cpu", "°C");
  m.addSeries("temperature/inlet", "temperature", "inlet", "°C");
  m.addLane("input/emergency lights", "inputs", "emergency lights", "lights");
  m.addLane("input/siren", "inputs", "siren", "siren");
  for (const name of ["brake", "door", "ignition", "recording"]) m.addLane(`input/${name}`, "inputs", name);
  for (const name of ["wireless 1", "cabin"]) m.addLane(`microphone/${name}`, "microphones", name);
  const words = ["unknown", "off", "on", "background"];
  for (const name of ["front", "rear", "cabin"]) m.addLane(`camera/${name}`, "cameras", `camera ${name}`, null, words, [2, 3]);
  for (const n of [0, 1]) m.addLane(`stream/${n}`, "streams", `video stream ${n}`, null, words, [2, 3]);
  m.addLane("gps/receiver", "gps", "GPS receiver", null, ["unknown", "no fix", "fix"], [2]);
  m.addLane("radar/connected", "radar", "radar", null, ["unknown", "not connected", "connected"], [2]);
}

// Drives from x to `to` on a grid of streets; `busy` is how often things happen.
function drive(m, from, to, place, { busy = 1, fullState = true } = {}) {
  const r = m.random;
  let speed = place.speed ?? 0;
  let wanted = 30;
  let pursuit = 0;
  if (fullState) {
    for (const id of m.lanes.keys()) {
      const start = /ignition|gps|radar|camera|stream/.test(id) ? 2 : 1;
      m.word(id, from, /camera|stream/.test(id) ? 3 : start, kFullState);
    }
    m.value("temperature/cpu", from, 44, kFullState);
    m.value("temperature/inlet", from, 24, kFullState);
    m.value("speed/0", from, Math.round(speed), kFullState);
    m.event(from, "input", "ignition on", 4);
  }
  for (let x = from; x <= to; x += 2) {
    if (r() < 0.02) wanted = [0, 20, 30, 35, 45][Math.floor(r() * 5)];
    if (pursuit === 0 && r() < 0.0006 * busy) {
      pursuit = 120 + Math.floor(r() * 160);
      m.toggle("input/emergency lights", x, 2);
      m.event(x, "button", "record button pressed");
      m.toggle("input/recording", x, 2);
      m.toggle("camera/front", x, 2, "camera");
      m.toggle("stream/0", x, 2, "stream");
      m.toggle("microphone/cabin", x, 2, "microphone");
      m.toggle("microphone/wireless 1", x, 2, "microphone");
    }
    if (pursuit > 0) {
      pursuit--;
      wanted = 70;
      if (pursuit === 90) m.toggle("input/siren", x, 2);
      if (pursuit === 30) m.toggle("input/siren", x, 1);
      if (pursuit === 0) {
        m.toggle("input/emergency lights", x, 1);
        m.toggle("input/recording", x, 1);
        m.toggle("camera/front", x, 3, "camera");
        m.toggle("stream/0", x, 3, "stream");
        m.toggle("microphone/cabin", x, 1, "microphone");
        m.toggle("microphone/wireless 1", x, 1, "microphone");
        wanted = 30;
      }
    }
    const before = speed;
    speed = Math.max(0, speed + Math.max(-6, Math.min(3, wanted - speed)) * (0.4 + r() * 0.5));
    m.value("speed/0", x, Math.round(speed));
    m.toggle("input/brake", x, speed < before - 1.5 ? 2 : 1);
    if (r() < 0.03) place.turn();
    place.move(speed * 0.44704);
    m.point(x, place.latitude, place.longitude, Math.round(speed * 447.04));
    if (r() < 0.02 * busy) {
      const target = 25 + Math.floor(r() * 50);
      m.value("radar/target", x, target);
      m.event(x, "radar", `radar target ${target} mph, approaching`);
      if (r() < 0.1) m.value("radar/lock", x, target);
    } else if (r() < 0.02) m.value("radar/target", x, 0, kUnknownFrom);
    else if (r() < 0.002) m.value("radar/target", x, 254, kUnknownFrom | kWord);
    if (r() < 0.004) m.value("temperature/cpu", x, 40 + Math.floor(r() * 20));
    if (r() < 0.002) m.value("temperature/inlet", x, 20 + Math.floor(r() * 12));
    if (r() < 0.0015 * busy) m.event(x, "bookmark", "bookmark");
    if (speed === 0 && r() < 0.05) m.toggle("input/door", x, m.lanes.get("input/door").last === 2 ? 1 : 2);
    if (r() < 0.002 * busy) m.event(x, "log", `log: storage ${Math.floor(r() * 100)} % used`);
  }
  place.speed = speed;
}

class Place {
  constructor(latitude, longitude, r, home = 0.12) {
    Object.assign(this, { latitude, longitude, r, home, heading: Math.floor(r() * 4), from: [latitude, longitude] });
  }

  // Streets run in four directions; far from home the way back is taken.
  turn() {
    const [south, west] = [this.latitude - this.from[0], this.longitude - this.from[1]];
    if (Math.abs(south) > this.home) this.heading = south > 0 ? 2 : 0;
    else if (Math.abs(west) > this.home) this.heading = west > 0 ? 3 : 1;
    else this.heading = (this.heading + (this.r() < 0.5 ? 1 : 3)) % 4;
  }

  move(metres) {
    const north = [1, 0, -1, 0][this.heading] * metres;
    const east = [0, 1, 0, -1][this.heading] * metres;
    this.latitude += north / 111195 + (this.r() - 0.5) * 3e-6;
    this.longitude += east / (111195 * Math.cos((this.latitude / 180) * Math.PI)) + (this.r() - 0.5) * 3e-6;
  }
}

const kStart = Date.UTC(2026, 5, 19, 21, 34, 5) * 1000;

const zone = {
  name: "America/Chicago",
  recorded: true,
  offsets: [{ from_us: null, minutes: -300, abbreviation: "CDT" }],
};

function file(title, recordings, extra = {}) {
  return {
    format: 1,
    tool: "vmr 1.0.0",
    made_us: kStart + 86400e6,
    title,
    range: null,
    axis_us: kStart,
    has_time: true,
    zone,
    recordings,
    ...extra,
  };
}

const exact = (x, to, us, extra = {}) => ({ x, to, us, quality: "exact", run: 0, tick: x, displaced: false, ...extra });

function city(longitude = -93.6319) {
  const columns = new Columns();
  const m = new Maker(columns, "car7", 7);
  fitOut(m);
  const to = 5040;
  m.stretches.push(exact(0, to, kStart));
  drive(m, 0, to, new Place(42.0308, longitude, m.random), { busy: 2 });
  m.track.longitude = m.track.longitude.map((parts) => (parts > 180 * 600000 ? parts - 360 * 600000 : parts));
  const facts = identity("M. Okafor", "Car 7", "VMR-000123");
  return { header: file("Car 7, 2026-06-19, evening", [m.finish({ facts })]), columns };
}

// A night on which much went wrong: clusters lost, the clock set, a restart, damage, a doubtful hemisphere.
function damage() {
  const columns = new Columns();
  const m = new Maker(columns, "car3", 11);
  fitOut(m);
  const place = new Place(42.0308, -93.6319, m.random, 0.04);
  m.stretches.push(exact(0, 3000, kStart), { ...exact(3900, 5200, kStart + 3900 * 5e5), quality: "estimated" });
  drive(m, 0, 3000, place, { busy: 3 });
  m.unknownFrom(3001);
  m.gaps.push({ reason: "lost_clusters", words: "3 clusters lost; 7 min 30 s not recorded", from: 3001, to: 3899, from_tick: 3001, to_tick: 3899, clusters: 3, bytes: 12288 });
  m.findings.push({ severity: "gap", words: "3 clusters lost; 7 min 30 s not recorded", x: 3001 });
  m.event(3001, "gap", "gap: 3 clusters lost; 7 min 30 s not recorded");
  drive(m, 3900, 5200, place, { busy: 2 });
  m.findings.push({ severity: "clock", words: "time estimated for 10 min 50 s: the unit told none after the gap", x: 3900 });
  const jump = -3 * 3600e6;
  m.stretches.push(exact(5201, 6800, kStart + 5201 * 5e5 + jump, { displaced: true }));
  m.steps.push({ x: 5201, tick: 5201, expected_us: kStart + 5201 * 5e5, told_us: kStart + 5201 * 5e5 + jump, words: "clock set back by 3 h" });
  m.event(5201, "clock_step", "clock set back by 3 h");
  m.findings.push({ severity: "clock", words: "clock set back by 3 h", x: 5201 });
  drive(m, 5202, 6800, place, { busy: 2, fullState: false });
  m.unknownFrom(6801);
  m.run = 1;
  m.newRuns.push({ x: 6801, run: 1, tick: 1 });
  m.tick0 = -6800;
  m.event(6801, "run", "new run of the tick counter");
  m.stretches.push({ x: 6801, to: 8200, us: null, quality: "unknown", run: 1, tick: 1, displaced: true });
  m.findings.push({ severity: "note", words: "after the restart the unit told no time: placed right behind what came before", x: 6801 });
  drive(m, 6801, 8200, place, { busy: 3 });
  m.gaps.push({ reason: "tick_jump", words: "a gap whose length nobody knows", from: 8200, to: null, from_tick: 1400, to_tick: null, clusters: 0, bytes: 900 });
  m.findings.push({ severity: "gap", words: "a gap whose length nobody knows", x: 8200 });
  for (const x of [1200, 1204, 4400]) {
    m.event(x, "speed", `GPS speed ${180 + (x % 7)} mph`, kWrongCrc);
    const s = m.series.get("speed/0");
    let at = s.x.findIndex((v) => v > x);
    if (at < 0) at = s.x.length;
    s.x.splice(at, 0, x);
    s.value.splice(at, 0, 88);
    s.flags.splice(at, 0, kWrongCrc);
    const l = m.lanes.get("input/siren");
    at = l.x.findIndex((v) => v > x);
    if (at < 0) at = l.x.length;
    l.x.splice(at, 0, x);
    l.word.splice(at, 0, 2);
    l.flags.splice(at, 0, kWrongCrc);
    m.findings.push({ severity: "crc", words: `packet with a wrong CRC at tick ${x}`, x });
  }
  for (let i = 0; i < m.track.x.length; i++) {
    if (m.track.x[i] >= 5900 && m.track.x[i] < 6000) m.track.flags[i] |= 2;
    if (m.track.x[i] === 1200 || m.track.x[i] === 4400) m.track.flags[i] |= 4;
    if (m.track.x[i] >= 700 && m.track.x[i] < 900) m.track.speed[i] = -1;
  }
  m.findings.push({ severity: "position", words: "50 positions whose hemisphere is not verified", x: 5900 });
  m.event(8200, "log", "log: last words without a tick", 8);
  sortEvents(m);
  m.findings.sort((a, b) => a.x - b.x);
  const facts = identity(["J. Larsen", "A. Whitfield"], "Car 3", "VMR-000088");
  return { header: file("Car 3, night of 2026-06-19", [m.finish({ facts, policies_complete: false })]), columns };
}

function sortEvents(m) {
  const order = m.events.x.map((_, i) => i).sort((a, b) => m.events.x[a] - m.events.x[b] || a - b);
  for (const key of Object.keys(m.events)) m.events[key] = order.map((i) => m.events[key][i]);
}

function empty() {
  const columns = new Columns();
  const m = new Maker(columns, "spare", 1);
  const header = file("spare", [
    m.finish({ facts: [fact("officer"), fact("vehicle")], versions: [], policies: [], policy_sha256: null, policies_complete: false }),
  ]);
  return { header: { ...header, axis_us: 0, has_time: false, zone: { name: "UTC", recorded: false, offsets: [{ from_us: null, minutes: 0, abbreviation: "UTC" }] } }, columns };
}

// Once round the pole, a kilometre from it.
function pole() {
  const made = empty();
  const m = new Maker(made.columns, "sledge", 3);
  m.stretches.push(exact(0, 720, kStart));
  for (let x = 0; x <= 720; x++) m.point(x, -90 + 1 / 111.195, ((x / 2 + 200) % 360) - 180, 8700);
  made.header = file("The pole", [m.finish()]);
  return made;
}

// A unit that was never told the time.
function ticks() {
  const made = pole();
  const [recording] = made.header.recordings;
  recording.stretches = [{ x: 0, to: 720, us: null, quality: "unknown", run: 0, tick: 500 }];
  recording.findings.push({ severity: "position", words: "positions without a hemisphere", x: 0 });
  made.header.axis_us = 0;
  made.header.has_time = false;
  return made;
}

// A part that lies in a gap: nobody is known in it, and nothing has a place.
function part() {
  const made = empty();
  const [recording] = made.header.recordings;
  recording.sources[0].damage = "1 cluster bad";
  for (const one of recording.facts) one.untold = "unknown";
  recording.nothing = "all that was recorded in the part asked for is lost";
  recording.no_policy = recording.nothing;
  const words = "gap: 1 cluster lost; tick 2116 to 3064";
  recording.gaps.push({ reason: "lost clusters", words, from: -84, to: 764, from_tick: 2116, to_tick: 3064, clusters: 1, bytes: 4096 });
  recording.findings.push({ severity: "gap", words, x: null });
  made.header.range = { from: "2200", to: "2300" };
  return made;
}

// Behind a gap that lies in front of the part asked for.
function behind() {
  const made = city();
  made.header.range = { from: "3100", to: null };
  made.header.recordings[0].facts[0] = { name: "officer", values: [], untold: "unknown behind the gap" };
  made.header.recordings[0].findings.push({ severity: "gap", words: "in front of the part asked for there is a gap", x: null });
  return made;
}

export const kHostile = [
  "</script><script>alert(1)</script>",
  "<img src=x onerror=alert(1)>",
  "\u202Eevil\u202C שלום עליכם",
  "مرحبا officer <b>bold</b>",
  "&lt;&amp;\"'`${1+1}",
  "<!--vmr:data--> {{script}} $& $1",
  "x".repeat(300),
];

function hostile() {
  const columns = new Columns();
  const m = new Maker(columns, kHostile[0], 5);
  fitOut(m);
  m.addLane("input/hostile", "inputs", kHostile[1], null, ["unknown", kHostile[0], kHostile[3]], [2]);
  m.addSeries("temperature/hostile", "temperature", kHostile[2], kHostile[1]);
  m.stretches.push(exact(0, 1200, kStart));
  drive(m, 0, 1200, new Place(-33.9, 18.42, m.random), { busy: 8 });
  for (const [i, text] of kHostile.entries()) {
    m.event(100 + i * 100, kHostile[i % 3], text);
    m.word("input/hostile", 100 + i * 100, 1 + (i % 2));
    m.value("temperature/hostile", 100 + i * 100, 20 + i);
  }
  sortEvents(m);
  m.findings.push({ severity: "note", words: kHostile[0], x: 300 });
  const facts = [fact("officer", kHostile[2], kHostile[1]), fact("vehicle", kHostile[3]), fact("department", kHostile[6]), fact("serial_number", kHostile[4]), fact(kHostile[1], kHostile[5])];
  const header = file(kHostile[0], [m.finish({ facts, versions: [{ component: kHostile[1], text: kHostile[2] }], policies: [{ name: kHostile[1], number: 1, value: kHostile[0] }] })]);
  return { header, columns };
}

function long(hours, name, title) {
  const columns = new Columns();
  const m = new Maker(columns, name, hours);
  fitOut(m);
  m.addSeries("temperature/power", "temperature", "power", "°C");
  m.addSeries("voltage/0", "voltage", "supply", "V", 0.001, 2);
  const to = hours * 7200;
  m.stretches.push(exact(0, to, kStart));
  drive(m, 0, to, new Place(42.0308, -93.6319, m.random), { busy: 4 });
  for (let x = 0; x <= to; x += 10) {
    m.value("temperature/power", x, 50 + Math.round(8 * Math.sin(x / 3000) + m.random() * 3));
    m.value("voltage/0", x, 13800 + Math.round((m.random() - 0.5) * 400));
  }
  const facts = identity("M. Okafor", "Car 7", "VMR-000123");
  return { header: file(title, [m.finish({ facts })]), columns };
}

function two() {
  const columns = new Columns();
  const a = new Maker(columns, "car7", 21);
  const b = new Maker(columns, "car8", 22);
  for (const m of [a, b]) fitOut(m);
  a.stretches.push(exact(0, 4000, kStart));
  drive(a, 0, 4000, new Place(42.0308, -93.6319, a.random, 0.03), { busy: 4 });
  b.stretches.push(exact(900, 2600, kStart + 900 * 5e5), exact(3000, 5200, kStart + 3000 * 5e5));
  const place = new Place(42.04, -93.62, b.random, 0.03);
  drive(b, 900, 2600, place, { busy: 4 });
  b.unknownFrom(2601);
  b.gaps.push({ reason: "off", words: "not recorded for 3 min 20 s", from: 2600, to: 3000, from_tick: 2600, to_tick: 3000, clusters: 0, bytes: 0 });
  b.findings.push({ severity: "gap", words: "not recorded for 3 min 20 s", x: 2601 });
  drive(b, 3000, 5200, place, { busy: 4 });
  const one = a.finish({ facts: identity("M. Okafor", "Car 7", "VMR-000123") });
  const other = b.finish({ facts: identity("S. Lindqvist", "Car 8", "VMR-000140", "America/Denver") });
  return { header: file("Cars 7 and 8, 2026-06-19", [one, other]), columns };
}

// Two drives of one store, two hours apart: its ticks go on from one to the other.
function parked() {
  const columns = new Columns();
  const m = new Maker(columns, "car5", 31);
  fitOut(m);
  const place = new Place(42.0308, -93.6319, m.random, 0.03);
  const again = 14400;
  m.stretches.push(exact(0, 1199, kStart), exact(again, again + 1500, kStart + again * 5e5, { tick: 1200 }));
  drive(m, 0, 1199, place, { busy: 4 });
  m.unknownFrom(1200);
  const words = "the unit was off, or its clock was set, 1 h 50 min forward at tick 1200";
  m.steps.push({ x: again, tick: 1200, expected_us: kStart + 1200 * 5e5, told_us: kStart + again * 5e5, words });
  m.findings.push({ severity: "clock", words, x: again });
  m.tick0 = 1200 - again;
  m.event(again, "clock_step", words);
  drive(m, again, again + 1500, place, { busy: 4 });
  return { header: file("Car 5, two drives", [m.finish({ facts: identity("M. Okafor", "Car 5", "VMR-000131") })]), columns };
}

// A unit that tells no hemisphere at first: north-east stands for all. The receiver finds nothing for
// its last five minutes.
function hemisphere() {
  const made = city();
  const columns = new Columns();
  const m = new Maker(columns, "car7", 7);
  fitOut(m);
  m.stretches.push(exact(0, 5040, kStart));
  drive(m, 0, 5040, new Place(42.0308, -93.6319, m.random), { busy: 2 });
  const kept = m.track.x.map((x) => x <= 4440);
  for (const key of Object.keys(m.track)) m.track[key] = m.track[key].filter((_, i) => kept[i]);
  m.track.x.forEach((x, i) => {
    if (x >= 600) return;
    m.track.longitude[i] *= -1;
    m.track.flags[i] |= 2;
  });
  const [{ facts }] = made.header.recordings;
  return { header: { ...made.header, recordings: [m.finish({ facts })] }, columns };
}

// A clock that was 90 minutes ahead for ten minutes, then set; ticks went on.
function setBack() {
  const made = city();
  const [recording] = made.header.recordings;
  const to = recording.stretches[0].to;
  const ahead = 90 * 60e6;
  recording.stretches = [exact(0, 1199, kStart + ahead, { displaced: true }), exact(3000, to, kStart + 3000 * 5e5, { tick: 1200 })];
  recording.steps.push({ x: 3000, tick: 1200, expected_us: kStart + 1200 * 5e5 + ahead, told_us: kStart + 3000 * 5e5, words: "the unit's clock was set back by 1 h 15 min" });
  return made;
}

// Lights are told at all only from a full state on and end in a gap; there is no speed.
function lights() {
  const columns = new Columns();
  const m = new Maker(columns, "car9", 9);
  m.addLane("input/emergency lights", "inputs", "emergency lights", "lights");
  m.stretches.push(exact(0, 999, kStart), exact(2000, 3000, kStart + 2000 * 5e5));
  m.word("input/emergency lights", 100, 2, kFullState);
  for (const [x, word] of [[300, 1], [400, 2], [500, 1], [600, 2], [610, 1], [700, 2]]) m.word("input/emergency lights", x, word);
  m.unknownFrom(1000);
  m.word("input/emergency lights", 2000, 1, kFullState);
  return { header: file("Car 9", [m.finish()]), columns };
}

// A unit with many things that it never tells.
function silent() {
  const columns = new Columns();
  const m = new Maker(columns, "car7", 3);
  fitOut(m);
  for (let i = 0; i < 45; i++) m.addLane(`camera/silent ${i}`, "cameras", `silent ${i}`);
  m.stretches.push(exact(0, 600, kStart));
  drive(m, 0, 600, new Place(42.0308, -93.6319, m.random), { fullState: false });
  return { header: file("Car 7, ten minutes", [m.finish()]), columns };
}

// Of the same unit, three years apart.
function years() {
  const made = two();
  const [, other] = made.header.recordings;
  const later = 3 * 365 * 86400 * 2;
  for (const stretch of other.stretches) {
    stretch.x += later;
    stretch.to += later;
    stretch.us += later * 5e5;
  }
  Object.assign(other, { gaps: [], findings: [], series: [], lanes: [] });
  return made;
}

// A drive over the hour that clocks of the place show twice.
function autumn() {
  const made = city();
  const shift = Date.UTC(2026, 10, 1, 6, 34, 5) * 1000 - kStart;
  made.header.axis_us += shift;
  for (const stretch of made.header.recordings[0].stretches) stretch.us += shift;
  made.header.zone = {
    ...zone,
    offsets: [...zone.offsets, { from_us: Date.UTC(2026, 10, 1, 7) * 1000, minutes: -360, abbreviation: "CST" }],
  };
  return made;
}

// Somebody asked for times of another place than the unit's.
function elsewhere() {
  const made = city();
  const offsets = [{ from_us: null, minutes: 600, abbreviation: "AEST" }];
  made.header.zone = { name: "Australia/Sydney", recorded: false, asked: true, offsets };
  return made;
}

export const kMade = {
  city: () => city(),
  // The same on both sides of the 180th meridian.
  dateLine: () => city(180.01),
  pole,
  ticks,
  elsewhere,
  damage,
  empty,
  part,
  behind,
  hostile,
  shift: () => long(10, "car7", "Car 7, ten hours"),
  week: () => long(168, "car7", "Car 7, a week"),
  two,
  years,
  autumn,
  parked,
  hemisphere,
  setBack,
  lights,
  silent,
};

export function writePages(folder, names = Object.keys(kMade)) {
  mkdirSync(folder, { recursive: true });
  const template = readFileSync(join(here, "..", "template.html"), "utf8");
  const pages = {};
  for (const name of names) {
    const { header, columns } = kMade[name]();
    const path = join(folder, `${name}.html`);
    const data = pack(header, columns);
    writeFileSync(path, fill(template, { title: header.title, summary: header.title, data }));
    pages[name] = { path, data };
  }
  return pages;
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  for (const [name, { path, data }] of Object.entries(writePages(process.argv[2] ?? "pages")))
    console.log(`${name}: ${path}, ${data.length} bytes of data`);
}
