// Identity, versions, policy and digests: what a technician asks and what ties the page to its sources.

import type { Header, RecordingHeader } from "./data";
import { make, recorded } from "./dom";
import { otherFacts } from "./heading";

function table(caption: string, columns: string[], rows: (string | HTMLElement)[][]): HTMLElement {
  const head = make("tr");
  for (const column of columns) head.append(make("th", { scope: "col" }, column));
  const body = make("tbody");
  for (const row of rows) {
    const line = make("tr");
    row.forEach((cell, i) => {
      const element = i === 0 ? make("th", { scope: "row" }) : make("td");
      element.append(typeof cell === "string" ? recorded(cell) : cell);
      line.append(element);
    });
    body.append(line);
  }
  return make("table", {}, make("caption", {}, caption), make("thead", {}, head), body);
}

function digest(text: string | null): HTMLElement {
  return text ? make("code", {}, text) : make("span", { class: "unknown" }, "not computed");
}

function sources(recording: RecordingHeader): HTMLElement {
  const rows = recording.sources.map((s) => [s.path, String(s.bytes), digest(s.sha256), [s.problem, s.damage].filter(Boolean).join("; ") || "none"]);
  return table("Sources that this page was made from", ["File", "Bytes", "SHA-256", "Problem"], rows);
}

function totals(recording: RecordingHeader): HTMLElement {
  const t = recording.totals;
  const rows: [string, string][] = [
    ["records", String(t.records)],
    ["packets with a wrong CRC", String(t.wrong_crc_packets)],
    ["records in them", String(t.wrong_crc)],
    ["unverified positions", String(t.unverified)],
    ["runs of the tick counter", String(t.runs)],
    ["starts of the unit", String(t.starts)],
    ["oldest part overwritten", t.overwritten ? "yes" : "no"],
  ];
  return table("Amounts", ["What", "Number"], rows);
}

function scrolling(element: HTMLElement, label: string): HTMLElement {
  return make("div", { class: "wide", tabindex: "0", role: "region", "aria-label": label }, element);
}

export function details(header: Header): HTMLElement {
  const element = make("div", { class: "details" });
  for (const [recording, facts] of otherFacts(header)) {
    const part = make("section", { class: "detail" });
    const name = (what: string) => `${recording.name}: ${what}`;
    part.append(make("h3", {}, recorded(recording.name)));
    part.append(scrolling(sources(recording), name("sources")));
    const tables = make("div", { class: "columns" });
    tables.append(scrolling(table("Identity", ["What", "Told by the unit"], facts), name("identity")));
    tables.append(scrolling(totals(recording), name("amounts")));
    if (recording.versions.length)
      tables.append(
        scrolling(table("Versions", ["Component", "Version"], recording.versions.map((v) => [v.component, v.text])), name("versions")),
      );
    part.append(tables);
    const policy = recording.policies;
    if (policy.length) {
      const rows = policy.map((p) => [p.name, String(p.number), p.value]);
      const title = recording.policies_complete ? "Policy in force" : "Policy in force, as far as it is known";
      const more = make("details", {}, make("summary", {}, `${title} (${policy.length} settings)`));
      more.append(scrolling(table(title, ["Setting", "Number", "Value"], rows), name("policy")));
      more.append(make("p", {}, "SHA-256 of the policy: ", digest(recording.policy_sha256)));
      part.append(more);
    } else part.append(make("p", { class: "unknown" }, `No policy is known: ${recording.no_policy}.`));
    element.append(part);
  }
  // Not in the recording's zone: its offsets are known for the recording's time alone.
  const made = new Date(header.made_us / 1000).toISOString().replace("T", " ").replace(/\.\d+Z$/, " UTC");
  element.append(make("p", { class: "made" }, "Made by ", recorded(header.tool), ` on ${made}. `, "This file holds all that it shows and loads nothing."));
  return element;
}
