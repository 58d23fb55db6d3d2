// A video file that the reader picks from the own disk, played in step with the cursor. Nothing is
// uploaded: the browser reads the file itself. Metadata do not say when a file begins, so the
// reader sets it, and the link of the page carries it.

import { button, make, recorded } from "./dom";
import type { View } from "./view";

export class Video {
  readonly element: HTMLElement;
  private readonly player = make("video", { controls: "", playsinline: "", "aria-label": "Video picked by the reader" });
  private readonly seconds = make("input", { type: "number", step: "0.5", id: "video-begins" });
  private readonly file = make("input", { type: "file", accept: "video/*", id: "video-file" });
  private readonly stage = make("div", { class: "video-stage" });
  private url: string | null = null;
  private told: number | null = null; // the moment that the video itself gave to the cursor
  private following = false; // the cursor follows the video, not the other way round
  begins: number | null = null; // half seconds on the axis

  constructor(
    private readonly view: View,
    wanted: string | null,
    private readonly changed: () => void,
  ) {
    this.stage.hidden = true;
    this.stage.append(
      this.player,
      make(
        "p",
        { class: "video-controls" },
        make("label", { for: "video-begins" }, "Video begins at second "),
        this.seconds,
        " of the axis ",
        button("This frame is the cursor", "Let the frame shown stand for the moment of the cursor", () => this.align()),
      ),
    );
    const asked = wanted ? ["Video from your disk, the file ", recorded(wanted), ": "] : ["Video from your disk: "];
    this.element = make(
      "div",
      { class: "video" },
      make("p", { class: "pick" }, make("label", { for: "video-file" }, ...asked), this.file),
      this.stage,
    );
    this.file.addEventListener("change", () => this.open());
    this.seconds.addEventListener("change", () => {
      const value = Number(this.seconds.value);
      if (Number.isFinite(value)) this.setBegin(value * 2);
    });
    this.player.addEventListener("play", () => this.step());
    this.player.addEventListener("seeked", () => {
      if (this.player.paused && this.following) this.tell();
      this.following = true;
    });
  }

  // From the link: in force once a file is picked.
  setBegin(x: number): void {
    if (x === this.begins) return;
    this.begins = x;
    this.seconds.value = String(Math.round(x * 50) / 100);
    this.seek(this.view.cursor);
    this.changed();
  }

  private open(): void {
    const file = this.file.files?.[0];
    if (this.url) URL.revokeObjectURL(this.url);
    this.url = file ? URL.createObjectURL(file) : null;
    this.stage.hidden = !file;
    if (!this.url) return;
    this.player.src = this.url;
    if (this.begins === null) this.setBegin(this.view.cursor);
    this.player.addEventListener("loadedmetadata", () => this.seek(this.view.cursor), { once: true });
  }

  private align(): void {
    this.setBegin(this.view.cursor - this.player.currentTime * 2);
  }

  seek(x: number): void {
    if (!this.url || this.begins === null || x === this.told) return;
    this.told = null;
    const at = (x - this.begins) / 2;
    // Endless until the browser knows how long the file is, as with one still being written.
    if (Number.isNaN(this.player.duration)) return;
    this.following = false;
    this.player.currentTime = Math.max(0, Math.min(this.player.duration, at));
  }

  private tell(): void {
    if (this.begins === null) return;
    this.view.choose(this.begins + this.player.currentTime * 2);
    this.told = this.view.cursor;
  }

  private step(): void {
    if (this.player.paused || this.player.ended) return;
    this.tell();
    requestAnimationFrame(() => this.step());
  }
}
