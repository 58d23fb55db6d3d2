// Who, when, and how much of it is there. Made from the header alone, before any column is read.

import { answerTexts, type Answers } from "./answers";
import { displacedWords, RecordingAxis } from "./axis";
import { exactDurationText, type Clock } from "./clock";
import type { Fact, Finding, Header, RecordingHeader } from "./data";
import { make, recorded } from "./dom";
import { Moments } from "./moments";

const kShown: [string, string][] = [
  ["officer", "Officer"],
  ["vehicle", "Vehicle"],
  ["department", "Department"],
  ["serial_number", "Unit"],
];

// What stands in front of value `i` of a fact.
function between(fact: Fact, i: number): string {
  if (i === 0) return "";
  if (!fact.left_out || i + 1 < fact.values.length) return ", then ";
  return `, then ${fact.left_out} more ${fact.left_out === 1 ? "change" : "changes"}, last `;
}

function factValue(recording: RecordingHeader, name: string): HTMLElement {
  const fact = recording.facts.find((f) => f.name === name);
  const values = fact?.values ?? [];
  const value = make("dd");
  if (values.length === 0) {
    value.append(make("span", { class: "unknown" }, fact?.untold || "not recorded"));
    return value;
  }
  values.forEach((v, i) => {
    value.append(between(fact!, i), recorded(v.text || "(empty)"));
  });
  return value;
}

// First and last time that the unit's clock told.
function span(recording: RecordingHeader, clock: Clock, short: boolean, part: boolean): HTMLElement {
  const timed = recording.stretches.filter((s) => s.us !== null && s.quality !== "unknown");
  const right = timed.filter((s) => !s.displaced);
  const told = right.length ? right : timed;
  const value = make("dd", { class: "span" });
  const first = told[0];
  const last = told[told.length - 1];
  if (!first || !last) {
    const words = part && recording.nothing ? recording.nothing : `no time was recorded${part ? " in the part asked for" : ""}`;
    value.append(make("span", { class: "unknown" }, words));
    return value;
  }
  const from = first.us!;
  const to = last.us! + (last.to - last.x) * 500000;
  const sameDay = clock.date(from) === clock.date(to);
  const sameOffset = clock.offset(from) === clock.offset(to);
  const about = (estimated: boolean) => (estimated ? "about " : "");
  const day = (us: number) => (short ? clock.date(us) : `${clock.weekday(us)} ${clock.date(us)}`);
  value.append(
    `${day(from)} ${about(first.quality === "estimated")}`,
    make("strong", {}, clock.time(from)),
    sameOffset ? "" : ` ${clock.offset(from)}`,
    " to ",
    sameDay ? "" : `${day(to)} `,
    about(last.quality === "estimated"),
    make("strong", {}, clock.time(to)),
    ` ${clock.offset(to)}`,
    // In UTC the offset is the zone's name.
    clock.zoneName() === clock.offset(to) ? "" : make("span", { class: "zone" }, ` ${clock.zoneName()}`),
  );
  const silent = recording.stretches.filter((s) => s.us === null || s.quality === "unknown");
  const halves = silent.reduce((sum, s) => sum + s.to - s.x + 1, 0);
  if (halves > 0) value.append(`, and ${exactDurationText(halves)} without a time`);
  const apart = new Map<string, number>();
  for (const s of timed.filter((one) => !told.includes(one))) {
    const words = displacedWords(recording, s);
    apart.set(words, (apart.get(words) ?? 0) + s.to - s.x + 1);
  }
  for (const [words, length] of apart) value.append(`, and ${exactDurationText(length)} ${words}`);
  return value;
}

function amounts(recording: RecordingHeader): HTMLElement {
  const { totals } = recording;
  const list = make("dl", { class: "amounts" });
  const amount = (name: string, text: string, kind: string) =>
    list.append(make("div", { class: `amount ${kind}` }, make("dt", {}, name), make("dd", {}, text)));
  amount("Recorded", exactDurationText(totals.recorded_halves), "good");
  amount("Lost", totals.lost_halves > 0 ? exactDurationText(totals.lost_halves) : "none", totals.lost_halves > 0 ? "bad" : "");
  const unknown = totals.lost_unknown;
  amount(
    "Lost, for how long unknown",
    unknown > 0 ? `${unknown} ${unknown === 1 ? "gap" : "gaps"}` : "none",
    unknown > 0 ? "bad" : "",
  );
  return list;
}

// A line of its name and how much of it there is, one of who and when.
function card(name: HTMLElement, recording: RecordingHeader, clock: Clock, short: boolean, part: boolean, answers: Answers): HTMLElement {
  const facts = make("dl", { class: "facts" });
  for (const [name, label] of kShown)
    facts.append(make("div", { class: "fact" }, make("dt", {}, label), factValue(recording, name)));
  const when = make("div", { class: "fact when" }, make("dt", {}, "When"), span(recording, clock, short, part));
  facts.append(when);
  const texts = answerTexts(answers, recording, clock);
  const asked = texts.length ? make("ul", { class: "answers" }, ...texts.map((text) => make("li", {}, recorded(text)))) : null;
  return make("div", { class: "card" }, make("div", { class: "card-head" }, name, amounts(recording)), facts, asked);
}

type Counted = Finding["severity"] | "where";
const kCounted: [Counted, string, string][] = [
  ["gap", "gap", "gaps"],
  ["clock", "clock finding", "clock findings"],
  ["crc", "wrong CRC", "wrong CRCs"],
  ["position", "unverified position", "unverified positions"],
  ["where", "doubt about where it was", "doubts about where it was"],
];

function counts(header: Header): Map<Counted, number> {
  const found = new Map<Counted, number>();
  for (const { findings, gaps, totals } of header.recordings) {
    const add = (kind: Counted, n: number) => found.set(kind, (found.get(kind) ?? 0) + n);
    const listed = (kind: Finding["severity"]) => findings.filter((f) => f.severity === kind).length;
    // The ring goes round: what it has overwritten was not lost. A gap in front of the part asked for
    // is listed alone.
    const inFront = Math.max(0, listed("gap") - gaps.filter((g) => g.reason !== "overwritten" && g.reason !== "wrong packet CRC").length);
    add("gap", gaps.filter((g) => g.reason !== "overwritten").length + inFront);
    add("clock", listed("clock"));
    add("crc", Math.max(totals.wrong_crc_packets, listed("crc")));
    add("position", totals.unverified);
    // All that are unverified are one finding.
    add("where", listed("position") - (totals.unverified > 0 ? 1 : 0));
    add("note", listed("note"));
  }
  return found;
}

// One line: what is missing or doubtful, with a link to the list of it.
export function doubts(header: Header): HTMLElement {
  const found = counts(header);
  const line = make("p", { class: "doubts" });
  const parts = kCounted.filter(([kind]) => (found.get(kind) ?? 0) > 0);
  if (parts.length === 0 && header.recordings.every((r) => r.stretches.length === 0 && r.totals.records === 0)) {
    line.append(make("span", { class: "doubt note" }, "Nothing is recorded here"));
  } else if (parts.length === 0) {
    line.append(make("span", { class: "doubt none" }, "✓ No gap, clock jump, wrong CRC or unverified position was found"));
  } else {
    line.append(make("span", { class: "doubts-name" }, "Missing or doubtful:"));
    for (const [kind, one, many] of parts) {
      const n = found.get(kind)!;
      line.append(make("a", { class: `doubt ${kind === "where" ? "position" : kind}`, href: "#findings" }, `${n} ${n === 1 ? one : many}`));
    }
  }
  if (header.recordings.some((r) => r.totals.overwritten))
    line.append(make("span", { class: "doubt note" }, "Older parts are overwritten by newer ones"));
  const notes = found.get("note") ?? 0;
  if (notes > 0) line.append(make("a", { class: "doubt note", href: "#findings" }, `${notes} ${notes === 1 ? "note" : "notes"}`));
  return line;
}

export function heading(header: Header, clock: Clock, answers: Answers[]): HTMLElement {
  const element = make("div", { class: "heading" });
  const title = make("h1", {}, recorded(header.title));
  const single = header.recordings.length === 1;
  if (!single) {
    element.classList.add("several");
    element.append(title);
  }
  if (header.range) {
    const { from, to } = header.range;
    const words = make("p", { class: "range" }, "Only a part was asked for: ");
    words.append(from === null ? "from the beginning" : "from ", from === null ? "" : recorded(from));
    words.append(to === null ? " to the end" : " to ", to === null ? "" : recorded(to));
    element.append(words);
  }
  for (const [i, recording] of header.recordings.entries()) {
    const name = single ? title : make("h2", { class: "card-name" }, recorded(recording.name));
    element.append(card(name, recording, clock, !single, header.range !== null, answers[i]!));
  }
  if (header.recordings.length === 0) element.append(make("p", { class: "unknown" }, "Nothing was recorded."));
  return element;
}

export function findings(header: Header, clock: Clock, choose: (x: number) => void): HTMLElement {
  const moments = new Moments(header, clock);
  const kinds = { gap: "Gap", clock: "Clock", crc: "Wrong CRC", position: "Position", note: "Note" };
  const list = make("ol", { class: "findings" });
  for (const recording of header.recordings) {
    const axis = new RecordingAxis(recording);
    for (const finding of recording.findings) {
      const line = make("li", { class: finding.severity }, make("span", { class: `badge ${finding.severity}` }, kinds[finding.severity] ?? "Note"));
      if (header.recordings.length > 1) line.append(recorded(recording.name, { class: "owner" }));
      line.append(recorded(finding.words, { class: "words" }));
      const { x } = finding;
      if (x !== null) {
        const text = moments.clockText(axis, x) ?? moments.axisText(x);
        const go = make("button", { type: "button", class: "go" }, text);
        go.addEventListener("click", () => choose(x));
        line.append(go);
      }
      list.append(line);
    }
  }
  if (!list.childElementCount) list.append(make("li", { class: "none" }, "Nothing odd was found in what is shown."));
  return list;
}

// What else a fact list holds: badge, address, all that the heading leaves out.
export function otherFacts(header: Header): [RecordingHeader, [string, string][]][] {
  return header.recordings.map((recording) => [
    recording,
    recording.facts.map((f): [string, string] => [
      f.name.replace(/_/g, " "),
      f.values.length ? f.values.map((v, i) => between(f, i) + (v.text || "(empty)")).join("") : f.untold || "not recorded",
    ]),
  ]);
}
