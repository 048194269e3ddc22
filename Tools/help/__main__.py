"""Makes the help pages: python3 Tools/help --qkz build/release/qkz --output build/help"""

import argparse
import shutil
import sys
import tempfile
from collections import Counter
from pathlib import Path

import links
import playground
import registrations
import words as wording
from examples import Example
from pictures import SMALL_TILE, TILE, Figure, Studio
from problems import Problems
from render import Renderer, search_index

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent


def illustrate(words, catalogue, studio, problems):
    """Makes all pictures and runs all examples. Gives figures, strips, tiles and outcomes by key."""
    figures, strips, tiles, outcomes = {}, {}, {}, {}

    def one(file, key, name, source):
        """`source` is an entry or a task, as a dict."""
        desk = studio.desk(file, key, name, source["given"] or {})
        picture = source["picture"] or {}
        if picture:
            size = SMALL_TILE if file == "tasks.yaml" else TILE
            figure = figures.setdefault(key, Figure())
            studio.later(studio.figure, file, key, name, desk, picture, figure, tiles, size)
        if source.get("strip"):
            studio.later(studio.strip, file, key, name, source["strip"], strips.setdefault(key, []))
        if source["example"]:
            example = Example(catalogue, desk, picture.get("of", "coffee"), problems, file, key)
            studio.later(lambda: outcomes.update({(file, key): example.run(source["example"])}))

    for _, entry in words.entries():
        one(entry.file, entry.key, entry.key.replace(".", "-"), vars(entry))
    for task in words.tasks:
        one("tasks.yaml", task["id"], f"task-{task['id']}", task)
    studio.finish()
    return figures, strips, tiles, outcomes


def report(outcomes):
    """How many examples and calls ran, and why others did not."""
    ran = sum(o.ran for o in outcomes.values())
    whole = sum(not o.not_run for o in outcomes.values())
    skipped = [(key, line, reason) for (_, key), o in sorted(outcomes.items()) for line, reason in o.not_run]
    print(f"Examples: {len(outcomes)}, of which {whole} ran whole; {ran} calls ran, {len(skipped)} lines did not:")
    for reason, count in sorted(Counter(reason for _, _, reason in skipped).items()):
        where = sorted({key for key, _, why in skipped if why == reason})
        print(f"  {count} x {reason} ({', '.join(where)})")


def build(options, work):
    problems = Problems()
    catalogue = registrations.read(str(options.qkz.resolve()))
    quirks = wording.headings((ROOT / "Docs/compatibility.md").read_text(encoding="utf-8"))
    words = wording.Reader(options.words, catalogue, quirks, problems).read()
    output = work / "site"
    output.mkdir()
    studio = Studio(str(options.qkz.resolve()), ROOT / "Docs/help/photos", work, output, problems)
    figures, strips, tiles, outcomes = illustrate(words, catalogue, studio, problems)
    forms = None
    if options.playground and not problems:
        forms = playground.Forms(words, catalogue, figures, outcomes, studio.large.pictures, problems)
        playground.write(output, options.playground, forms, studio.large.pictures, ROOT / "Docs/help/photos")
    if not problems:
        renderer = Renderer(HERE / "templates", output)
        common = {
            "words": words, "catalogue": catalogue, "figures": figures, "strips": strips, "tiles": tiles,
            "addresses": {entry.key: f"{page}#{entry.key}" for page, entry in words.entries()},
            "tried": forms.keys() if forms else [],
        }
        renderer.page("index.html", "index.html", **common)
        renderer.page("tasks.html", "tasks.html", **common)
        for family in words.families:
            renderer.page(family.page, "family.html", family=family, **common)
        renderer.file("search.js", search_index(words))
        for name in ("help.css", "help.js", "icon.svg"):
            shutil.copy(HERE / "templates" / name, output)
        links.check(output, problems)
    if problems:
        for problem in problems:
            print(problem, file=sys.stderr)
        print(f"{len(problems)} faults: no pages are written", file=sys.stderr)
        return 1
    report(outcomes)
    if options.output.exists():
        if any(options.output.iterdir()) and not (options.output / "search.js").is_file():
            print(f"{options.output} holds something else than help pages and is left alone", file=sys.stderr)
            return 2
        shutil.rmtree(options.output)
    shutil.copytree(output, options.output)
    size = sum(path.stat().st_size for path in options.output.iterdir())
    print(f"{len(list(options.output.glob('*.html')))} pages, {len(list(options.output.iterdir()))} files, "
          f"{size / 1e6:.1f} MB: {options.output / 'index.html'}")
    return 0


def main():
    parser = argparse.ArgumentParser(description="Makes the help pages.")
    parser.add_argument("--qkz", type=Path, required=True, help="the command line tool, the plug-in beside it")
    parser.add_argument("--words", type=Path, default=ROOT / "Docs/help", help="the folder of the words")
    parser.add_argument("--playground", type=Path, help="playground.js, the library for browsers; else none")
    parser.add_argument("--output", type=Path, required=True, help="the folder for the pages, replaced as a whole")
    with tempfile.TemporaryDirectory() as work:
        return build(parser.parse_args(), Path(work))


if __name__ == "__main__":
    sys.exit(main())
