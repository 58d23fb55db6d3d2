// Pages in a real browser, with everything noted that a page of evidence must not do.

import { chromium } from "playwright-core";

export function launch() {
  return chromium.launch({
    executablePath: process.env["VMR_CHROMIUM"] ?? "/usr/bin/chromium",
    args: [
      "--no-sandbox",
      "--disable-gpu",
      "--disable-quic",
      "--no-first-run",
      "--disable-background-networking",
      "--disable-component-update",
      "--disable-sync",
    ],
  });
}

const kDesktop = { width: 1366, height: 768 };
export const kPhone = { width: 360, height: 740 };

function watch() {
  window.seen = { violations: [], shifts: [], tasks: [] };
  document.addEventListener("securitypolicyviolation", (e) => window.seen.violations.push(e.violatedDirective));
  const note = (type, entry) =>
    new PerformanceObserver((list) => list.getEntries().forEach(entry)).observe({ type, buffered: true });
  const moved = (e) => e.sources.map((s) => s.node?.parentElement?.outerHTML?.slice(0, 120));
  note("layout-shift", (e) => window.seen.shifts.push([e.value, ...moved(e)]));
  note("longtask", (e) => window.seen.tasks.push(e.duration));
  const root = () => document.documentElement?.dataset["ready"];
  new MutationObserver(() => {
    if (root() && !window.seen.ready) requestAnimationFrame(() => setTimeout(() => (window.seen.ready ??= performance.now()), 0));
  }).observe(document, { subtree: true, childList: true, attributes: true });
}

export async function open(browser, path, { hash = "", viewport = kDesktop, dark = false, ...more } = {}) {
  const context = await browser.newContext({ viewport, colorScheme: dark ? "dark" : "light", ...more });
  const page = await context.newPage();
  const notes = { console: [], requests: [] };
  page.on("console", (m) => notes.console.push(m.text()));
  page.on("pageerror", (e) => notes.console.push(String(e)));
  page.on("request", (r) => notes.requests.push(r.url()));
  await page.addInitScript(watch);
  await page.goto(`file://${path}${hash}`);
  if (more.javaScriptEnabled !== false) {
    await page.waitForSelector("html[data-ready]", { timeout: 30000 });
    await page.waitForFunction(() => window.seen.ready);
  }
  return { page, notes, close: () => context.close() };
}

export const seen = (page) => page.evaluate(() => window.seen);

// Goes to a moment as a link does, and waits until it is drawn.
export async function goTo(page, x) {
  await page.evaluate((to) => {
    location.hash = `#t=x${to}`;
  }, x);
  await page.waitForFunction(
    (to) => document.querySelector(".surface").getAttribute("aria-valuenow") === String(to),
    x,
  );
}

// The moment chosen, once it is drawn.
export const cursor = (page) =>
  page.evaluate(async () => {
    for (let i = 0; i < 2; i++) await new Promise((resolve) => requestAnimationFrame(resolve));
    return Number(document.querySelector(".surface").getAttribute("aria-valuenow"));
  });
