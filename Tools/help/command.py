"""Puts the words of the help into the command: python3 Tools/help/command.py Words.cpp"""

import argparse
import json
import re
from pathlib import Path

import words as wording
from problems import Problems

ROOT = Path(__file__).resolve().parent.parent.parent
# What stands for the sources of the pages where a photograph is all there is (Tools/qkz/Gallery.h).
STANDS_FOR = {"frames": "colours", "icon": "soft"}
STANDS_FOR_OF = {"ExtractColorRectangleMaskQKZ": "spots"}


class Registered:
    """In the place of a catalogue: the words say themselves what they tell of. scripts/help holds them against what the
    library registers."""

    def __init__(self, families):
        entries = [e for f in families for e in (f.get("entries") or {}).items()]
        self.classes = [name for name, words in entries if {"properties", "methods"} & (words or {}).keys()]

    @staticmethod
    def spelled(key):
        return key

    @staticmethod
    def of(_):
        return []

    @staticmethod
    def names():
        return []


def plain(text):
    """Markdown as bare text; paragraphs keep an empty line between them."""
    text = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", str(text or ""))
    text = re.sub(r"` *(.*?) *`", r"\1", text, flags=re.S).replace("**", "")
    return "\n\n".join(" ".join(p.split()) for p in re.split(r"\n\s*\n", text.strip()))


def literal(text):
    return json.dumps(text, ensure_ascii=False)


def braced(items):
    return "{" + ", ".join(items) + "}"


def on_a_photograph(picture):
    """The calls of a picture, with names of files that there are for any photograph."""
    source = picture.get("of", "")

    def renamed(match):
        name, ending = match.groups()
        if ending == "ppic":
            return '"photo.ppic"'
        return {source: '"photo.png"', "button": '"piece.png"'}.get(name, '"mirrored.png"')

    calls = [re.sub(r'"hex:\w{512}"', '"levels.raw"', call) for call in picture.get("calls") or []]
    return [re.sub(r'"(\w+)\.(png|ppic)"', renamed, call) for call in calls]


def parameter(name, words):
    return braced(literal(plain(t)) for t in (name, words["unit"], words["range"], "", words["means"], ""))


def property_of(p):
    more = " ".join(plain(t) for t in (*p.quirks.values(), p.failure) if t)
    return braced(literal(plain(t)) for t in (p.name, p.unit, p.range, p.default, p.means, more))


def entry(e):
    source = STANDS_FOR_OF.get(e.key) or STANDS_FOR.get(e.picture.get("of"), "photo")
    parts = [literal(e.key), literal(source)]
    parts += [literal(plain(t)) for t in (e.does, e.result, e.failure)] + [literal(e.example.rstrip())]
    parts.append(braced(parameter(n, w) for n, w in e.parameters.items()))
    parts.append(braced(property_of(p) for p in e.properties))
    parts.append(braced(literal(plain(q)) for q in e.quirks.values()))
    parts.append(braced(literal(c) for c in on_a_photograph(e.picture)))
    return braced(parts)


def main():
    parser = argparse.ArgumentParser(description="Writes the words of the help as C++.")
    parser.add_argument("output", type=Path)
    parser.add_argument("--words", type=Path, default=ROOT / "Docs/help")
    options = parser.parse_args()
    texts = [wording.yaml.safe_load(p.read_text(encoding="utf-8")) for p in sorted(options.words.glob("*.yaml"))]
    words = wording.Reader(options.words, Registered(texts), set(), Problems()).read()
    rows = "".join(f"        {entry(e)},\n" for _, e in words.entries())
    options.output.write_text(
        '// Made of Docs/help/*.yaml.\n#include "Words.h"\n\nnamespace qkz {\n\n'
        "const std::vector<Words>& allWords() {\n    static const std::vector<Words> all{\n"
        f"{rows}    }};\n    return all;\n}}\n\n}}  // namespace qkz\n", encoding="utf-8")


if __name__ == "__main__":
    main()
