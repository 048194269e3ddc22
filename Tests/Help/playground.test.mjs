// The playground of the finished pages, with the library that they carry.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import path from "node:path";
import { describe, test } from "node:test";
import { address, assertAccessible, assertNoOverflow, folder, laptop, phone, visit } from "./site.mjs";
import { formOf, forms } from "./composing.mjs";

/// A panel that is open and has run.
async function open(tab, key) {
  const { page } = formOf(key);
  if (!tab.url().endsWith(page)) await tab.goto(address(page));
  const entry = tab.locator(`[data-try="${key}"]`);
  await entry.locator(".try-open").click();
  await entry.locator(".try-facts span").filter({ hasText: "pixels" }).waitFor();
  const panel = entry.locator(".try");
  return {
    entry, panel, divider: panel.locator(".try-divider"), then: panel.locator(".try-then select"),
    step: (i) => panel.locator(".try-step").nth(i),
    number: (name) => panel.locator(`.try-field:has(code:text-is("${name}")) input[type=number]`),
    slider: (name) => panel.getByLabel(`${name}, slider`),
    program: () => panel.locator(".code code").first().innerText(),
    command: () => panel.locator(".code code").last().innerText(),
    kind: () => panel.locator(".try-frame").getAttribute("data-kind"),
    /// Waits until nothing runs and gives all bytes of a picture.
    pixels: async (which) => {
      await panel.and(tab.locator('[aria-busy="false"]')).waitFor();
      const text = await panel.locator(`.try-${which} canvas`).evaluate((canvas) => {
        const copy = new OffscreenCanvas(canvas.width, canvas.height).getContext("2d", { willReadFrequently: true });
        copy.drawImage(canvas, 0, 0);
        return Array.from(copy.getImageData(0, 0, canvas.width, canvas.height).data).join();
      });
      return text.split(",").map(Number);
    },
  };
}

/// Drops a file, or a picture that is drawn, on a panel.
const drop = (panel, name, type, drawn) =>
  panel.evaluate(async (node, [name, type, drawn]) => {
    let content = "no picture";
    if (drawn) {
      const canvas = new OffscreenCanvas(drawn[0], drawn[1]);
      canvas.getContext("2d").fillRect(0, 0, 10, drawn[1]);
      content = await canvas.convertToBlob({ type });
    }
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File([content], name, { type }));
    node.dispatchEvent(new DragEvent("drop", { dataTransfer, bubbles: true, cancelable: true }));
  }, [name, type, drawn]);

test("every method has a form", () => {
  const listed = execFileSync(process.env.QKZ, ["list"], { encoding: "utf8" }).split("\n");
  const named = listed.map((line) => /^Class (\w+)|^ {2}(?:Picture\.)?(\w+)\(|^ {2}(?:Picture\.)?(\w+QKZ) as/.exec(line)?.slice(1).find(Boolean));
  assert.deepEqual([...new Set(named.filter((name) => name && name !== "Table"))].filter((name) => !formOf(name)), []);
});

describe("each page: every panel opens and shows what its words begin with", { concurrency: 2 }, () => {
  for (const page of new Set(forms.map((form) => form.page))) {
    test(page, () => visit({}, async (tab) => {
      for (const { key, kind } of forms.filter((form) => form.page === page)) {
        const { panel, entry, pixels } = await open(tab, key);
        const told = await panel.locator(".try-told, .try-status").allInnerTexts();
        const wrong = await panel.locator(".wrong").allInnerTexts();
        assert.deepEqual(wrong, kind === "module" ? [`${key} raised PlatformNotSupportedException: iOS only`] : [], key);
        const after = await pixels("after");
        const before = await pixels("before");
        const answers = told.some(Boolean) || (await panel.locator(".try-facts").innerText()).includes("bytes");
        assert.ok(answers || key === "BinaryStringtoPictureQKZ" || before.some((v, i) => v !== after[i]), `${key} shows nothing`);
        assert.equal(await entry.locator(":scope > .pictures").isVisible().catch(() => false), false);
        await panel.getByRole("button", { name: "Close" }).click();
      }
    }));
  }
});

test("a slider changes picture, call and command; of many moves the last one stays", () =>
  visit({}, async (tab) => {
    const { panel, slider, number, program, command, pixels } = await open(tab, "ChangeBrightnessAbsoluteQKZ");
    const before = await pixels("before");
    await slider("Brightness").evaluate((input) => {
      for (let i = -200; i <= 30; ++i) {
        input.value = i;
        input.dispatchEvent(new Event("input", { bubbles: true }));
      }
    });
    assert.deepEqual(await pixels("after"), before.map((v, i) => (i % 4 === 3 ? v : Math.min(255, v + 30))));
    assert.equal(await number("Brightness").inputValue(), "30");
    assert.equal(await program(), "Dim q As Picture = p.ChangeBrightnessAbsoluteQKZ(30)");
    assert.equal(await command(), "qkz run coffee.png 'ChangeBrightnessAbsoluteQKZ(30)' -o out.png");
    await number("Brightness").fill("");
    await panel.getByText("Brightness wants a number").waitFor();
    await panel.getByLabel("Form").selectOption({ index: 0 });
    assert.deepEqual((await pixels("after")).slice(1, 3), [0, 0]);  // red alone
  }));

test("steps follow one another, tell in their place, and go", () =>
  visit({}, async (tab) => {
    const { panel, then, step, program, pixels } = await open(tab, "InvertQKZ");
    const before = await pixels("before");
    assert.deepEqual(await pixels("after"), before.map((v, i) => (i % 4 === 3 ? v : 255 - v)));
    await then.selectOption("isGrayQKZ");
    await step(1).locator("samp").filter({ hasText: "False" }).waitFor();
    await then.selectOption("InvertQKZ");
    assert.deepEqual(await pixels("after"), before);
    assert.match(await program(), /^Dim q .*\nDim done As Boolean = q\.isGrayQKZ\(12\)\nq = q\.InvertQKZ$/);
    await panel.getByRole("button", { name: "Remove isGrayQKZ" }).click();
    assert.equal(await panel.locator(".try-step").count(), 2);
    await then.selectOption("MergePictureQKZ");
    await step(2).getByLabel("source2").selectOption({ label: "icon" });
    await step(2).locator(".wrong").filter({ hasText: "MergePictureQKZ returned nil." }).waitFor();
  }));

test("the reader's own picture is taken, one that is none is told", () =>
  visit({}, async (tab) => {
    const { panel, command, kind, pixels, step, then } = await open(tab, "InvertQKZ");
    await drop(panel, "my 1st.png", "image/png", [300, 200]);
    await panel.getByText("300 × 200 pixels").waitFor();
    assert.equal(await command(), "qkz run 'my 1st.png' 'InvertQKZ' -o out.png");
    const after = await pixels("after");
    assert.deepEqual([after.slice(0, 4), after[4 * 10 + 3]], [[255, 255, 255, 255], 0]);
    await drop(panel, "words.png", "image/png");
    await panel.getByText(/^words.png cannot be read as a picture.$/).waitFor();
    assert.match(await command(), /my 1st/);
    assert.doesNotMatch(await panel.getByLabel("Picture", { exact: true }).innerText(), /words/);
    await then.selectOption("CombinePicturesQKZ");
    for (const name of ["red", "blue", "green"]) await step(1).getByLabel(name).selectOption({ label: "coffee" });
    await panel.getByText("480 × 320 pixels").waitFor();
    assert.equal(await kind(), "beside");
    const [saved] = await Promise.all([tab.waitForEvent("download"), panel.getByRole("button", { name: "Save picture" }).click()]);
    const png = readFileSync(await saved.path());
    assert.deepEqual([png.toString("latin1", 1, 4), png.readUInt32BE(16), png.readUInt32BE(20)], ["PNG", 480, 320]);
  }));

test("pictures of earlier runs make room", () =>
  visit({}, async (tab) => {
    const limited = readFileSync(path.join(folder, "playground.js"), "utf8").replace(
      /addPicture\(name, .* \{/, "$& if (++this.pictures > 2) throw new RangeError('not enough memory');").replace("#module;", "#module; pictures = 0;");
    await tab.route("**/playground.js", (route) => route.fulfill({ body: limited }));
    const { panel, step } = await open(tab, "MergePictureQKZ");
    for (const width of [301, 302, 303]) {
      await drop(panel, `${width}.png`, "image/png", [width, 200]);
      await panel.getByText(`${width} × 200 pixels`).waitFor();
    }
    await step(2).getByLabel("source2").selectOption({ label: "icon" });
    await panel.locator(".wrong").filter({ hasText: "MergePictureQKZ returned nil." }).waitFor();
  }));

test("the divider goes by keyboard", () =>
  visit({ reducedMotion: "reduce" }, async (tab) => {
    const { panel, divider } = await open(tab, "ChangeContrastQKZ");
    await divider.focus();
    await tab.keyboard.press("Home");
    for (let i = 0; i < 3; ++i) await tab.keyboard.press("ArrowRight");
    assert.equal(await divider.getAttribute("aria-valuetext"), "3 % before");
    const clip = await panel.locator(".try-after").evaluate((node) => getComputedStyle(node).clipPath);
    assert.match(clip, /^inset\(0(px)? 0(px)? 0(px)? 3%\)$/);
    await tab.keyboard.press("Tab");
    assert.equal(await tab.evaluate(() => document.activeElement.textContent), "Save picture");
  }));

test("what FindPictureQKZ found is framed", () =>
  visit({}, async (tab) => {
    const { panel } = await open(tab, "FindPictureQKZ");
    const frame = await panel.locator(".try-mark").evaluate(({ style }) => [style.left, style.top, style.width, style.height].map(parseFloat));
    [[374, 480], [272, 320], [88, 480], [30, 320]].forEach(([part, full], i) => assert.ok(Math.abs(frame[i] - (100 * part) / full) < 0.01));
    await panel.getByLabel("pic", { exact: true }).selectOption({ label: "icon" });
    await panel.locator("samp").filter({ hasText: "False" }).waitFor();
    assert.equal(await panel.locator(".try-mark").isVisible(), false);
  }));

for (const colorScheme of ["light", "dark"]) {
  test(`open panels are accessible in ${colorScheme} and fit a phone`, () =>
    visit({ colorScheme }, async (tab) => {
      for (const key of ["ChangeCustomQKZ", "CombinePicturesQKZ", "FindPictureQKZ", "RenderSamplesQKZ", "TintPictureQKZ", "PictureSepiaQKZ"]) {
        const { then } = await open(tab, key);
        await then.selectOption("isGrayQKZ");
        await assertAccessible(tab);
        for (const viewport of [phone, laptop]) await assertNoOverflow(tab, viewport);
      }
    }));
}

test("without WebAssembly the pages stay as they are; without the library that is told", async () => {
  await visit({}, async (tab) => {
    await tab.addInitScript(() => delete window.WebAssembly);
    await tab.goto(address("inversion.html"));
    assert.equal(await tab.locator(".try-open, .try").count(), 0);
    assert.ok(await tab.locator(".pictures").first().isVisible());
  });
  await visit({}, async (tab) => {
    await tab.route("**/playground.js", (route) => route.fulfill({ body: "function qkzPlayground() { throw new Error('no room'); }" }));
    await tab.goto(address("inversion.html"));
    await tab.locator(".try-open").first().click();
    await tab.getByText("The playground cannot run here").waitFor();
    assert.ok(await tab.locator(".pictures").first().isVisible());
  });
});
