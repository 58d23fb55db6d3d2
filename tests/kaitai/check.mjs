// docs/format.ksy has every tag with its length, and a parser made of it reads in recordings what
// `vmr export` does, value by value.
//
// usage: node check.mjs SOURCE_DIR VMR PRINT_TAGS

import { spawnSync } from "node:child_process";
import { closeSync, mkdtempSync, openSync, readFileSync, rmSync, writeFileSync,
         writeSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { isDeepStrictEqual } from "node:util";
import { kindsOf, plainLine, policiesOf } from "./kinds.mjs";
import { crc8, parserOf, recordsOf } from "./recording.mjs";

const [sourceDir, vmr, printTags] = process.argv.slice(2);
const CLUSTER = 4096;
const LEAST_RECORDS = 2000;  // of a drive
const LOST = 2;              // a cluster in the middle of the extracts' range
let failures = 0;

function check(right, what) {
  if (right) return;
  ++failures;
  console.error(`check-format: ${what}`);
}

function run(program, args, codes = [0]) {
  const done = spawnSync(program, args, { encoding: "utf8", maxBuffer: 1 << 28 });
  if (!codes.includes(done.status))
    throw new Error(`${program} ${args.join(" ")} ends with ${done.status}: ${done.stderr}`);
  return done.stdout;
}

// ---- The table of tags -------------------------------------------------------------

// By tag: its bytes, and whether a text follows.
function catalogue() {
  return run(printTags, []).trim().split("\n").map((line) => {
    const [tag, size, text, kind] = line.split(" ");
    return { tag: parseInt(tag, 16), size: Number(size), isText: text === "text", kind };
  });
}

const PATTERNS = [0x00, 0x01, 0x33, 0xfc, 0xff];
const TEXTS = ["", "plain", "caf\u00e9 \u202e\u0007"].map((text) => Buffer.from(text))
  .concat([Buffer.from([0xe9, 0x41, 0xff, 0xc3])]);

function itemsOf({ tag, size, isText }) {
  return PATTERNS.flatMap((pattern) => {
    const head = Buffer.alloc(size, pattern);
    head[0] = tag;
    if (!isText) return [head];
    return TEXTS.map((text) => {
      head[size - 1] = text.length;
      return Buffer.concat([head, text]);
    });
  });
}

function packet(tick, items) {
  const head = Buffer.from([0x80, 0, 0, 0, 0, items.length]);
  head.writeUInt32LE(tick, 1);
  const body = Buffer.concat([head, items]);
  return Buffer.concat([body, Buffer.from([crc8(body)])]);
}

const flat = (...packets) => Buffer.concat([Buffer.from("f]S1"), ...packets]);

// What is wrong with a parser's table of tags; null: nothing.
function problemOfTags(parser, rows) {
  const root = parser.parse(flat());
  const known = new Map(rows.map((row) => [row.tag, row]));
  for (let tag = 0; tag < 256; ++tag) {
    const row = known.get(tag);
    const wanted = row === undefined ? 0 : row.size | (row.isText ? 0x80 : 0);
    const found = root.descriptors[tag];
    const name = `tag 0x${tag.toString(16)}`;
    if (found !== wanted) return `${name} has descriptor 0x${found.toString(16)}, not ${wanted}`;
    if ((parser.Recording.Tag[tag] !== undefined) !== (row !== undefined))
      return `${name} ${row === undefined ? "is named, and is none" : "has no name"}`;
  }
  for (const row of rows) {
    for (const bytes of itemsOf(row)) {
      const twice = Buffer.concat([bytes, bytes]);
      const items = parser.parse(flat(packet(1, twice))).flatFile.packets[0].body.items.items;
      if (items.length !== 2 || items.some((item) => !item.isWhole || item.body === undefined ||
                                                     item.number !== row.tag))
        return `an item of tag 0x${row.tag.toString(16)} is not read as ${bytes.length} bytes`;
    }
  }
  return null;
}

async function checkTags(parser, rows, folder) {
  const problem = problemOfTags(parser, rows);
  check(problem === null, `docs/format.ksy and the catalogue differ: ${problem}`);
  // That this would be noticed.
  const source = readFileSync(join(sourceDir, "docs/format.ksy"), "utf8");
  const changes = [["0x00, 0x00, 0x08, 0x05,", "0x00, 0x00, 0x08, 0x06,"],
                   ["    0xc0: button\n", ""], ["            'tag::button': button\n", ""],
                   ["- id: percent\n        type: u1\n", "- id: percent\n        type: u2\n"]];
  for (const [from, to] of changes) {
    const path = join(folder, "changed.ksy");
    let changed = source.replace(from, to);
    if (from.startsWith("    0xc0")) changed = changed.replace(/ +'tag::button'.*\n/, "");
    check(changed !== source, `${from.trim()} is not in docs/format.ksy`);
    writeFileSync(path, changed);
    let noticed = false;
    try {
      noticed = problemOfTags(await parserOf(path), rows) !== null;
    } catch {
      noticed = true;  // does not compile, or reads past an end
    }
    check(noticed, `nobody notices "${from.trim()}" become "${to.trim()}"`);
  }
}

// ---- Recordings --------------------------------------------------------------------

// (records of the export, number of its gaps)
function exported(path) {
  const lines = run(vmr, ["export", path, "--format", "jsonl"], [0, 3]).trim().split("\n")
    .map((line) => JSON.parse(line));
  const records = lines.filter(({ kind }) => kind !== "gap" && kind !== "clock_step");
  return { lines: records.map(plainLine),
           gaps: lines.filter(({ kind }) => kind === "gap").length };
}

function read(parser, kinds, paths) {
  const { records, gaps } = recordsOf(parser, paths);
  const lines = records.map((record) => {
    const [kind, fields] = kinds[record.tag];
    return { kind, tick: record.tick, ...fields(record.body, record),
             ...record.adjusted === 0 ? {} : { adjusted_by: record.adjusted } };
  });
  return { lines, gaps };
}

// What differs; null: nothing.
function difference(ours, theirs) {
  if (ours.gaps !== theirs.gaps) return `${ours.gaps} gaps, and ${theirs.gaps} are exported`;
  const counts = [ours, theirs].map(({ lines }) =>
    lines.reduce((all, { kind }) => ({ ...all, [kind]: (all[kind] ?? 0) + 1 }), {}));
  for (const kind of new Set(counts.flatMap(Object.keys)))
    if (counts[0][kind] !== counts[1][kind])
      return `${counts[0][kind]} records of ${kind}, and ${counts[1][kind]} are exported`;
  const at = ours.lines.findIndex((line, n) => !isDeepStrictEqual(line, theirs.lines[n]));
  return at < 0 ? null : `record ${at} is ${JSON.stringify(ours.lines[at])}, exported as ` +
    JSON.stringify(theirs.lines[at]);
}

function compare(name, parser, kinds, paths, path, least, gaps = 0) {
  const ours = read(parser, kinds, paths), theirs = exported(path);
  const found = difference(ours, theirs);
  check(found === null, `${name}: ${found}`);
  check(ours.lines.length >= least && ours.gaps === gaps,
        `${name} has ${ours.lines.length} records and ${ours.gaps} gaps`);
  // That one value would be noticed.
  const [first] = theirs.lines;
  theirs.lines[0] = { ...first, tick: first.tick + 1 };
  check(difference(ours, theirs) !== null, `${name}: nobody notices a changed value`);
  console.log(`${name}: ${ours.lines.length} records, ${ours.gaps} gaps`);
}

function spoil(path, cluster) {
  const file = openSync(path, "r+");
  writeSync(file, Buffer.alloc(100, 0xa5), 0, 100, cluster * CLUSTER + 50);
  closeSync(file);
}

function compareDrives(parser, kinds, folder) {
  const base = join(folder, "drive"), files = [`${base}_1.mtd`, `${base}_2.mtd`];
  const examples = join(sourceDir, "examples");
  const of = (name, least = LEAST_RECORDS, gaps = 0) =>
    compare(name, parser, kinds, files, base, least, gaps);
  const extract = (name, options = [], least = 500, gaps = 0) => {
    const path = join(folder, "extract.vmd");
    run(vmr, ["extract", base, path, "--force", "--from", "1000", "--to", "3000", ...options],
        [0, 3]);
    compare(name, parser, kinds, [path], path, least, gaps);
    return path;
  };
  run(vmr, ["record", base, "--replay", "--no-sync",
            "--input", join(examples, "drive_long_iowa.gpsd.json"),
            "--input", join(examples, "drive_long_iowa.events.jsonl"),
            "--config", join(examples, "unit.config.json")]);
  of("drive");
  extract("extract as a unit makes it", ["--as-unit"]);
  const whole = readFileSync(extract("extract")), cut = join(folder, "cut.vmd");
  writeFileSync(cut, whole.subarray(0, whole.length - 3));
  compare("extract cut short", parser, kinds, [cut], cut, 500, 1);
  spoil(files[0], 1);
  of("drive with a bad cluster in one file");
  spoil(files[0], LOST);
  spoil(files[1], LOST);
  of("drive with a cluster that is bad in both files", LEAST_RECORDS / 2, 1);
  extract("extract across a lost cluster", [], 500, 1);
}

// Every tag, with values that are usual, the least, the most, and of no known meaning.
function compareEveryTag(parser, kinds, rows, folder) {
  const items = rows.flatMap(itemsOf);
  const path = join(folder, "tags.vmd");
  writeFileSync(path, flat(...items.map((item, n) => packet(n + 1, item)),
                           packet(items.length + 1, Buffer.from("0005", "hex"))));
  compare("every tag", parser, kinds, [path], path, 300, 1);
}

async function main() {
  const folder = mkdtempSync(join(tmpdir(), "vmr-format-"));
  try {
    const parser = await parserOf(join(sourceDir, "docs/format.ksy"));
    const kinds = kindsOf(parser.Recording, policiesOf(join(sourceDir, "docs/format.md")));
    const rows = catalogue();
    for (const { tag, kind } of rows)
      check(kinds[tag]?.[0] === kind, `tag ${tag} is of kind ${kind}, not ${kinds[tag]}`);
    await checkTags(parser, rows, folder);
    compareEveryTag(parser, kinds, rows, folder);
    compareDrives(parser, kinds, folder);
  } finally {
    rmSync(folder, { recursive: true });
  }
  if (failures > 0) process.exit(1);
  console.log("check-format: docs/format.ksy has every tag, and reads what vmr exports");
}

await main();
