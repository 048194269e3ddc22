// Reads the help pages as people do: in a browser, on a phone and a laptop, in light and dark, by keyboard, without
// script. HELP is the folder of the pages, QKZ the command line tool that lists what must be there.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, readdirSync, readFileSync } from "node:fs";
import path from "node:path";
import { before, describe, test } from "node:test";
import { address, assertAccessible, assertNoOverflow, browser, folder, laptop, phone, visit } from "./site.mjs";

const pages = readdirSync(folder).filter((name) => name.endsWith(".html"));
const anchors = {};  // of each page

before(async () => {
  const tab = await browser.newPage();
  for (const page of pages) {
    await tab.goto(address(page));
    anchors[page] = await tab.$$eval("[id]", (all) => all.map((e) => e.id));
  }
  await tab.close();
});

/// Pictures load when they are seen; here all of them at once.
const loadPictures = (tab) =>
  tab.evaluate(async () => {
    for (const picture of document.images) picture.loading = "eager";
    await Promise.allSettled([...document.images].map((picture) => picture.decode()));
  });

test("the folder is flat and begins with index.html", () => {
  assert.ok(pages.includes("index.html"));
  assert.deepEqual(readdirSync(folder, { withFileTypes: true }).filter((e) => !e.isFile()), []);
});

describe("each page", { concurrency: 2 }, () => {
  for (const page of pages) {
    test(`${page}: links and pictures lead somewhere`, () =>
      visit({}, async (tab) => {
        await tab.goto(address(page));
        const links = await tab.$$eval("a[href], link[href]", (all) => all.map((e) => e.getAttribute("href")));
        assert.ok(links.length > 10);
        for (const link of links) {
          const [file, anchor] = link.split("#");
          assert.ok(existsSync(path.join(folder, file || page)) && !file.includes("/"), `no file for ${link}`);
          if (anchor) assert.ok(anchors[file || page]?.includes(decodeURIComponent(anchor)), `no anchor for ${link}`);
        }
        await loadPictures(tab);
        const pictures = await tab.$$eval("img", (all) =>
          all.map((e) => ({
            file: e.getAttribute("src"), told: [e.getAttribute("width"), e.getAttribute("height")].map(Number),
            has: [e.naturalWidth, e.naturalHeight], lazy: e.getAttribute("loading"), alt: e.getAttribute("alt"),
          })),
        );
        for (const { file, told, has, alt } of pictures) {
          assert.deepEqual(told, has, `${file} has another size`);
          assert.notEqual(alt, null, `${file} has no alternative text`);
        }
      }));

    test(`${page}: nothing overflows on a phone or a laptop`, () =>
      visit({}, async (tab) => {
        await tab.goto(address(page));
        for (const viewport of [phone, laptop]) await assertNoOverflow(tab, viewport);
      }));

    for (const colorScheme of ["light", "dark"]) {
      test(`${page}: accessible in ${colorScheme}`, () =>
        visit({ colorScheme, viewport: colorScheme === "light" ? laptop : phone }, async (tab) => {
          await tab.goto(address(page));
          await assertAccessible(tab);
        }));
    }

    test(`${page}: without script everything is there, and nothing that does nothing`, async () => {
      const read = async (javaScriptEnabled) => {
        let text;
        await visit({ javaScriptEnabled }, async (tab) => {
          await tab.goto(address(page));
          text = (await tab.innerText("main")).replace(/^\s*(Copy|▸ Try it|Try it)\s*$/gm, "").split(/\s+/).filter(Boolean);
          if (!javaScriptEnabled) assert.equal(await tab.locator("button:visible, input:visible, [role=search]:visible").count(), 0);
        });
        return text;
      };
      const without = await read(false);
      const all = await read(true);
      assert.ok(without.length > 100);
      const differs = without.findIndex((word, i) => word !== all[i]);
      assert.equal(differs, -1, `from word ${differs} on: ${without.slice(differs, differs + 5)}, not ${all.slice(differs, differs + 5)}`);
      assert.equal(without.length, all.length);
    });
  }
});

// There is but one clipboard.
for (const page of pages) {
  test(`${page}: code is copied by its button`, () =>
    visit({ permissions: ["clipboard-read", "clipboard-write"] }, async (tab) => {
      await tab.goto(address(page));
      const codes = tab.locator(".code");
      assert.equal(await codes.count(), await tab.locator("main pre, .properties .code").count());
      assert.equal(await codes.count(), await tab.locator(".code > button.copy").count());
      for (const box of (await codes.count()) ? [codes.first(), codes.last()] : []) {
        await box.locator("button.copy").click();
        await box.locator("button.done").waitFor();
        assert.equal(await tab.evaluate(() => navigator.clipboard.readText()), await box.locator("code").textContent());
      }
    }));
}

test("every registered name has its section, and a picture where it makes one", () =>
  visit({}, async (tab) => {
    const listed = execFileSync(process.env.QKZ, ["list"], { encoding: "utf8" }).split("\n").slice(1);
    const wanted = new Map();  // name -> whether it makes a picture
    let owner = "";
    for (const line of listed) {
      const [, kind, name] = /^(Class|Module) (\w+)/.exec(line) ?? [];
      if (kind) owner = kind === "Class" ? name : "";
      if (kind === "Class") wanted.set(name, true);
      const member = /^ {2}(?:Delegate )?(?:(\w+)\.)?(\w+)(.*)/.exec(line);
      if (!member) continue;
      const key = owner ? `${owner}.${member[2]}` : member[2];
      const makes = !owner && !line.includes("] as") && / as picture(\s|$)/i.test(line.replace(/\(.*\)/, "").replace(/= .*/, ""));
      wanted.set(key, wanted.get(key) || makes);
    }
    assert.ok(wanted.size > 60);
    const pictured = {};
    for (const page of pages) {
      await tab.goto(address(page));
      Object.assign(pictured, await tab.$$eval("main [id]", (all) =>
        Object.fromEntries(all.map((e) => [e.id, e.closest("section")?.querySelectorAll("figure img").length ?? 0]))));
    }
    const missing = [...wanted.keys()].filter((name) => !(name in pictured));
    assert.deepEqual(missing, []);
    assert.deepEqual([...wanted].filter(([name, makes]) => makes && !pictured[name]).map(([name]) => name), []);
  }));

test("the search finds by name and by word, by keyboard, and says how many", () =>
  visit({}, async (tab) => {
    const found = () => tab.$$eval("#search-results li", (all) => all.map((e) => e.dataset.address));
    const status = tab.locator("#search-status");
    await tab.goto(address("index.html"));
    await tab.keyboard.press("/");
    await tab.keyboard.type("sepia");
    await tab.waitForSelector("#search-results li");
    assert.match((await found())[0], /#PictureSepiaQKZ$/);
    assert.match(await status.textContent(), /^(\d+|12 or more) found$/);
    await tab.keyboard.press("ArrowDown");
    const [, second] = await found();
    const chosen = await tab.getAttribute("#search-text", "aria-activedescendant");
    assert.equal(await tab.getAttribute(`#${chosen}`, "data-address"), second);
    await tab.keyboard.press("ArrowUp");
    await tab.keyboard.press("Enter");
    await tab.waitForURL(/#PictureSepiaQKZ$/);

    await tab.keyboard.press("/");
    await tab.keyboard.type("screenshot button");
    await tab.waitForSelector("#search-results li");
    assert.ok((await found()).some((a) => a.startsWith("tasks.html#")));
    await tab.keyboard.press("Escape");
    assert.equal(await tab.locator("#search-results").isVisible(), false);

    await tab.fill("#search-text", "histogram");
    assert.match((await found())[0], /#CountColorsQKZ$/);
    await tab.locator("#search-results li").first().click();
    await tab.waitForURL(/#CountColorsQKZ$/);
    await tab.fill("#search-text", "zzzz");
    await tab.waitForFunction(() => document.getElementById("search-status").textContent === "Nothing found");
    assert.equal(await tab.locator("#search-results").isVisible(), false);
  }));

test("what the search leads to is there", async () => {
  const rows = JSON.parse(readFileSync(path.join(folder, "search.js"), "utf8").replace(/^searchIndex=/, "").replace(/;\s*$/, ""));
  assert.ok(rows.length > 80);
  for (const [target] of rows) {
    const [page, anchor] = target.split("#");
    assert.ok(anchors[page]?.includes(anchor), target);
  }
});

test("the first Tab offers to skip to the content, and it is seen", () =>
  visit({}, async (tab) => {
    await tab.goto(address("index.html"));
    await tab.keyboard.press("Tab");
    assert.equal(await tab.evaluate(() => document.activeElement.className), "skip");
    await tab.waitForFunction(() => document.activeElement.getBoundingClientRect().top >= 0);
    await tab.keyboard.press("Enter");
    assert.equal(await tab.evaluate(() => document.activeElement.id), "content");
  }));
