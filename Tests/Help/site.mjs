// The finished pages in a headless browser. HELP is their folder.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { after } from "node:test";
import { pathToFileURL } from "node:url";
import { launch } from "./browser.mjs";

export const folder = path.resolve(process.env.HELP);
export const address = (page) => pathToFileURL(path.join(folder, page)).href;
export const phone = { width: 360, height: 740 };
export const laptop = { width: 1280, height: 800 };
const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

export const browser = await launch();
after(() => browser.close());

/// Does something in a tab of its own and fails when the tab complained or asked for anything outside the folder.
export async function visit(options, action) {
  const context = await browser.newContext({ viewport: laptop, ...options });
  const tab = await context.newPage();
  const complaints = [];
  tab.on("console", (message) => complaints.push(`console: ${message.text()}`));
  tab.on("pageerror", (error) => complaints.push(`error: ${error.message}`));
  tab.on("requestfailed", (request) => {
    // Leaving a page ends what it was still loading.
    if (request.failure().errorText !== "net::ERR_ABORTED") complaints.push(`not loaded: ${request.url()}`);
  });
  tab.on("request", (request) => {
    if (!request.url().startsWith(address("")) && !/^(data|blob):/.test(request.url())) complaints.push(`asks for ${request.url()}`);
  });
  try {
    await action(tab);
    assert.deepEqual(complaints, []);
  } finally {
    await context.close();
  }
}

export async function assertAccessible(tab) {
  await tab.evaluate(axe);
  const { violations } = await tab.evaluate(() => window.axe.run({ preload: false }));
  assert.deepEqual(violations.map((v) => `${v.id}: ${v.nodes.map((n) => n.target.join(" ")).slice(0, 5).join("; ")}`), []);
}

export async function assertNoOverflow(tab, viewport) {
  await tab.setViewportSize(viewport);
  const [more, wide] = await tab.evaluate(() => {
    const room = document.documentElement.clientWidth;
    const inside = (e) => e.parentElement?.closest("pre, .hidden, thead, .tile");
    const over = [...document.querySelectorAll("body *")].filter((e) => e.getBoundingClientRect().right > room + 1 && !inside(e));
    return [document.documentElement.scrollWidth - room, over.slice(0, 3).map((e) => e.outerHTML.slice(0, 120))];
  });
  assert.deepEqual([viewport.width, more, wide], [viewport.width, 0, []]);
}
