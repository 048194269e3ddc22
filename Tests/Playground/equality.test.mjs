// The library in WebAssembly gives what the loaded library gives, bit for bit: in node and in a browser. ANSWERS is
// the program that asks the loaded library, PLUGIN the library, HELP the folder of the help pages.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readdirSync, readFileSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { fileURLToPath, pathToFileURL } from "node:url";
import vm from "node:vm";
import { answersOf, casesOf } from "./answers.mjs";

const { ANSWERS, PLUGIN, HELP } = process.env;
const require = createRequire(import.meta.url);
const folder = mkdtempSync(path.join(os.tmpdir(), "playground-"));
const forms = vm.runInNewContext(`${readFileSync(path.join(HELP, "forms.js"), "utf8")}; playgroundForms`);
const cases = casesOf(forms, 6);
let expected, files;

before(() => {
  execFileSync("/usr/bin/python3", ["-B", fileURLToPath(new URL("pictures.py", import.meta.url)), folder]);
  const output = execFileSync(ANSWERS, [PLUGIN, folder], { input: cases.join("\n"), maxBuffer: 1e8, stdio: ["pipe", "pipe", "inherit"] });
  expected = output.toString().split("\n").slice(0, -1);
  const pictures = readFileSync(path.join(folder, "pictures"), "utf8").trim().split("\n").map((line) => line.split(" "));
  files = readdirSync(folder).filter((name) => name !== "pictures").map((name) => {
    const [, width, height, alpha] = pictures.find(([of]) => of === name) ?? [];
    return { name, bytes: readFileSync(path.join(folder, name)).toString("base64"), width: +width, height: +height, alpha: alpha === "1" };
  });
});
after(() => rmSync(folder, { recursive: true }));

/// An engine with the files. Its text is run in the browser, too.
async function furnished(makeEngine, files) {
  const engine = await makeEngine();
  for (const { name, bytes, width, height, alpha } of files) {
    const content = Uint8Array.from(atob(bytes), (c) => c.charCodeAt(0));
    if (width) engine.addPicture(name, content, width, height, alpha);
    else engine.addFile(name, content);
  }
  return engine;
}

function compare(t, got) {
  assert.equal(got.length, cases.length);
  const differing = cases.map((text, i) => `${text}\n    native ${expected[i]}\n    here   ${got[i]}`).filter((_, i) => got[i] !== expected[i]);
  assert.equal(differing.length, 0, `${differing.length} of ${cases.length} differ:\n${differing.slice(0, 5).join("\n")}`);
  const refused = expected.filter((text) => text.includes("error: ")).length;
  const told = expected.filter((text) => /\[[^\]]|bytes/.test(text) && !text.includes("error: ")).length;
  t.diagnostic(`${cases.length - refused - told} pictures, ${told} other answers and ${refused} refusals ` +
    `of ${forms.methods.length} methods and classes are equal`);
}

test("the cases say something of every method", () => {
  assert.equal(expected.length, cases.length);
  for (const { key, kind } of forms.methods) {
    const answers = expected.filter((_, i) => cases[i].includes(`\t${key}(`) || cases[i].endsWith(`\t${key}`));
    const wanted = kind === "module" ? "PlatformNotSupportedException: iOS only" : /^(?!.*error: )/;
    assert.ok(answers.some((text) => text.match(wanted)), `${key} fails in every case: ${answers[0]}`);
  }
});

test("node", async (t) => {
  const engine = await furnished(require(path.resolve(HELP, "playground.js")), files);
  compare(t, answersOf(engine, cases));
});

test("a worker of a page from disk", async (t) => {
  const { launch } = await import("../Help/browser.mjs");
  const browser = await launch();
  try {
    const tab = await browser.newPage();
    await tab.goto(pathToFileURL(path.resolve(HELP, "index.html")).href);
    await tab.addScriptTag({ path: path.join(HELP, "playground.js") });
    const work = `onmessage = async ({ data: [files, cases] }) =>
      postMessage((${answersOf})(await (${furnished})(qkzPlayground, files), cases));`;
    const got = await tab.evaluate(([work, files, cases]) => new Promise((resolve, reject) => {
      const blob = new Blob([`${qkzPlayground}\n${work}`], { type: "text/javascript" });
      const worker = new Worker(URL.createObjectURL(blob));
      worker.onmessage = ({ data }) => resolve(data);
      worker.onerror = (event) => reject(new Error(event.message));
      worker.postMessage([files, cases]);
    }), [work, files, cases]);
    compare(t, got);
  } finally {
    await browser.close();
  }
});
