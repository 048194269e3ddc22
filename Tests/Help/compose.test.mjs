// Calls, commands and programs that the playground composes.
import assert from "node:assert/strict";
import { test } from "node:test";
import { compose, formOf, forms } from "./composing.mjs";

const { callText, command, ends, fault, found, openingStep, program, told } = compose;

/// A step from `[key, overload, {place: value}]`.
function step([key, overload, changed = {}]) {
  const made = openingStep(formOf(key), overload);
  for (const [place, value] of Object.entries(changed)) {
    const { parameters } = made.form.overloads[made.overload];
    made.values[parameters.findIndex((p) => p.name === place)] = value;
  }
  return made;
}

const assigning = formOf("EmbeddedMaskQKZ").overloads.findIndex((o) => o.assigns);

test("arguments that have their defaults are left out, at the end alone", () => {
  for (const [given, call] of [
    [["ColornessQKZ", 0, { threshold: "10.0" }], "ColornessQKZ"],
    [["FindPictureQKZ", 0, { StartY: "7" }], 'FindPictureQKZ("button.png", x, y, 0, 7)'],
    [["RenderSamplesQKZ", 0, { ForeColor: "&c274c5a", AutoScale: "true" }],
      'RenderSamplesQKZ("samples.raw", 8000, 3, 480, 160, 2, &c88B5C4, &c274c5a, &c203F4E, 8, true)'],
    [["PictureSepiaQKZ", 0, { SepiaRed: "0", FactorBlue: "0.5" }], "PictureSepiaQKZ(SepiaGreen=20, FactorBlue=0.5)"],
    [["EmbeddedMaskQKZ", assigning, { swap: "true" }], 'EmbeddedMaskQKZ(true) = "chelsea.png"'],
    [["InvertQKZ"], "InvertQKZ"],
  ]) assert.equal(callText(step(given)), call);
});

test("commands are quoted for a shell and write what comes of the calls", () => {
  for (const [source, steps, line] of [
    ["my 'best'.jpg", [["InvertQKZ"]], "qkz run 'my '\\''best'\\''.jpg' 'InvertQKZ' -o out.png"],
    ["-o.png", [["isGrayQKZ"]], "qkz run ./-o.png 'isGrayQKZ(12)'"],
    ["a.png", [["InvertQKZ"], ["PicturetoBinaryStringQKZ"]], "qkz run a.png 'InvertQKZ' 'PicturetoBinaryStringQKZ($)' -o out.ppic"],
    ["a.png", [["MergePictureQKZ", 0, { source2: '"it\'s.png"' }]], "qkz run a.png 'MergePictureQKZ($, \"it'\\''s.png\")' -o out.png"],
  ]) assert.equal(command(source, steps.map(step)), line);
});

test("programs go on with what the step before made", () => {
  for (const [steps, lines] of [
    [[["InvertQKZ"], ["isGrayQKZ"], ["ScrollVerticalQKZ"]],
      "Dim q As Picture = p.InvertQKZ|Dim done As Boolean = q.isGrayQKZ(12)|If q.ScrollVerticalQKZ(-60, False, False) Then|  ' q has changed|End If"],
    [[["MergePictureQKZ", 0, { source2: '"2 cats.png"' }], ["MergePictureQKZ", 0, { source2: '"a.png"' }]],
      "' file2Cats: the picture 2 cats.png|Dim q As Picture = MergePictureQKZ(p, file2Cats)|q = MergePictureQKZ(q, p)"],
    [[["ScrollVerticalQKZ"], ["ReplaceRedChannelQKZ", 0, { RedChannel: '"a.png"' }]],
      "' a: the picture a.png|Dim done As Boolean = p.ScrollVerticalQKZ(-60, False, False)|Dim q As Picture = p.ReplaceRedChannelQKZ(a)"],
  ]) assert.equal(program("a.png", steps.map(step)).text.replaceAll("\n", "|"), lines);
  // The language takes a name in capitals for the same; what programs declare themselves is not a file's, either.
  const names = ["sepia", "reds", "class", "darker table", "MY", "my"].map((name) => `"${name}.png"`);
  const merged = program("a.png", names.map((source2) => step(["MergePictureQKZ", 0, { source2 }])));
  assert.deepEqual(Object.keys(merged.files), ["fileSepia", "fileReds", "fileClass", "fileDarkerTable", "mY", "my2"]);
  const spoken = `"text:${"far, ".repeat(20)}"`;
  const told = program("a.png", [step(["SaveVideoAtPathToSavedPhotosAlbum", 0, { VideoPath: spoken }])]).text;
  assert.ok(told.includes("far, ".repeat(20)), told);
  const table = program("a.png", [step(["PictureLut3DQKZ", 0, { Table: '"x.cube"' }])]).text;
  assert.match(table, /' of x\.cube there/);
});

test("sliders hold what they begin with, and show the way there", () => {
  for (const { key, overloads } of forms) {
    for (const { parameters } of overloads) {
      for (const parameter of parameters.filter((p) => "from" in p)) {
        const [from, to] = ends(parameter, { width: 480, height: 480 });
        const value = Number(parameter.value);
        assert.equal(fault(parameter, parameter.value), "", key);
        assert.ok(from < to && value <= to && (value >= from || value === -1), `${key}, ${parameter.name}: ${value}`);
      }
    }
  }
});

test("wrong numbers are told, and what was found and printed is read", () => {
  const [whole, part] = [{ name: "n", type: "integer", from: 0 }, { name: "d", type: "double", from: 0 }];
  assert.deepEqual(
    [[whole, "1.5"], [whole, "1e3"], [whole, "-3"], [part, "1e-3"], [part, ""], [part, "1e999"]].map(([p, text]) => fault(p, text)),
    ["n wants a whole number", "n wants a whole number", "", "", "d wants a number", "d wants a number"],
  );
  const steps = [step(["FindPictureQKZ"]), step(["InvertQKZ"])];
  assert.deepEqual(found(steps, [{ printed: ["true", "x = 3", "y = 4"] }, { printed: [] }]), { text: '"button.png"', x: 3, y: 4 });
  assert.equal(found(steps, [{ printed: ["false", "x = 0", "y = 0"] }]), null);
  assert.deepEqual(["true", "x = false", "b = 2 bytes: 74 72"].map(told), ["True", "x = False", "b = 2 bytes: 74 72"]);
});
