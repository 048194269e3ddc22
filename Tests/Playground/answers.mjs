// Cases for every declaration that the forms of the help pages know, and what an engine answers to them.

const PICTURES = ["noise.png", "other.png", "alpha.png", "flat.png", "coffee.png", "chelsea.png", "faded.png"];
const OTHERS = [...PICTURES, "large.png", "piece.png", "dot.png"];

/// The same numbers between 0 and 1 every time.
export function chance(seed) {
  return () => {
    seed = (seed + 0x6d2b79f5) | 0;
    let t = Math.imul(seed ^ (seed >>> 15), 1 | seed);
    t = (t + Math.imul(t ^ (t >>> 7), 61 | t)) ^ t;
    return ((t ^ (t >>> 14)) >>> 0) / 2 ** 32;
  };
}

/// Lines as qkz_answers reads them: a picture, a tab, calls with tabs between them. `rounds` for each declaration and
/// picture.
export function casesOf(forms, rounds) {
  const random = chance(11);
  const one = (list) => list[Math.floor(random() * list.length)];
  const color = () => `&c${Math.floor(random() * 2 ** 24).toString(16).padStart(6, "0")}`;

  function number({ type, from, to, of }) {
    const full = of ? one([157, 211]) : 1;
    const value = from * full + random() * (to - from) * full;
    if (random() < 0.12) {  // beyond every slider
      return one(type === "double" ? ["-1e300", "1e9", "0.1", "-0.5", "nan", "inf"] :
        ["-9223372036854775808", "9223372036854775807", "-1", "0", "2147483648", "-300"]);
    }
    return type === "double" ? String(Number(value.toFixed(3))) : String(Math.round(value));
  }
  function argument(parameter) {
    if (parameter.byref) return parameter.value;
    if ("from" in parameter) return number(parameter);
    switch (parameter.type) {
      case "boolean": return one(["true", "false"]);
      case "color": return one(["&cFF0000", "&cFFFFFF", "&c000000", color(), color()]);
      case "picture": return random() < 0.04 ? "nil" : random() < 0.2 ? "$" : `"${one(random() < 0.6 ? PICTURES : OTHERS)}"`;
      case "memoryblock": return random() < 0.04 ? "nil" : one(['"samples.raw"', '"table.raw"']);
      case "string": return one(['"packed.ppic"', '"packed.ppic"', '"broken.ppic"', '"table.raw"']);
      case "cube": return '"look.cube"';
      default: return "nil";
    }
  }
  function call(form, overload) {
    const { parameters, assigns } = overload;
    if (form.kind === "class") {
      const set = parameters.filter((p) => p.type === "cube" || random() < 0.4);
      return `${form.key}(${set.map((p) => `${p.name}=${argument(p)}`).join(", ")})`;
    }
    const values = parameters.map(argument);
    const assigned = assigns ? ` = ${values.pop()}` : "";
    const last = parameters.findLastIndex((p) => !("default" in p)) + 1;  // those behind can be left out
    if (!assigns) values.length = last + Math.floor(random() * (parameters.length - last + 1));
    return `${form.key}(${values.join(", ")})${assigned}`;
  }

  const cases = [];
  for (const form of forms.methods) {
    for (const overload of form.overloads) {
      for (const picture of PICTURES) {
        for (let i = 0; i < (overload.parameters.length ? rounds : 1); ++i) {
          const before = random() < 0.1 ? `${one(["InvertQKZ", "ThresholdQKZ(120)", "ScrollQKZ(9, -7, true, false)"])}\t` : "";
          cases.push(`${picture}\t${before}${call(form, overload)}`);
        }
      }
    }
  }
  // By chance hardly anything is found, and of blocks only the beginning is printed: all their bytes are drawn.
  for (const start of ["0, 0", "70, 50", "71, 50"]) {
    for (const tolerance of [1, 2, 3, 4]) cases.push(`chelsea.png\tFindPictureQKZ("near.png", x, y, ${start}, ${tolerance})`);
  }
  for (let start = 0; start < 210; start += 15) cases.push(`flat.png\tFindPictureQKZ("dot.png", x, y, ${start}, ${start >> 1})`);
  for (const picture of PICTURES) {
    for (const wanted of ["reds", "greens", "blues"]) {
      const blocks = ["reds", "greens", "blues"].map((name) => (name === wanted ? `${name}>"block.raw"` : name));
      cases.push(`${picture}\tCountColorsQKZ(${blocks.join(", ")}, count)\tRenderSamplesQKZ("block.raw", 1024, 1, 1024, 256, 0)`);
    }
  }
  return cases;
}

/// The engine's answers to the cases, told as qkz_answers tells them. Needs nothing from outside: its text is run in
/// the browser, too.
export function answersOf(engine, cases) {
  function digest(values) {
    let a = 0x811c9dc5, b = 0x9747b28c;
    for (const value of values) {
      a = Math.imul(a ^ value, 0x01000193);
      b = Math.imul(b + value, 0x85ebca6b);
      b ^= b >>> 13;
    }
    return [a, b].map((half) => (half >>> 0).toString(16).padStart(8, "0")).join("");
  }
  return cases.map((line) => {
    const [name, ...calls] = line.split("\t");
    const { steps, error, picture, string } = engine.run(name, calls);
    let text = steps.map(({ printed }) => `[${printed.map((p) => `${p}|`).join("")}]`).join("");
    if (error) text += ` error: ${error.replaceAll("\n", "|")}`;
    if (picture) text += ` ${picture.width}x${picture.height} ${picture.alpha ? "alpha" : "opaque"} ${digest(engine.words())}`;
    if (string) text += ` ${string.length} bytes ${digest(string)}`;
    return text;
  });
}
