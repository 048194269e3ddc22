// From what is set on the page to text: calls as `qkz run` takes them, the command, and the program in the host's
// language. Nothing here touches the page.
//
// A step is {form, overload, values}: a method of forms.js, which of its declarations, and a text for each of that
// one's parameters, written as in a call: 0.4, true, &cFF0000, "chelsea.png", $ for the picture so far, nil.

const LONGEST_LINE = 76;
const isNumber = (parameter) => "from" in parameter;
const overloadOf = (step) => step.form.overloads[step.overload];

/// A method as it is first shown.
function openingStep(form, overload = form.opening) {
  return { form, overload, values: form.overloads[overload].parameters.map((p) => p.value) };
}

/// The steps that come before a method in its own words.
function stepsBefore(form, formOf) {
  return form.before.map(({ key, values }) => {
    const needed = (parameters) => parameters.filter((p) => !("default" in p)).length;
    const fits = ({ assigns, parameters: all }) => !assigns && needed(all) <= values.length && values.length <= all.length;
    const step = openingStep(formOf(key), Math.max(0, formOf(key).overloads.findIndex(fits)));
    values.forEach((value, i) => (step.values[i] = value));
    return step;
  });
}

function same(a, b) {
  return a.toLowerCase() === b.toLowerCase() || (a !== "" && b !== "" && Number(a) === Number(b));
}

/// What is wrong with a number as it was typed, or nothing.
function fault(parameter, text) {
  if (!isNumber(parameter)) return "";
  if (text.trim() === "" || !Number.isFinite(Number(text))) return `${parameter.name} wants a number`;
  if (parameter.type !== "double" && !/^-?\d+$/.test(text.trim())) return `${parameter.name} wants a whole number`;
  return "";
}

/// The ends of a number's slider for a picture of a size.
function ends(parameter, size) {
  const full = parameter.of ? size[parameter.of] : 1;
  return [parameter.from * full, parameter.to * full];
}

/// The arguments that are written: those at the end that have their defaults are left out, of properties all such.
function written(step) {
  const pairs = overloadOf(step).parameters.map((parameter, i) => ({ parameter, text: step.values[i] }));
  const needed = ({ parameter, text }) => !("default" in parameter) || !same(text, parameter.default);
  if (step.form.kind === "class") return pairs.filter(needed);
  const given = pairs.filter(({ parameter }) => !parameter.assigned);
  while (given.length && !needed(given.at(-1))) given.pop();
  return given;
}

function callText(step) {
  const key = (parameter) => (step.form.kind === "class" ? `${parameter.name}=` : "");
  const list = written(step).map(({ parameter, text }) => key(parameter) + text).join(", ");
  const assigned = overloadOf(step).assigns ? ` = ${step.values.at(-1)}` : "";
  return step.form.key + (list && `(${list})`) + assigned;
}

/// The file that an argument names, or nothing.
function fileOf(text) {
  const name = /^"((?:[^"]|"")*)"$/.exec(text)?.[1].replaceAll('""', '"');
  return name === undefined || /^(hex|text):/.test(name) ? "" : name;
}

const quoted = (name) => `"${name.replaceAll('"', '""')}"`;

/// Whether the picture is another one after the steps.
const changes = (steps) => steps.some((step) => overloadOf(step).changes);

/// Whether a method makes its picture of something else than the picture there is.
function makesAlone({ form, overload }) {
  const { parameters, result } = form.overloads[overload];
  return form.kind === "global" && result === "picture" && parameters.every((p) => p.type !== "picture");
}

/// The command that does the steps, quoted for a shell.
function command(source, steps) {
  const shell = (text) => (/^[\w./-]+$/.test(text) ? text : `'${text.replaceAll("'", "'\\''")}'`);
  const file = source.startsWith("-") ? `./${source}` : source;
  const parts = ["qkz run " + shell(file), ...steps.map((step) => `'${callText(step).replaceAll("'", "'\\''")}'`)];
  if (overloadOf(steps.at(-1)).result === "string") parts.push("-o out.ppic");
  else if (changes(steps)) parts.push("-o out.png");
  return parts.reduce((text, part) => {
    const length = text.length - text.lastIndexOf("\n") + part.length;
    return text + (length > LONGEST_LINE ? " \\\n  " : " ") + part;
  });
}

/// Tables of 256 bytes to choose from: their formulas in the host's language, and the bytes.
const TABLES = [
  ["four levels", "(i \\ 64) * 85", (i) => (i >> 6) * 85],
  ["two levels", "(i \\ 128) * 255", (i) => (i >> 7) * 255],
  ["the negative", "255 - i", (i) => 255 - i],
  ["darker", "i * i \\ 255", (i) => Math.trunc((i * i) / 255)],
  ["lighter", "255 - (255 - i) * (255 - i) \\ 255", (i) => 255 - Math.trunc(((255 - i) * (255 - i)) / 255)],
  ["as it is", "i", (i) => i],
].map(([name, formula, at]) => {
  const bytes = Array.from({ length: 256 }, (_, i) => at(i).toString(16).padStart(2, "0"));
  return { name, formula, text: `"hex:${bytes.join("").toUpperCase()}"` };
});

// Names that files do not get as variables: those that programs here use themselves, and words of the language.
const TAKEN = new Set(
  ("p q n d i r g b x y done data reds greens blues count sepia lut3d addressof and app array as assigns boolean break byref " +
  "byte byval call case catch class color const continue currency date declare delegate dim do double downto each else elseif " +
  "end enum event exception exit extends false finally for function get global goto handles if implements in inherits integer " +
  "interface is isa lib loop me memoryblock mod module namespace new next nil not object of optional or paramarray picture " +
  "private property protected public raise redim rem return select self set shared single soft static step string structure " +
  "sub super text then to true try until using var variant wend while with xor").split(" "),
);

/// Words as the name of a variable.
function joined(words) {
  return words.split(/[^A-Za-z0-9]+/).filter(Boolean).map((w, i) => (i ? w[0].toUpperCase() : w[0].toLowerCase()) + w.slice(1)).join("");
}

/// A file's name as that of a variable. Tables and methods have names that end like theirs.
function identifier(file) {
  const name = joined(file.replace(/\.[^.]*$/, ""));
  const isFree = /^[a-z]/.test(name) && !TAKEN.has(name.toLowerCase()) && !/(table|qkz)$/i.test(name);
  return isFree ? name : joined(`file ${name}`);
}

/// Breaks a line that is too long behind a comma, or else before what is assigned, but no text in quotes.
function wrapped(line) {
  if (line.length <= LONGEST_LINE || line.trim().startsWith("'")) return line;
  const bare = line.replace(/"[^"]*"/g, (text) => "_".repeat(text.length));
  const at = [", ", "= "].map((mark) => bare.lastIndexOf(mark, LONGEST_LINE - 3)).find((place) => place > 0);
  return at ? `${line.slice(0, at + 1)} _\n${wrapped("    " + line.slice(at + 2))}` : line;
}

/// Writes a program in the host's language, step by step.
class Program {
  #lines = [];
  #head = [];
  #current = "p";
  #declared = new Set();
  #files = new Map();  // file -> variable
  #changed = false;  // p is not the source any more

  constructor(source) {
    this.source = source;
  }

  text() {
    return [...this.#head, ...this.#lines].map(wrapped).join("\n");
  }

  /// What stands for files in the program: variable -> file.
  files() {
    return Object.fromEntries([...this.#files].map(([file, name]) => [name, file]));
  }

  add(step, isLast) {
    if (step.form.kind === "class") this.#instance(step);
    else this.#call(step, isLast);
  }

  #declare(name, type, value) {
    const line = value === undefined ? "" : `${name} = ${value}`;
    if (this.#declared.has(name)) {
      if (line) this.#lines.push(line);
      return;
    }
    this.#declared.add(name);
    this.#lines.push(`Dim ${name} As ${type}` + (value === undefined ? "" : ` = ${value}`));
  }

  #variable(file, type) {
    if (file === this.source && !this.#changed && type === "picture") return "p";
    const known = this.#files.get(file);
    if (known) return known;
    let name = identifier(file);
    const used = [...this.#files.values()].map((other) => other.toLowerCase());
    while (used.includes(name.toLowerCase())) name += "2";
    this.#files.set(file, name);
    const kinds = { picture: "the picture", memoryblock: "a MemoryBlock with the bytes of", string: "a String with the bytes of" };
    this.#head.push(`' ${name}: ${kinds[type] ?? ""} ${file}`);
    return name;
  }

  #table(text) {
    const known = TABLES.find((table) => table.text.toLowerCase() === text.toLowerCase());
    const name = known ? joined(`${known.name} table`) : "table";
    if (this.#declared.has(name)) return name;
    this.#declared.add(name);
    if (!known) {
      this.#head.push(`' ${name}: a MemoryBlock with these bytes`);
      return name;
    }
    this.#lines.push(`Dim ${name} As New MemoryBlock(256)`, "For i As Integer = 0 To 255", `  ${name}.Byte(i) = ${known.formula}`, "Next");
    return name;
  }

  #value(parameter, text) {
    if (text === "$") return this.#current;
    if (text.toLowerCase() === "nil") return "Nil";
    if (parameter.type === "boolean") return text === "true" ? "True" : "False";
    if (text.startsWith('"text:')) return `"${text.slice(6)}`;
    if (text.startsWith('"hex:')) return this.#table(text);
    const file = fileOf(text);
    return file ? this.#variable(file, parameter.type) : text;
  }

  #call(step, isLast) {
    const { form, values } = step;
    const overload = overloadOf(step);
    const byref = overload.parameters.map((p, i) => ({ ...p, text: values[i] })).filter((p) => p.byref);
    for (const type of new Set(byref.map((p) => p.type))) {
      const names = byref.filter((p) => p.type === type).map((p) => p.text).filter((name) => !this.#declared.has(name));
      names.forEach((name) => this.#declared.add(name));
      if (names.length) this.#lines.push(`Dim ${names.join(", ")} As ${type === "memoryblock" ? "MemoryBlock" : "Integer"}`);
    }
    const list = written(step).map(({ parameter, text }) => this.#value(parameter, text)).join(", ");
    const owner = { picture: `${this.#current}.`, module: "iOSPictureQKZ." }[form.kind] ?? "";
    const call = owner + form.key + (list && `(${list})`);
    const inPlace = overload.changes && overload.result !== "picture";
    if (overload.assigns) this.#lines.push(`${call} = ${this.#value(overload.parameters.at(-1), values.at(-1))}`);
    else if (overload.result === "picture") this.#declare("q", "Picture", call);
    else if (overload.result === "boolean" && isLast && form.kind !== "module") this.#branch(call, byref, inPlace);
    else if (overload.result === "boolean") this.#declare("done", "Boolean", call);
    else if (overload.result === "integer") this.#declare("n", "Integer", call);
    else if (overload.result === "double") this.#declare("d", "Double", call);
    else if (overload.result === "string") this.#declare("data", "String", call);
    else this.#lines.push(call);
    if (overload.assigns || inPlace) this.#changed ||= this.#current === "p";
    else if (overload.result === "picture") this.#current = "q";
  }

  #branch(call, byref, inPlace) {
    const told = inPlace ? `${this.#current} has changed` : byref.length ? `at ${byref.map((p) => p.text).join(", ")}` : "your code";
    this.#lines.push(`If ${call} Then`, `  ' ${told}`, "End If");
  }

  #instance(step) {
    const name = joined(step.form.key.replace(/^Picture|QKZ$/g, ""));
    if (!this.#declared.has(name)) this.#lines.push(`Dim ${name} As New ${step.form.key}`);
    else this.#lines.push(`${name} = New ${step.form.key}`);
    this.#declared.add(name);
    this.#lines.push(`${name}.SourcePicture = ${this.#current}`);
    for (const { parameter, text } of written(step)) {
      if (parameter.type === "cube") this.#cube(name, fileOf(text));
      else this.#lines.push(`${name}.${parameter.name} = ${this.#value(parameter, text)}`);
    }
    this.#declare("q", "Picture");
    this.#lines.push(`If ${name}.Run Then q = ${name}.DestinationPicture`);
    this.#current = "q";
  }

  /// The table of a .cube file. What the one of these pages holds is a formula; others are told.
  #cube(name, file) {
    const own = file === "look.cube";
    const set = (x, formula) => `      ${name}.Table(r, g, b, ${x}) = ${formula}`;
    const levels = own
      ? [set(0, "r * 16"), set(1, "g * 15 + 4"), set(2, "b * 9 + 50")]
      : [`      ' ${name}.Table(r, g, b, 0), 1 and 2: the red, green and blue`, `      ' of ${file} there, 0 to 255`];
    this.#lines.push(
      `' the table of ${file}, which qkz reads itself: index i is the level`, "' (i - 1) * 17",
      "For r As Integer = 1 To 16", "  For g As Integer = 1 To 16", "    For b As Integer = 1 To 16", ...levels, "    Next", "  Next", "Next",
    );
  }
}

function program(source, steps) {
  const made = new Program(source);
  steps.forEach((step, i) => made.add(step, i === steps.length - 1));
  return { text: made.text(), files: made.files() };
}

/// Code in pieces: [class of the style sheet or nothing, text].
function highlighted(code) {
  const token =
    /('[^\n]*)|("(?:[^"\n]|"")*")|(&c[0-9A-F]{6}\b)|(\b\d+(?:\.\d+)?\b)|(\b\w*QKZ\b)|(\b(?:dim|as|new|if|then|end|for|to|next|true|false|nil)\b)|(\b(?:integer|double|boolean|string|color|picture|memoryblock)\b)/gi;
  const classes = ["c", "s", "v", "n", "q", "k", "t"];
  const pieces = [];
  let at = 0;
  for (const match of code.matchAll(token)) {
    pieces.push(["", code.slice(at, match.index)], [classes[match.slice(1).findIndex(Boolean)], match[0]]);
    at = match.index + match[0].length;
  }
  return [...pieces, ["", code.slice(at)]].filter(([, text]) => text);
}

/// A line that a call printed, as the host's language writes values.
const told = (line) => line.replace(/(^|= )(true|false|nil)$/, (_, before, word) => before + word[0].toUpperCase() + word.slice(1));

/// Where FindPictureQKZ found its picture, as {file, x, y}: the last step that did.
function found(steps, answers) {
  for (let i = answers.length - 1; i >= 0; --i) {
    if (steps[i].form.key !== "FindPictureQKZ" || !answers[i].printed.includes("true")) continue;
    const [x, y] = answers[i].printed.filter((line) => line.includes(" = ")).map((line) => Number(line.split(" = ")[1]));
    return { text: steps[i].values[0], x, y };
  }
  return null;
}
