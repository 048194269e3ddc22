// The panel of an entry: a picture, the steps with their fields, before and after under a divider, and the code.

const library = new Library();
let formOf;  // of a name
let lastPanel;  // what is pasted goes there

/// An element with attributes (on... are listeners, other functions and booleans properties) and content.
function element(tag, attributes = {}, ...content) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith("on")) made.addEventListener(name.slice(2), value);
    else if (typeof value === "boolean") made[name] = value;
    else made.setAttribute(name, value);
  }
  made.append(...content);
  return made;
}

let lastId = 0;
const newId = () => `try-${++lastId}`;
const hexColour = (text) => "#" + (/^&c([0-9a-f]{6})/i.exec(text)?.[1] ?? "000000").toLowerCase();
const codeColour = (hex) => "&c" + hex.slice(1).toUpperCase();

/// Asks for a file and gives it to `take`.
function chooseFile(accept, take) {
  const input = element("input", { type: "file", accept, onchange: () => input.files[0] && take(input.files[0]) });
  input.click();
}

function download(name, blob) {
  const link = element("a", { href: URL.createObjectURL(blob), download: name });
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 1e4);
}

/// A select of [value, text] whose options are made anew when files come. `others` are offered besides, as [text, what
/// to do].
function choice(attributes, options, value, take, others = []) {
  const select = element("select", attributes);
  let current = value;
  const fill = () => {
    const list = options();
    if (!list.some(([known]) => known === current)) list.push([current, fileOf(current) || current]);
    select.replaceChildren(...list.map(([known, text]) => element("option", { value: known }, text)));
    others.forEach(([text], i) => select.append(element("option", { value: `other ${i}` }, text)));
    select.value = current;
  };
  select.addEventListener("change", () => {
    const other = /^other (\d+)$/.exec(select.value);
    if (other) {
      select.value = current;
      others[other[1]][1]((chosen) => {
        current = chosen;
        fill();
        take(chosen);
      });
    } else {
      current = select.value;
      take(current);
    }
  });
  select.set = (chosen) => {
    current = chosen;
    fill();
  };
  fill();
  select.unlisten = library.onFile(fill);
  return select;
}

const isPicture = (name) => /\.(png|jpe?g|webp|gif|bmp|avif|heic|tiff?)$/i.test(name);
const pictureOptions = () => library.names.filter(isPicture).map((name) => [name, playgroundForms.pictures[name] ? name.replace(/\.png$/, "") : name]);

/// The input of one parameter. `take` gets its text as it is written in a call.
class Field {
  constructor(parameter, value, panel, take) {
    this.parameter = parameter;
    this.take = take;
    this.id = newId();
    const make = {
      boolean: () => this.#switch(value), color: () => this.#colour(value), picture: () => this.#picture(value, panel),
      memoryblock: () => this.#file(value), string: () => (value.startsWith('"text:') ? this.#text(value) : this.#file(value)),
      cube: () => this.#file(value),
    }[parameter.type];
    this.node = isNumber(parameter) ? this.#number(value) : make ? make() : this.#row(element("span", { class: "try-soft" }, "Nil"));
    if (parameter.means) this.node.title = parameter.means;
  }

  /// A slider ends where the picture does.
  fit(size) {
    if (!this.slider) return;
    const [from, to] = ends(this.parameter, size);
    const value = this.number.value;
    Object.assign(this.slider, { min: from, max: to });
    this.slider.value = value;
    this.#fill();
  }

  unlisten() {
    this.select?.unlisten();
  }

  #row(input, ...more) {
    const label = element("label", { for: this.id }, element("code", {}, this.parameter.name));
    if (this.parameter.unit) label.append(element("span", { class: "try-soft" }, this.parameter.unit));
    return element("div", { class: "try-field" }, label, input, ...more);
  }

  #number(value) {
    const { step, name } = this.parameter;
    this.number = element("input", { type: "number", id: this.id, step: "any", value, inputmode: "decimal" });
    this.slider = element("input", { type: "range", step: String(step), "aria-label": `${name}, slider` });
    this.number.addEventListener("input", () => {
      this.slider.value = this.number.value;
      this.#took();
    });
    this.slider.addEventListener("input", () => {
      this.number.value = this.slider.value;
      this.#took();
    });
    this.fit({ width: 1, height: 1 });
    return this.#row(this.number, this.slider);
  }

  #took() {
    const wrong = fault(this.parameter, this.number.value);
    this.number.setAttribute("aria-invalid", String(Boolean(wrong)));
    this.#fill();
    this.take(this.number.value.trim());
  }

  /// The slider is coloured between 0, or its end nearest to that, and its handle.
  #fill() {
    const { min, max, value } = this.slider;
    const place = (number) => (max > min ? ((Math.min(Math.max(number, min), max) - min) / (max - min)) * 100 : 0);
    const [low, high] = [place(0), place(value)].sort((a, b) => a - b);
    this.slider.style.setProperty("--low", `${low}%`);
    this.slider.style.setProperty("--high", `${high}%`);
  }

  #switch(value) {
    const box = element("input", { type: "checkbox", id: this.id, checked: value.toLowerCase() === "true" });
    box.addEventListener("change", () => this.take(String(box.checked)));
    return this.#row(box);
  }

  #colour(value) {
    const code = element("code", { class: "try-soft" }, value);
    const input = element("input", { type: "color", id: this.id, value: hexColour(value) });
    input.addEventListener("input", () => {
      code.textContent = codeColour(input.value);
      this.take(codeColour(input.value));
    });
    return this.#row(element("span", { class: "try-colour" }, code, input));
  }

  #text(value) {
    const input = element("input", { type: "text", id: this.id, value: value.slice(6, -1) });
    input.addEventListener("input", () => this.take(`"text:${input.value.replaceAll('"', '""')}"`));
    return this.#row(input);
  }

  #picture(value, panel) {
    const options = () => [
      ["$", panel.hasStepsBefore(this) ? "the picture so far" : "the picture itself"],
      ...pictureOptions().map(([name, text]) => [quoted(name), text]),
      ["nil", "Nil"],
    ];
    return this.#select(options, value, "image/*");
  }

  #file(value) {
    const kind = /\.\w+$/.exec(fileOf(value))?.[0] ?? ".bin";
    const tables = value.startsWith('"hex:') ? TABLES.map(({ text, name }) => [text, name]) : [];
    const fits = (name) => (tables.length ? !isPicture(name) && !playgroundFiles[name] : name.endsWith(kind) || (!isPicture(name) && !playgroundFiles[name]));
    const options = () => [...tables, ...library.names.filter(fits).map((name) => [quoted(name), name]), ["nil", "Nil"]];
    return this.#select(options, value, "");
  }

  #select(options, value, accept) {
    const other = ["a file…", (chosen) => chooseFile(accept, (file) => chosen(quoted(library.add(file))))];
    this.select = choice({ id: this.id }, options, value, (text) => this.take(text), [other]);
    return this.#row(this.select);
  }
}

/// A step with its fields and what its call told.
class StepView {
  constructor(step, panel, isMain) {
    this.step = step;
    this.panel = panel;
    this.fields = [];
    this.told = element("p", { class: "try-told", role: "status" });
    this.list = element("div", { class: "try-fields" });
    const parts = step.form.key.split(/(?<=[a-z0-9])(?=[A-Z])/).flatMap((part) => [element("wbr"), part]);
    const legend = element("legend", {}, element("code", {}, ...parts));
    this.node = element("fieldset", { class: "try-step" }, legend);
    if (!isMain) {
      const remove = { type: "button", class: "try-remove", "aria-label": `Remove ${step.form.key}`, onclick: () => panel.remove(this) };
      this.node.append(element("button", remove, "×"));
    }
    if (step.form.overloads.length > 1) this.node.append(this.#overloads());
    this.node.append(this.list, this.told);
    this.#fill();
  }

  #overloads() {
    const id = newId();
    const select = element("select", { id });
    this.step.form.overloads.forEach(({ parameters, assigns }, i) => {
      const names = parameters.filter((p) => !p.assigned).map((p) => p.name).join(", ");
      select.append(element("option", { value: String(i) }, (names || "no arguments") + (assigns ? ", assigned" : "")));
    });
    select.value = String(this.step.overload);
    select.addEventListener("change", () => {
      Object.assign(this.step, openingStep(this.step.form, Number(select.value)));
      this.#fill();
      this.panel.want();
    });
    return element("div", { class: "try-field try-form" }, element("label", { for: id }, "Form"), select);
  }

  #fill() {
    this.unlisten();
    const { parameters } = overloadOf(this.step);
    this.fields = parameters.map((parameter, i) => parameter.byref ? null : new Field(parameter, this.step.values[i], this.panel, (text) => {
      this.step.values[i] = text;
      this.panel.want();
    }));
    this.list.replaceChildren(...this.fields.filter(Boolean).map((field) => field.node));
    if (this.panel.size) this.fit(this.panel.size);
  }

  fit(size) {
    for (const field of this.fields) field?.fit(size);
  }

  unlisten() {
    for (const field of this.fields) field?.unlisten();
  }

  /// Shows what the call printed, or why it failed.
  tell(lines, wrong) {
    const text = lines.join("\n");
    if (text === this.told.dataset.text && this.told.classList.contains("wrong") === wrong) return;
    this.told.dataset.text = text;
    this.told.classList.toggle("wrong", wrong);
    this.told.replaceChildren(...lines.map((line) => (wrong ? element("span", {}, line) : element("samp", {}, told(line)))));
  }
}

/// Before and after: in one frame under a divider when they have the same size, else beside each other.
class Stage {
  constructor() {
    this.before = element("canvas", { role: "img", "aria-label": "Before" });
    this.after = element("canvas", { role: "img", "aria-label": "After" });
    this.mark = element("div", { class: "try-mark", hidden: true });
    this.divider = element("input", {
      type: "range", class: "try-divider", min: "0", max: "100", step: "1", value: "50", "aria-label": "Divider between before and after",
    });
    this.divider.addEventListener("input", () => this.#divide());
    const half = (canvas, name) => element("div", { class: `try-half try-${name.toLowerCase()}` }, canvas, element("span", { "aria-hidden": "true" }, name));
    this.halves = [half(this.before, "Before"), half(this.after, "After")];
    this.halves[1].append(this.mark);
    this.node = element("div", { class: "try-frame" }, ...this.halves, element("span", { class: "try-line", "aria-hidden": "true" }), this.divider);
    this.#divide();
  }

  #divide() {
    this.node.style.setProperty("--at", `${this.divider.value}%`);
    this.divider.setAttribute("aria-valuetext", `${this.divider.value} % before`);
  }

  drawBefore({ bitmap }) {
    Object.assign(this.before, { width: bitmap.width, height: bitmap.height });
    this.before.getContext("2d").drawImage(bitmap, 0, 0);
  }

  /// The bitmap becomes the canvas's own.
  drawAfter(bitmap) {
    Object.assign(this.after, { width: bitmap.width, height: bitmap.height });
    this.after.getContext("bitmaprenderer").transferFromImageBitmap(bitmap);
  }

  /// `kind` is "divided", "beside" or "alone" (after only); sizes are those of the pictures, which may be shown smaller.
  arrange(kind, before, after) {
    this.node.dataset.kind = kind;
    this.divider.hidden = kind !== "divided";
    for (const [node, { width, height }] of [[this.halves[0], before], [this.halves[1], after], [this.node, after]]) {
      node.style.setProperty("--width", width);
      node.style.setProperty("--height", height);
    }
    this.size = after;
  }

  /// A frame around what was found, or none.
  frame(place) {
    this.mark.hidden = !place;
    if (!place) return;
    const { width, height } = this.size;
    const share = (value, full) => `${(value / full) * 100}%`;
    Object.assign(this.mark.style, {
      left: share(place.x, width), top: share(place.y, height), width: share(place.width, width), height: share(place.height, height),
    });
  }
}

class Panel {
  constructor(entry, button) {
    this.entry = entry;
    this.button = button;
    this.key = entry.dataset.try;
    this.status = element("p", { class: "try-status", role: "status" }, "Loading the library…");
    this.node = element("div", { class: "try", role: "group", "aria-label": `Try ${this.key}`, tabindex: "-1" }, this.#head(), this.status);
    this.views = [];
  }

  #head() {
    const close = { type: "button", class: "try-button", onclick: () => this.close() };
    return element("div", { class: "try-head" }, element("span", { class: "try-choose" }), element("button", close, "Close"));
  }

  async open() {
    this.button.hidden = true;
    const first = this.entry.querySelector(":scope > .pictures");
    if (first) first.before(this.node);
    else this.button.before(this.node);
    this.node.focus({ preventScroll: true });
    try {
      await library.start();
      formOf ??= ((all) => (key) => all.get(key))(new Map(playgroundForms.methods.map((form) => [form.key, form])));
      this.#fill();
    } catch (error) {
      this.#fail(error);
    }
  }

  close() {
    for (const view of this.views) view.unlisten();
    this.choose?.unlisten();
    this.node.remove();
    this.entry.classList.remove("tried");
    this.button.hidden = false;
    this.button.focus();
    if (lastPanel === this) lastPanel = null;
  }

  #fail(error) {
    this.status.textContent = `The playground cannot run here: ${error.message}. The pictures of this page stay as they are.`;
    this.status.classList.add("wrong");
  }

  #fill() {
    const form = formOf(this.key);
    this.source = form.source;
    this.stage = new Stage();
    this.stage.node.hidden = true;
    this.facts = element("span");
    this.save = element("button", { type: "button", class: "try-button", hidden: true }, "Save picture");
    this.save.addEventListener("click", () => this.#save());
    this.steps = element("div", { class: "try-steps" });
    this.code = element("code");
    this.command = element("code");
    this.#chooser(makesAlone({ form, overload: form.opening }));
    this.node.append(
      element("div", { class: "try-body" },
        element("div", { class: "try-stage" }, this.stage.node, element("div", { class: "try-facts" }, this.facts, this.save)),
        element("div", { class: "try-side" }, this.steps, this.#then())),
      element("p", { class: "head" }, "In your program"), codeBox(this.code, `Program with ${this.key}`),
      element("p", { class: "head" }, "On the command line"), codeBox(this.command, `Command with ${this.key}`));
    for (const step of stepsBefore(form, formOf)) this.#add(step);
    this.main = this.#add(openingStep(form), true);
    for (const type of ["pointerdown", "focusin"]) this.node.addEventListener(type, () => (lastPanel = this));
    lastPanel = this;
    this.#drop();
    this.want();
  }

  #chooser(isAlone) {
    const place = this.node.querySelector(".try-choose");
    if (isAlone) return;
    const id = newId();
    this.choose = choice({ id }, pictureOptions, this.source, (name) => this.#use(name));
    const own = { type: "button", class: "try-button", onclick: () => chooseFile("image/*", (file) => this.take(file)) };
    place.append(
      element("label", { for: id }, "Picture"), this.choose, element("button", own, "Your picture…"),
      element("span", { class: "try-soft try-hint" }, "or drop one here, or paste it"));
  }

  #drop() {
    const over = (is) => (event) => {
      event.preventDefault();
      this.node.classList.toggle("over", is);
    };
    this.node.addEventListener("dragover", over(true));
    this.node.addEventListener("dragleave", over(false));
    this.node.addEventListener("drop", (event) => {
      over(false)(event);
      if (event.dataTransfer.files[0]) this.take(event.dataTransfer.files[0]);
    });
  }

  /// Takes a picture of the reader's.
  take(file) {
    if (this.choose) this.#use(library.add(file));
  }

  #use(name) {
    this.source = name;
    this.choose.set(name);
    this.shown = null;
    this.want();
  }

  #then() {
    const id = newId();
    const select = element("select", { id }, element("option", { value: "" }, "Then…"));
    const groups = new Map();
    for (const { key, title, kind } of playgroundForms.methods) {
      if (kind === "module") continue;
      if (!groups.has(title)) groups.set(title, element("optgroup", { label: title }));
      groups.get(title).append(element("option", { value: key }, key));
    }
    select.append(...groups.values());
    select.addEventListener("change", () => {
      const view = this.#add(openingStep(formOf(select.value)));
      select.value = "";
      (view.list.querySelector("input, select") ?? view.node.querySelector("select, button")).focus();
      this.want();
    });
    return element("div", { class: "try-then" }, element("label", { class: "hidden", for: id }, "Add a step"), select);
  }

  #add(step, isMain = false) {
    const view = new StepView(step, this, isMain);
    this.views.push(view);
    this.steps.append(view.node);
    if (this.size) view.fit(this.size);
    return view;
  }

  remove(view) {
    view.unlisten();
    view.node.remove();
    this.views.splice(this.views.indexOf(view), 1);
    this.node.querySelector(".try-then select").focus();
    this.want();
  }

  /// Whether steps come before that of a field; fields of steps being made count as the last.
  hasStepsBefore(field) {
    const place = this.views.findIndex((view) => view.fields.includes(field));
    return (place < 0 ? this.views.length : place) > 0;
  }

  /// Wants a run of what is set now. While one is under way, only the last wish is kept.
  async want() {
    this.wanted = true;
    if (this.running) return;
    this.running = true;
    this.node.setAttribute("aria-busy", "true");
    while (this.wanted) {
      this.wanted = false;
      try {
        await this.#run();
      } catch (error) {
        this.#tellOf(error);
      }
    }
    this.running = false;
    this.node.setAttribute("aria-busy", "false");
  }

  async #run() {
    const steps = this.views.map(({ step }) => ({ ...step, values: [...step.values] }));
    const views = [...this.views];
    const source = this.source;
    const wrong = steps.findIndex((step) => overloadOf(step).parameters.some((p, i) => fault(p, step.values[i])));
    if (wrong >= 0) {
      const { parameters } = overloadOf(steps[wrong]);
      views[wrong].tell(parameters.map((p, i) => fault(p, steps[wrong].values[i])).filter(Boolean), true);
      return;
    }
    if (this.shown !== source) await this.#show(source);
    this.#compose(source, steps);
    const answer = await library.run(source, steps);
    if (!this.node.isConnected) return;  // closed in the meantime
    await this.#answer(source, steps, views, answer);
  }

  #compose(source, steps) {
    const pieces = highlighted(program(source, steps).text).map(([kind, text]) => {
      if (!kind) return text;
      const piece = element("span", { class: kind }, text);
      if (kind === "v") piece.prepend(element("i", { class: "swatch", style: `background:${hexColour(text)}` }));
      return piece;
    });
    this.code.replaceChildren(...pieces);
    this.command.textContent = command(source, steps);
  }

  /// Draws the picture to begin with.
  async #show(source) {
    let picture;
    try {
      picture = await library.picture(source);
    } catch (error) {
      if (playgroundForms.pictures[source] || FULL.test(error.message)) throw error;
      library.drop(source);
      if (this.source === source) {  // not another one in the meantime
        this.source = this.lastSource ?? formOf(this.key).source;
        this.choose.set(this.source);
      }
      throw error;
    }
    const { width, height, full } = picture;
    this.shown = this.lastSource = source;
    this.size = { width, height };
    this.scaled = full.width === width ? "" : `, made smaller from ${full.width} × ${full.height}`;
    this.stage.drawBefore(picture);
    for (const view of this.views) view.fit(this.size);
  }

  async #answer(source, steps, views, { steps: answers, error, string, milliseconds, width, height, bitmap }) {
    this.status.textContent = "";
    this.status.classList.remove("wrong");
    views.forEach((view, i) => {
      if (i < answers.length) view.tell(answers[i].printed, false);
      else view.tell(i === answers.length && error ? [error] : [], true);
    });
    this.stage.drawAfter(bitmap);
    const done = steps.slice(0, answers.length);
    const sameSize = width === this.size.width && height === this.size.height;
    const alone = !changes(steps) || steps.some(makesAlone);
    this.stage.arrange(alone ? "alone" : sameSize ? "divided" : "beside", this.size, { width, height });
    this.stage.frame(await this.#place(source, done, answers));
    this.stage.node.hidden = false;
    this.entry.classList.add("tried");
    this.string = string;
    this.done = [source, done];
    const time = milliseconds < 10 ? milliseconds.toFixed(1) : Math.round(milliseconds);
    const bytes = string ? `, ${string.length} bytes` : "";
    this.facts.textContent = `${width} × ${height} pixels${bytes}, ${time} ms${this.scaled}`;
    this.save.textContent = string ? "Save string" : "Save picture";
    this.save.hidden = !string && !changes(done);
  }

  async #place(source, steps, answers) {
    const place = found(steps, answers);
    if (!place) return null;
    const { width, height } = place.text === "$" ? this.stage.size : await library.picture(fileOf(place.text));
    return { ...place, width, height };
  }

  async #save() {
    if (this.string) return download("out.ppic", new Blob([this.string], { type: "application/octet-stream" }));
    try {
      download("out.png", await library.png(...this.done));
    } catch (error) {
      this.#tellOf(error);
    }
  }

  #tellOf(error) {
    if (!this.lastSource) return this.#fail(error);
    this.status.textContent = `${error.message}.`;
    this.status.classList.add("wrong");
  }
}

function codeBox(code, label) {
  const box = element("div", { class: "code" }, element("pre", { tabindex: "0", role: "region", "aria-label": label }, code));
  addCopyButton(box);
  return box;
}

if (canRun()) {
  for (const entry of document.querySelectorAll("[data-try]")) {
    const button = element("button", { type: "button", class: "try-button try-open" }, "Try it");
    button.setAttribute("aria-label", `Try it: ${entry.dataset.try}`);
    button.addEventListener("click", () => new Panel(entry, button).open());
    const after = [".made", ".pictures", ".declaration"].map((kind) => [...entry.querySelectorAll(`:scope > ${kind}`)].at(-1)).find(Boolean);
    after.after(button);
  }
  document.addEventListener("paste", (event) => {
    const file = [...(event.clipboardData?.files ?? [])].find(({ type }) => type.startsWith("image/"));
    if (file && lastPanel) {
      event.preventDefault();
      lastPanel.take(file);
    }
  });
}
