// All tests of the page: "node run.mjs". With a folder as argument, pictures of every made page are
// left there: desktop, dark, phone and print.

import { spawnSync } from "node:child_process";
import { mkdirSync } from "node:fs";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

import { kPhone, launch, open } from "./browser.mjs";
import { kMade, writePages } from "./make_data.mjs";

const here = dirname(fileURLToPath(import.meta.url));

async function pictures(folder) {
  mkdirSync(folder, { recursive: true });
  const pages = writePages(join(folder, "pages"));
  const browser = await launch();
  const looks = { desktop: {}, dark: { dark: true }, phone: { viewport: kPhone } };
  for (const name of Object.keys(kMade)) {
    for (const [look, options] of Object.entries(looks)) {
      const { page, close } = await open(browser, pages[name].path, options);
      await page.screenshot({ path: join(folder, `${name}-${look}.png`), fullPage: look === "phone" });
      if (look === "desktop" && name !== "week" && name !== "shift")
        await page.pdf({ path: join(folder, `${name}-print.pdf`), preferCSSPageSize: true, printBackground: true });
      await close();
    }
  }
  await browser.close();
}

const tests = spawnSync(process.execPath, ["--test", join(here, "page.test.mjs")], { stdio: "inherit" });
if (process.argv[2]) await pictures(resolve(process.argv[2]));
process.exit(tests.status ?? 1);
