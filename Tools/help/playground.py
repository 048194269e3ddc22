"""What the pages need to run the library in the browser: what is known of every method, pictures to begin with, and
the scripts."""

import base64
import io
import json
import re
import shutil
from pathlib import Path

import sources
from render import plain, type_name

SCRIPTS = Path(__file__).resolve().parent.parent / "playground"
# try.js is these, one after the other.
PARTS = ("compose.js", "client.js", "panel.js")
# Rectangles have the same four names everywhere.
RECTANGLE = {"left": "width", "top": "height", "width": "width", "height": "height"}
NUMBERS = ("integer", "double", "uint32")
_CALL = re.compile(r'(\w+)\s*(?:\((.*)\))?\s*(?:=\s*("(?:[^"]|"")*"|\S+))?$', re.S)
_ARGUMENT = re.compile(r'\s*(?:(\w+)=)?("(?:[^"]|"")*"|[^,"]+)\s*(?:,|$)')


def parsed(call):
    """A call as (name, {place or key: text}, assigned text or None)."""
    name, inside, assigned = _CALL.match(call.strip()).groups()
    found = _ARGUMENT.findall(inside or "")
    return name, {key or i: text.strip() for i, (key, text) in enumerate(found)}, assigned


def _fits(overload, call):
    _, values, assigned = call
    taken = [p for p in overload["parameters"] if "assigned" not in p]
    needed = sum("default" not in p for p in taken)
    return overload["assigns"] == bool(assigned) and needed <= len(values) <= len(taken)


class Forms:
    """Collects what forms.js tells. What is missing in the words is told to `problems`."""

    def __init__(self, words, catalogue, figures, outcomes, pictures, problems):
        self._words = words
        self._catalogue = catalogue
        self._figures = figures
        self._outcomes = outcomes
        self._pictures = pictures
        self._problems = problems

    def keys(self):
        """The names of entries that can be tried."""
        return [entry.key for _, entry in self._words.entries() if self._can_run(entry)]

    def _can_run(self, entry):
        if entry.key in self._catalogue.classes:
            return True
        methods = [d for d in entry.declarations if d.kind == "method"]
        return bool(methods) and methods[0].section not in self._catalogue.classes

    def data(self):
        titles = {f.page: f.title for f in self._words.families}
        methods = [self._method(page, titles.get(page, ""), e) for page, e in self._words.entries() if self._can_run(e)]
        return {"methods": methods, "pictures": {f"{n}.png": sources.DESCRIPTIONS[n] for n in self._pictures}}

    def _method(self, page, title, entry):
        is_class = entry.key in self._catalogue.classes
        declarations = [d for d in entry.declarations if d.kind == "method"]
        calls = [parsed(call) for call in self._calls(entry)]
        source = entry.picture.get("of", "coffee")
        if is_class:
            kind = "class"
            overloads = [self._class(entry, calls, source)]
        else:
            kind = "picture" if declarations[0].receiver else "global"
            kind = "module" if declarations[0].section == "iOSPictureQKZ" else kind
            overloads = [self._overload(entry, d, calls, source) for d in declarations]
            self._fill(entry, overloads, source)
        own = [i for i, call in enumerate(calls) if call[0] == entry.key]
        fitting = [i for i, overload in enumerate(overloads) if own and _fits(overload, calls[own[0]])]
        # What the words' picture does before the method itself; another call of the same method is not wanted twice.
        told = [parsed(call) for call in entry.picture.get("calls") or []]
        places = [i for i, call in enumerate(told) if call[0] == entry.key]
        before = [call for call in told[:places[-1]] if call[0] != entry.key] if places else []
        return {
            "key": entry.key, "page": page, "title": title, "kind": kind, "source": f"{source}.png",
            "before": [{"key": name, "values": list(values.values())} for name, values, _ in before],
            "opening": fitting[0] if fitting else 0, "overloads": overloads,
        }

    def _calls(self, entry):
        """Calls of the words, those of the picture first; a strip's with its second value, which shows something."""
        calls = list(reversed(entry.picture.get("calls") or []))
        if entry.strip:
            calls.append(entry.strip["call"].replace("{}", str(entry.strip["values"][1])))
        outcome = self._outcomes.get((entry.file, entry.key))
        return calls + (outcome.calls if outcome else [])

    def _overload(self, entry, declaration, calls, source):
        parameters = []
        for i, p in enumerate(declaration.parameters):
            words = next((w for n, w in entry.parameters.items() if n.lower() == p.name.lower()), {})
            assigned = declaration.assigns and i == len(declaration.parameters) - 1
            form = self._parameter(entry, p.name, p.type, p.byref, words, entry.parameters, p.default)
            if assigned:
                form["assigned"] = True
            parameters.append(form)
        overload = {
            "text": declaration.text, "result": declaration.result.lower(), "assigns": declaration.assigns,
            "changes": self._changes(entry, declaration), "parameters": parameters,
        }
        fitting = [c for c in calls if c[0] == entry.key and _fits(overload, c)]
        _, values, assigned_text = fitting[0] if fitting else ("", {}, None)
        for i, form in enumerate(parameters):
            text = assigned_text if form.get("assigned") else values.get(i)
            form["value"] = self._value(form, text, source) if fitting else None
        return overload

    def _fill(self, entry, overloads, source):
        """What no call of the words tells begins as the parameter of that name in another declaration, or the one
        that the range refers to."""
        told = {}
        for form in (p for o in overloads for p in o["parameters"] if p["value"] is not None):
            told.setdefault(form["name"].lower(), form["value"])
        for form in (p for o in overloads for p in o["parameters"] if p["value"] is None):
            words = next(w for n, w in entry.parameters.items() if n.lower() == form["name"].lower())
            other = words["range"].removeprefix("as ").lower()
            form["value"] = self._value(form, told.get(form["name"].lower()) or told.get(other), source)

    def _class(self, entry, calls, source):
        forms = []
        values = next((v for name, v, _ in calls if name == entry.key), {})
        siblings = {p.name: {"range": p.range, "slide": p.slide} for p in entry.properties}
        for p in entry.properties:
            if p.declarations[0].result.lower() == "picture":  # what goes in and what comes out
                continue
            words = {"means": p.means, "unit": p.unit, "range": p.range, "slide": p.slide}
            type_ = p.declarations[0].result
            form = self._parameter(entry, p.name, type_, False, words, siblings, p.default)
            form["value"] = self._value(form, values.get(p.name), source)
            forms.append(form)
        forms.sort(key=lambda form: "of" in form)  # the area last
        if "Table" in values:
            table = {"name": "Table", "type": "cube", "means": "A table as a .cube file.", "default": "nil"}
            forms.insert(0, table | {"value": values["Table"]})
        told = {"text": f"Class {entry.key}", "result": "picture", "assigns": False, "changes": True}
        return told | {"parameters": forms}

    def _changes(self, entry, declaration):
        """Whether the picture is another one after the call; of methods in place the words' picture tells."""
        if declaration.result.lower() == "picture" or declaration.assigns:
            return True
        figure = self._figures.get(entry.key)
        alone = figure and all(parsed(call)[0] == entry.key for call, _ in figure.steps)
        return bool(alone) and figure.pictures[0].caption == "Before"

    def _parameter(self, entry, name, type_, byref, words, siblings, default):
        form = {"name": name, "type": type_.lower() if type_.islower() else type_name(type_).lower()}
        form["means"] = plain(words.get("means", ""))
        if unit := words.get("unit"):
            form["unit"] = plain(unit)
        if default:
            form["default"] = default
        if byref:
            form["byref"] = True
        elif form["type"] in NUMBERS:
            self._slide(entry, form, name, words, siblings)
        return form

    def _slide(self, entry, form, name, words, siblings):
        """The ends of a number's slider: numbers, or shares of the picture's width or height."""
        slide = words.get("slide")
        if not slide and (match := re.match(r"as (\w+)$", words.get("range") or "")):
            slide = siblings.get(match.group(1), {}).get("slide")
        slide = slide or RECTANGLE.get(name)
        if isinstance(slide, str):
            slide = [0, slide]
        sides = {v.removeprefix("-") for v in slide or [] if isinstance(v, str)}
        if not isinstance(slide, list) or len(slide) not in (2, 3) or sides - {"width", "height"} or len(sides) > 1:
            self._problems.add(entry.file, entry.key, f"the number {name} has no slide: [from, to]")
            return
        if sides:
            form["of"] = sides.pop()
            slide = [v if isinstance(v, (int, float)) else -1 if v.startswith("-") else 1 for v in slide]
        form["from"], form["to"] = slide[:2]
        form["step"] = slide[2] if len(slide) == 3 else 1 if form["type"] != "double" or slide[1] > 10 else 0.01

    def _value(self, form, text, source):
        """What a parameter begins with, as it is written in a call."""
        if text and (not text.startswith('"') or text[1:-1] in self._files() or text.startswith(('"hex:', '"text:'))):
            return text
        if form.get("byref"):
            return text or form["name"]
        if "default" in form:
            return form["default"]
        if "of" in form and form["from"] == 0:
            share = 0.5 if form["name"].lower() in ("width", "height") else 0.25
            return str(round(getattr(self._pictures[source], form["of"]) * share))
        if "from" in form:
            return "0" if form["from"] <= 0 <= form["to"] else str(form["from"])
        return {
            "boolean": "false", "color": "&c000000", "picture": '"chelsea.png"',
            "string": f'"text:holiday.{"png" if form["name"].startswith("Image") else "mov"}"',
        }.get(form["type"], "nil")

    def _files(self):
        return {f"{name}.png" for name in self._pictures} | {"samples.raw", "look.cube", "chelsea.ppic"}


def _picture(name, picture, photos):
    """As small as it may be: photographs as they are, the noise of scanned paper nearly, all else to the bit."""
    if name in sources.PHOTOGRAPHS:
        return "image/jpeg", (photos / f"{name}.jpg").read_bytes()
    data = io.BytesIO()
    exact = name != "scan"
    picture.save(data, "WEBP", lossless=exact, quality=100 if exact else 92, method=6)
    return "image/webp", data.getvalue()


def _address(kind, data):
    return f"data:{kind};base64,{base64.b64encode(data).decode('ascii')}"


def files(pictures, photos):
    """Pictures and files by the names that calls give them. What the library itself makes of a picture is told as a
    call on it."""
    made = {f"{name}.png": _address(*_picture(name, picture, photos)) for name, picture in sorted(pictures.items())}
    made["samples.raw"] = _address("application/octet-stream", sources.samples())
    made["look.cube"] = _address("text/plain", sources.cube().encode("ascii"))
    made["chelsea.ppic"] = {"of": "chelsea.png", "call": "PicturetoBinaryStringQKZ($)"}
    return made


def write(output, engine, forms, pictures, photos):
    """Writes all files of the playground into the folder of the pages."""
    compact = {"ensure_ascii": False, "separators": (",", ":")}
    for name, variable, data in (
        ("forms.js", "playgroundForms", forms.data()),
        ("playground-pictures.js", "playgroundFiles", files(pictures, photos)),
    ):
        (output / name).write_text(f"const {variable} = {json.dumps(data, **compact)};\n", encoding="utf-8")
    parts = "\n".join((SCRIPTS / part).read_text(encoding="utf-8") for part in PARTS)
    (output / "try.js").write_text('"use strict";\n(() => {\n' + parts + "})();\n", encoding="utf-8")
    shutil.copy(SCRIPTS / "try.css", output)
    shutil.copy(engine, output / "playground.js")
