// The moment in the address of the page: "#t=2019-06-19T21:51:30.0Z", or "#t=x123" (half seconds)
// where no clock told that time; "&video=" is the moment at which the reader's video begins.

import { isDisplaced } from "./axis";
import type { Header } from "./data";

export interface Linked {
  x: number | null;
  video: number | null; // half seconds on the axis, may have a fraction
}

export function linkFor(header: Header, x: number, video: number | null): string {
  const t = header.has_time && !isDisplaced(header, x)
    ? new Date((header.axis_us + x * 500000) / 1000).toISOString().replace(/(\.\d)\d\dZ$/, "$1Z")
    : `x${x}`;
  return `#t=${t}${video === null ? "" : `&video=${(video / 2).toFixed(2)}`}`;
}

export function readLink(header: Header, hash: string): Linked {
  const fields = new URLSearchParams(hash.replace(/^#/, ""));
  const t = fields.get("t");
  const video = fields.get("video");
  let x: number | null = null;
  if (t !== null && /^x-?\d+$/.test(t)) x = Number(t.slice(1));
  else if (t !== null && header.has_time) {
    const ms = Date.parse(t);
    if (!Number.isNaN(ms)) x = Math.floor((ms * 1000 - header.axis_us) / 500000);
  }
  const seconds = video === null || video.trim() === "" ? NaN : Number(video);
  return { x, video: Number.isFinite(seconds) ? seconds * 2 : null };
}
