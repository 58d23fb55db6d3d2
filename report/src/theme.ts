// Colours of the drawings: the same palette as the style sheet, which build.mjs fills from it.

import palette from "../palette.json";

export type Palette = (typeof palette)["light"];

export const kPrintWidth = 700; // A4 less its margins, in CSS pixels

let printing = false;
let asked: "light" | "dark" | null = null;
const darkByDefault = matchMedia("(prefers-color-scheme: dark)");

export function isDark(): boolean {
  return asked ? asked === "dark" : darkByDefault.matches;
}

export function colours(): Palette {
  return isDark() && !printing ? palette.dark : palette.light;
}

export function setPrinting(on: boolean): void {
  printing = on;
}

export function isPrinting(): boolean {
  return printing;
}

export function switchTheme(): void {
  asked = isDark() ? "light" : "dark";
  document.documentElement.dataset["theme"] = asked;
}

export function onThemeOfSystem(changed: () => void): void {
  darkByDefault.addEventListener("change", changed);
}

// A canvas drawn at twice its size stays sharp on paper.
export function pixelRatio(): number {
  return printing ? 2 : Math.max(1, window.devicePixelRatio || 1);
}

const hatches = new Map<string, CanvasPattern>();

// Told apart without their colour: stripes for "unknown", crossed ones for "lost", dots for "not
// recorded", upright lines for times that no clock showed.
export type Hatch = "striped" | "crossed" | "dotted" | "upright";

export function hatch(ctx: CanvasRenderingContext2D, colour: string, kind: Hatch): CanvasPattern | string {
  const ratio = pixelRatio();
  const key = `${colour} ${kind} ${ratio}`;
  const known = hatches.get(key);
  if (known) return known;
  const size = Math.round(6 * ratio);
  const tile = document.createElement("canvas");
  tile.width = size;
  tile.height = size;
  const t = tile.getContext("2d")!;
  t.strokeStyle = colour;
  t.lineWidth = ratio;
  t.beginPath();
  if (kind === "dotted") t.rect(size / 2, size / 2, ratio / 2, ratio / 2);
  else if (kind === "upright") {
    t.moveTo(size / 2, 0);
    t.lineTo(size / 2, size);
    t.lineWidth = 0.7 * ratio;
  }
  for (const shift of kind === "striped" || kind === "crossed" ? [-size, 0, size] : []) {
    t.moveTo(shift, size);
    t.lineTo(shift + size, 0);
    if (kind === "crossed") {
      t.moveTo(shift, 0);
      t.lineTo(shift + size, size);
    }
  }
  t.stroke();
  const pattern = ctx.createPattern(tile, "repeat");
  if (!pattern) return colour;
  pattern.setTransform(new DOMMatrix().scale(1 / ratio));
  hatches.set(key, pattern);
  return pattern;
}

// Sets the size of a canvas and clears it; the context then takes CSS pixels.
export function prepare(canvas: HTMLCanvasElement, width: number, height: number): CanvasRenderingContext2D {
  const ratio = pixelRatio();
  const w = Math.max(1, Math.round(width * ratio));
  const h = Math.max(1, Math.round(height * ratio));
  // A new width clears the canvas. On paper drawings are replayed, and a replayed clearRect would
  // erase what lies below this canvas too.
  if (printing || canvas.width !== w) canvas.width = w;
  if (canvas.height !== h) canvas.height = h;
  const ctx = canvas.getContext("2d")!;
  ctx.setTransform(1, 0, 0, 1, 0, 0);
  if (!printing) ctx.clearRect(0, 0, w, h);
  ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
  return ctx;
}
