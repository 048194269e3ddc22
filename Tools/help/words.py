"""The words of the help: read from Docs/help/*.yaml and checked against what the library registers."""

import re
from dataclasses import dataclass, field

import yaml

COMMON = {"does", "failure", "quirks", "example", "given", "picture", "strip"}
METHOD = COMMON | {"parameters", "result"}
CLASS = COMMON | {"properties", "methods"}
PROPERTY = {"means", "unit", "range", "slide", "default", "failure", "quirks", "does"}
PARAMETER = {"means", "unit", "range", "slide"}
PICTURE = {"of", "calls", "alt", "others", "frame"}
STRIP = {"of", "parameter", "call", "values"}
TASK = {"id", "title", "does", "example", "given", "picture", "methods"}
FAMILY = {"title", "order", "intro", "entries"}
ABOUT = {"title", "lead", "install", "trouble", "conventions", "entries"}
LONGEST_LINE = 76


@dataclass
class Entry:
    """The words of one registered name. `key` is also its anchor."""

    key: str
    file: str
    does: str = ""
    result: str = ""
    failure: str = ""
    example: str = ""
    parameters: dict = field(default_factory=dict)
    quirks: dict = field(default_factory=dict)
    given: dict = field(default_factory=dict)
    picture: dict = field(default_factory=dict)
    strip: dict = field(default_factory=dict)
    properties: dict = field(default_factory=dict)  # of a class: key -> Property
    methods: list = field(default_factory=list)  # of a class: entries
    declarations: list = field(default_factory=list)

    @property
    def name(self):
        return self.key.rpartition(".")[2]


@dataclass
class Property:
    key: str
    means: str
    unit: str = ""
    range: str = ""
    slide: object = None
    default: str = ""
    failure: str = ""
    quirks: dict = field(default_factory=dict)
    declarations: list = field(default_factory=list)

    @property
    def name(self):
        return self.key.rpartition(".")[2]


@dataclass
class Family:
    page: str
    file: str
    title: str
    order: float
    intro: str
    entries: list


@dataclass
class Words:
    families: list
    tasks: list
    tasks_intro: str
    about: dict
    about_entries: list

    def entries(self):
        """Every entry with its page, methods of classes after their class."""
        for page, entries in [(f.page, f.entries) for f in self.families] + [("index.html", self.about_entries)]:
            for entry in entries:
                yield page, entry
                for method in entry.methods:
                    yield page, method


def headings(compatibility):
    """The anchors of the quirks in Docs/compatibility.md."""
    titles = re.findall(r"^### (.*)$", compatibility, re.M)
    return {re.sub("[',`]", "", title.lower().replace(" ", "-")) for title in titles}


class Reader:
    def __init__(self, folder, catalogue, quirk_headings, problems):
        self._folder = folder
        self._catalogue = catalogue
        self._headings = quirk_headings
        self._problems = problems

    def read(self):
        files = sorted(self._folder.glob("*.yaml"))
        texts = {path.name: self._load(path) for path in files}
        for missing in {"tasks.yaml", "about.yaml"} - texts.keys():
            self._problems.add(missing, "", "is not there")
        tasks = texts.pop("tasks.yaml", {})
        about = texts.pop("about.yaml", {})
        families = [self._family(name, text) for name, text in texts.items()]
        families.sort(key=lambda f: (f.order, f.page))
        self._keys("tasks.yaml", "", tasks, {"tasks", "intro", "title"})
        words = Words(
            families,
            [self._task(t) for t in tasks.get("tasks", [])],
            tasks.get("intro", ""),
            self._about(about),
            [self._entry("about.yaml", n, e) for n, e in (about.get("entries") or {}).items()],
        )
        self._complete(words)
        return words

    def _load(self, path):
        try:
            text = yaml.safe_load(path.read_text(encoding="utf-8"))
        except yaml.YAMLError as error:
            self._problems.add(path.name, "", " ".join(str(error).split()))
            return {}
        if not isinstance(text, dict):
            self._problems.add(path.name, "", "holds no words")
            return {}
        return text

    def _keys(self, file, where, given, allowed):
        for key in given:
            if key not in allowed:
                self._problems.add(file, where, f"does not know the word \"{key}\"")

    def _family(self, file, text):
        self._keys(file, "", text, FAMILY)
        for wanted in ("title", "order", "intro", "entries"):
            if not text.get(wanted):
                self._problems.add(file, "", f"has no {wanted}")
        entries = [self._entry(file, name, words) for name, words in (text.get("entries") or {}).items()]
        page = file.removesuffix(".yaml") + ".html"
        return Family(page, file, text.get("title", ""), text.get("order", 0), text.get("intro", ""), entries)

    def _about(self, words):
        """The overview's parts; troubles and conventions become (anchor, title, text)."""
        self._keys("about.yaml", "", words, ABOUT)
        for wanted in sorted(ABOUT - {"entries"}):
            if not words.get(wanted):
                self._problems.add("about.yaml", "", f"has no {wanted}")
        about = {"title": words.get("title", ""), "lead": words.get("lead", ""), "install": words.get("install", [])}
        for part, title, text in (("trouble", "when", "then"), ("conventions", "title", "text")):
            about[part] = []
            for item in words.get(part) or []:
                self._keys("about.yaml", part, item, {title, text})
                anchor = re.sub(r"[^a-z0-9]+", "-", str(item.get(title)).lower()).strip("-")
                about[part].append((anchor, item.get(title, ""), item.get(text, "")))
        return about

    def _entry(self, file, key, words):
        if self._catalogue.spelled(key) != key:
            known = self._catalogue.spelled(key)
            self._problems.add(file, key, f"is registered as {known}" if known else "is not registered")
        words = words or {}
        is_class = key in self._catalogue.classes
        self._keys(file, key, words, CLASS if is_class else METHOD)
        if not words.get("does"):
            self._problems.add(file, key, "does not say what it does")
        entry = Entry(key, file, declarations=self._catalogue.of(key))
        for name in (CLASS if is_class else METHOD) - {"properties", "methods"}:
            setattr(entry, name, words.get(name) or type(getattr(entry, name))())
        if is_class:
            members = words.get("properties") or {}
            entry.properties = [self._property(file, f"{key}.{n}", p or {}) for n, p in members.items()]
            members = words.get("methods") or {}
            entry.methods = [self._entry(file, f"{key}.{n}", m) for n, m in members.items()]
        else:
            self._parameters(file, entry)
        self._quirks(file, key, entry.quirks)
        self._example(file, key, entry.example)
        self._pictures(file, key, entry)
        return entry

    def _property(self, file, key, words):
        self._keys(file, key, words, PROPERTY)
        declarations = self._catalogue.of(key)
        if not declarations:
            self._problems.add(file, key, "is not registered")
        means = words.get("means") or words.get("does") or ""
        if not means:
            self._problems.add(file, key, "does not say what it means")
        self._quirks(file, key, words.get("quirks") or {})
        texts = {n: _text(words.get(n)) for n in ("unit", "range", "default", "failure")}
        slide = words.get("slide")
        return Property(key, means, quirks=words.get("quirks") or {}, declarations=declarations, slide=slide, **texts)

    def _parameters(self, file, entry):
        declared = {p.name.lower(): p.name for d in entry.declarations for p in d.parameters}
        told = {str(name).lower(): name for name in entry.parameters}
        for name in told.keys() - declared.keys():
            self._problems.add(file, entry.key, f"no declaration has the parameter {told[name]}")
        for name in declared.keys() - told.keys():
            self._problems.add(file, entry.key, f"the parameter {declared[name]} has no words")
        for name, words in entry.parameters.items():
            self._keys(file, f"{entry.key}, {name}", words or {}, PARAMETER)
            slide = (words or {}).get("slide")
            entry.parameters[name] = {w: _text((words or {}).get(w)) for w in PARAMETER} | {"slide": slide}
            if not entry.parameters[name]["means"]:
                self._problems.add(file, entry.key, f"the parameter {name} does not say what it means")
        gives = any(d.result and d.kind == "method" for d in entry.declarations)
        if entry.declarations and gives != bool(entry.result):
            self._problems.add(file, entry.key, "has a result and no words for it" if gives else "gives no result")

    def _quirks(self, file, key, quirks):
        for slug in quirks:
            if slug not in self._headings:
                self._problems.add(file, key, f"Docs/compatibility.md has no heading {slug}")

    def _example(self, file, key, example):
        for line in example.splitlines():
            if len(line) > LONGEST_LINE:
                self._problems.add(file, key, f"the example has a line of {len(line)} characters: {line.strip()}")

    def _pictures(self, file, key, entry):
        if entry.picture:
            self._keys(file, key, entry.picture, PICTURE)
            for wanted in ("of", "calls", "alt"):
                if not entry.picture.get(wanted):
                    self._problems.add(file, key, f"its picture has no {wanted}")
        if entry.strip:
            self._keys(file, key, entry.strip, STRIP)
            for wanted in ("of", "parameter", "call", "values"):
                if not entry.strip.get(wanted):
                    self._problems.add(file, key, f"its strip has no {wanted}")
            if len(entry.strip.get("values", [])) != 5:
                self._problems.add(file, key, "its strip has not five values")
            names = {p.name.lower() for d in entry.declarations for p in d.parameters}
            names |= {p.name.lower() for p in entry.properties}
            if str(entry.strip.get("parameter", "")).lower() not in names:
                self._problems.add(file, key, f"no declaration has the parameter {entry.strip.get('parameter')}")

    def _task(self, words):
        name = str(words.get("id", words.get("title", "a task")))
        self._keys("tasks.yaml", name, words, TASK)
        for wanted in ("id", "title", "does", "example", "picture", "methods"):
            if not words.get(wanted):
                self._problems.add("tasks.yaml", name, f"has no {wanted}")
        for method in words.get("methods", []):
            if self._catalogue.spelled(method) != method:
                self._problems.add("tasks.yaml", name, f"names the method {method}, which is not registered")
        self._example("tasks.yaml", name, words.get("example", ""))
        task = dict.fromkeys(TASK) | words
        entry = Entry(name, "tasks.yaml", picture=task["picture"] or {})
        self._pictures("tasks.yaml", name, entry)
        return task

    def _complete(self, words):
        told = {}
        for _, entry in words.entries():
            for key in [entry.key] + [p.key for p in entry.properties]:
                if key in told:
                    self._problems.add(entry.file, key, f"has words in {told[key]}, too")
                told[key] = entry.file
        for name in self._catalogue.names():
            if name not in told:
                self._problems.add("Docs/help", name, "is registered and has no words")


def _text(value):
    """A default as it is written in the host's language."""
    if value is None:
        return ""
    return str(value) if not isinstance(value, bool) else str(value).capitalize()
