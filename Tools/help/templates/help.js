// Copy buttons and the search. Without this file the pages lack nothing but these two.
"use strict";

function copyText(text) {
  if (navigator.clipboard && window.isSecureContext) {
    return navigator.clipboard.writeText(text).catch(() => copyBySelection(text));
  }
  return Promise.resolve(copyBySelection(text));
}

function copyBySelection(text) {
  const field = document.createElement("textarea");
  field.value = text;
  field.setAttribute("aria-hidden", "true");
  field.style.cssText = "position:fixed;top:0;opacity:0";
  document.body.append(field);
  field.select();
  document.execCommand("copy");
  field.remove();
}

function addCopyButton(box) {
  const code = box.querySelector("code") || box;
  const button = document.createElement("button");
  button.type = "button";
  button.className = "copy";
  button.textContent = "Copy";
  const what = code.textContent.trim().split("\n")[0].slice(0, 60);
  button.setAttribute("aria-label", what ? "Copy: " + what : "Copy");
  button.addEventListener("click", async () => {
    const focused = document.activeElement;
    await copyText(code.textContent);
    focused?.focus();
    button.textContent = "Copied";
    button.classList.add("done");
    document.getElementById("search-status").textContent = "Copied";
    setTimeout(() => {
      button.textContent = "Copy";
      button.classList.remove("done");
    }, 1500);
  });
  if (box.matches("pre")) {
    const around = document.createElement("div");
    around.className = "code";
    box.replaceWith(around);
    around.append(box, button);
  } else {
    box.append(button);
  }
}
for (const box of document.querySelectorAll(".code, main pre:not(.code pre)")) addCopyButton(box);

(function search() {
  const area = document.getElementById("search");
  const input = document.getElementById("search-text");
  const list = document.getElementById("search-results");
  const status = document.getElementById("search-status");
  let index = null;
  let chosen = -1;
  area.hidden = false;

  // The index is read when it is first wanted.
  function load() {
    if (index) return;
    index = [];
    const script = document.createElement("script");
    script.src = "search.js";
    script.onload = () => {
      index = searchIndex;
      show();
    };
    document.head.append(script);
  }

  // How well a row answers; 0 is not at all. All words must be somewhere.
  function rank([, name, , does, rest], words) {
    const lower = name.toLowerCase();
    let sum = 0;
    for (const word of words) {
      const short = lower.slice(lower.indexOf(".") + 1);
      const part = name.split(/(?=[A-Z])|[ .]/).some((p) => p.toLowerCase().startsWith(word));
      if (lower === word || lower === word + "qkz") sum += 100;
      else if (lower.startsWith(word) || short.startsWith(word)) sum += 60;
      else if (part) sum += 40;
      else if (lower.includes(word)) sum += 25;
      else if (does.toLowerCase().includes(word)) sum += 10;
      else if (rest.toLowerCase().includes(word)) sum += 3;
      else return 0;
    }
    return name.includes(".") ? sum / 2 : sum;  // members of classes after what is called directly
  }

  function marked(text, words) {
    const result = document.createDocumentFragment();
    const escaped = words.map((w) => w.replace(/[.*+?^${}()|[\]\\]/g, "\\$&"));
    for (const [i, part] of text.split(new RegExp("(" + escaped.join("|") + ")", "i")).entries()) {
      if (i % 2) {
        const mark = document.createElement("mark");
        mark.textContent = part;
        result.append(mark);
      } else {
        result.append(part);
      }
    }
    return result;
  }

  // The words around the first one that was found, when the description does not hold it.
  function excerpt([, , , does, rest], words) {
    const hit = words.find((w) => !does.toLowerCase().includes(w) && rest.toLowerCase().includes(w));
    if (!hit) return does;
    const at = Math.max(0, rest.lastIndexOf(" ", Math.max(0, rest.toLowerCase().indexOf(hit) - 40)));
    return (at ? "…" : "") + rest.slice(at, at + 160);
  }

  function element(tag, content) {
    const made = document.createElement(tag);
    made.append(content);
    return made;
  }

  function show() {
    const words = input.value.toLowerCase().split(/[\s()]+/).filter(Boolean);
    const found = index
      .map((row) => [rank(row, words), row])
      .filter(([points]) => words.length && points)
      .sort((a, b) => b[0] - a[0])
      .slice(0, 12);
    list.replaceChildren(
      ...found.map(([, row], i) => {
        const item = document.createElement("li");
        item.id = "found-" + i;
        item.setAttribute("role", "option");
        item.dataset.address = row[0];
        const name = element("b", marked(row[1], words));
        if (!row[1].includes(" ")) name.className = "name";
        item.append(element("span", row[2]), name, element("p", marked(excerpt(row, words), words)));
        return item;
      }),
    );
    const open = words.length > 0 && found.length > 0;
    list.hidden = !open;
    input.setAttribute("aria-expanded", String(open));
    const count = found.length === 12 ? "12 or more" : found.length;
    status.textContent = !words.length ? "" : found.length ? `${count} found` : "Nothing found";
    area.classList.toggle("nothing", words.length > 0 && !found.length);
    choose(open ? 0 : -1);
  }

  function choose(i) {
    chosen = i;
    for (const [n, item] of [...list.children].entries()) item.setAttribute("aria-selected", String(n === i));
    if (i < 0) input.removeAttribute("aria-activedescendant");
    else {
      input.setAttribute("aria-activedescendant", "found-" + i);
      list.children[i].scrollIntoView({ block: "nearest" });
    }
  }

  function close() {
    list.hidden = true;
    input.setAttribute("aria-expanded", "false");
    choose(-1);
  }

  function go(item) {
    close();
    input.value = "";
    status.textContent = "";
    input.blur();
    location.href = item.dataset.address;
  }

  input.addEventListener("focus", load);
  input.addEventListener("input", show);
  input.addEventListener("keydown", (event) => {
    const count = list.hidden ? 0 : list.children.length;
    if (event.key === "ArrowDown" && count) choose((chosen + 1) % count);
    else if (event.key === "ArrowUp" && count) choose((chosen + count - 1) % count);
    else if (event.key === "Enter" && chosen >= 0) go(list.children[chosen]);
    else if (event.key === "Escape" && !list.hidden) close();
    else return;
    event.preventDefault();
  });
  list.addEventListener("pointerdown", (event) => event.preventDefault());
  list.addEventListener("click", (event) => {
    const item = event.target.closest("li");
    if (item) go(item);
  });
  input.addEventListener("blur", close);
  document.addEventListener("keydown", (event) => {
    if (event.key !== "/" || event.ctrlKey || event.metaKey || event.altKey) return;
    if (/^(INPUT|TEXTAREA|SELECT)$/.test(document.activeElement.tagName)) return;
    event.preventDefault();
    input.focus();
  });
})();
