// Makes template.html, the page that the program fills: one file, nothing loaded.
// "node build.mjs --check" compares it with the one committed instead of writing it.

import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { build, transform } from "esbuild";

const here = dirname(fileURLToPath(import.meta.url));
const read = (...path) => readFileSync(join(here, ...path), "utf8");

const palette = JSON.parse(read("palette.json"));

const variables = (colours) =>
  Object.entries(colours)
    .filter(([, value]) => typeof value === "string")
    .map(([role, value]) => `--${role.replace(/_/g, "-")}: ${value};`)
    .join(" ");

// Paper is white whatever the screen is.
const colours = `
:root { color-scheme: light; ${variables(palette.light)} }
@media screen and (prefers-color-scheme: dark) { :root:not([data-theme="light"]) { color-scheme: dark; ${variables(palette.dark)} } }
@media screen { :root[data-theme="dark"] { color-scheme: dark; ${variables(palette.dark)} } }
`;

const css = await transform(colours + read("node_modules", "uplot", "dist", "uPlot.min.css") + read("src", "style.css"), {
  loader: "css",
  minify: true,
  target: "chrome111",
});

const bundle = await build({
  entryPoints: [join(here, "src", "main.ts")],
  absWorkingDir: here,
  bundle: true,
  minify: true,
  format: "iife",
  target: "es2020",
  charset: "ascii",
  legalComments: "none",
  write: false,
});

const style = css.code.trim();
const script = bundle.outputFiles[0].text.trim();
// Either would end the element early or change how the browser reads what follows.
for (const [name, text] of [["script", script], ["style", style]])
  if (/<\/|<!--/.test(text)) throw new Error(`the ${name} contains "</" or "<!--"`);

const sha256 = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
const csp = [
  "default-src 'none'",
  `script-src ${sha256(script)}`,
  `style-src ${sha256(style)}`,
  "img-src data: blob:",
  "media-src blob: file:",
  "base-uri 'none'",
  "form-action 'none'",
].join("; ");

const licences = `This page contains uPlot 1.6.32, under this licence:\n\n${read("node_modules", "uplot", "LICENSE").trim()}`;
if (licences.includes("--")) throw new Error("the licences would end their comment");

const parts = { csp, licences, style, script };
const html = read("src", "page.html").replace(/\{\{(\w+)\}\}/g, (_, name) => parts[name]);

for (const place of ["title", "summary", "data"]) {
  const count = html.split(`<!--vmr:${place}-->`).length - 1;
  if (count !== 1) throw new Error(`the place for ${place} is there ${count} times`);
}

const target = join(here, "template.html");
if (process.argv.includes("--check")) {
  if (readFileSync(target, "utf8") !== html) {
    console.error("report/template.html is not what its sources give: run 'npm ci && npm run build' in report/");
    process.exit(1);
  }
} else {
  writeFileSync(target, html);
  console.log(`template.html: ${Buffer.byteLength(html)} bytes`);
}
