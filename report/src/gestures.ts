// Hand and keyboard on the time panels. Wheel and pinch zoom, dragging chooses a part, a click or a
// tap chooses a moment; every one of them has keys.

import type { View } from "./view";

export interface Place {
  toX(clientX: number): number;
  preview(from: number | null, to: number | null): void; // the part being dragged, none: null
}

const kDragPixels = 5;

export function onPointers(surface: HTMLElement, view: View, place: Place): void {
  const pointers = new Map<number, number>();
  let begun: { x: number; clientX: number } | null = null;
  let pinched = false;
  surface.addEventListener(
    "wheel",
    (e) => {
      e.preventDefault();
      const sideways = e.shiftKey || Math.abs(e.deltaX) > Math.abs(e.deltaY);
      const by = e.deltaX || e.deltaY;
      if (sideways) view.pan(Math.sign(by) * (view.to - view.from) * 0.1);
      else view.zoom(Math.exp(Math.sign(e.deltaY) * 0.25), place.toX(e.clientX));
    },
    { passive: false },
  );
  surface.addEventListener("pointerdown", (e) => {
    if (e.button !== 0) return;
    surface.setPointerCapture(e.pointerId);
    pointers.set(e.pointerId, e.clientX);
    if (pointers.size === 1) {
      begun = { x: place.toX(e.clientX), clientX: e.clientX };
      pinched = false;
    } else pinched = true;
  });
  surface.addEventListener("pointermove", (e) => {
    const before = pointers.get(e.pointerId);
    if (before === undefined) {
      if (e.pointerType !== "touch") view.point(place.toX(e.clientX));
      return;
    }
    if (pointers.size === 2) {
      const other = [...pointers].find(([id]) => id !== e.pointerId)![1];
      const was = Math.abs(before - other);
      const is = Math.abs(e.clientX - other);
      if (was > 8 && is > 8) view.zoom(was / is, place.toX((e.clientX + other) / 2));
      place.preview(null, null);
    } else if (begun && !pinched) {
      const x = place.toX(e.clientX);
      view.point(x);
      if (Math.abs(e.clientX - begun.clientX) > kDragPixels) place.preview(begun.x, x);
    }
    pointers.set(e.pointerId, e.clientX);
  });
  const end = (e: PointerEvent) => {
    if (!pointers.delete(e.pointerId)) return;
    place.preview(null, null);
    if (e.type === "pointercancel" || pinched || !begun) return;
    const x = place.toX(e.clientX);
    if (Math.abs(e.clientX - begun.clientX) > kDragPixels) view.show(Math.min(begun.x, x), Math.max(begun.x, x));
    else view.choose(x);
  };
  surface.addEventListener("pointerup", end);
  surface.addEventListener("pointercancel", end);
  surface.addEventListener("pointerleave", () => view.point(null));
  surface.addEventListener("dblclick", () => view.all());
}

// Wherever the focus is, but where keys mean something else: in a field, on a button, in the map,
// in the table, in what scrolls.
const kOwnKeys = "input, select, textarea, button, video, summary, a[href], [role=slider], [role=grid], .map-surface, [tabindex]";

export function onKeys(surface: HTMLElement, view: View, around: (direction: number) => void): void {
  document.addEventListener("keydown", (e) => {
    if (e.ctrlKey || e.metaKey || e.altKey || e.defaultPrevented) return;
    if (e.target !== surface && e.target instanceof Element && e.target.closest(kOwnKeys)) return;
    const span = view.to - view.from;
    const step = e.shiftKey ? Math.max(1, Math.round(span / 50)) : 1;
    const keys: Record<string, () => void> = {
      ArrowLeft: () => view.choose(view.cursor - step),
      ArrowRight: () => view.choose(view.cursor + step),
      ArrowDown: () => view.choose(view.cursor - step),
      ArrowUp: () => view.choose(view.cursor + step),
      PageUp: () => view.choose(view.cursor + Math.max(1, Math.round(span / 10))),
      PageDown: () => view.choose(view.cursor - Math.max(1, Math.round(span / 10))),
      Home: () => view.choose(view.first),
      End: () => view.choose(view.last),
      "+": () => view.zoom(0.5, view.cursor),
      "=": () => view.zoom(0.5, view.cursor),
      "-": () => view.zoom(2, view.cursor),
      "0": () => view.all(),
      "[": () => around(-1),
      "]": () => around(1),
    };
    const act = keys[e.key];
    if (!act) return;
    e.preventDefault();
    act();
  });
}
