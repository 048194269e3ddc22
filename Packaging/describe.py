"""Fills a template with what qkz offers: describe.py --qkz build/release/qkz --version 24.5 qkz.1.in qkz.1

Places are written @kind.what@: kind is man, bash or zsh, what is commands, options, calls or COMMAND.options."""

import argparse
import re
import subprocess
from pathlib import Path


def described(qkz, plugin):
    done = subprocess.run([qkz, "--plugin", plugin, "describe"], capture_output=True, text=True, check=True)
    rows = [line.split("\t") for line in done.stdout.splitlines()]
    return {
        "commands": [row[1:] for row in rows if row[0] == "command"],
        "calls": [row[1:] for row in rows if row[0] == "call"],
        "options": [row[1:] for row in rows if row[0] == "option"],
    }


def options_of(offer, command):
    return [(names.split(), value, text) for of, names, value, text in offer["options"] if of == command]


class Man:
    """Items of a list in the language of manual pages."""

    @staticmethod
    def text(text):
        text = text.replace("\\", "\\e").replace("-", "\\-")
        return re.sub(r"^([.'])", r"\\&\1", text)

    def item(self, name, text):
        return f".TP\n{name}\n{self.text(text)}\n"

    def calls(self, rows):
        return "".join(self.item(f"\\fB{name}\\fR", text + ".") for name, text in rows)

    def commands(self, rows):
        return "".join(self.item(f"\\fB{name}\\fR", text) for name, text in rows)

    def options(self, rows):
        def names(row):
            value = " \\fIVALUE\\fR" if row[1] else ""
            return ", ".join(f"\\fB{self.text(n)}\\fR{value}" for n in row[0])
        return "".join(self.item(names(row), row[2]) for row in rows)


class Bash:
    """Words with blanks between."""

    @staticmethod
    def calls(rows):
        return " ".join(row[0] for row in rows)

    commands = calls

    @staticmethod
    def options(rows):
        return " ".join(name for names, _, _ in rows for name in names)


class Zsh:
    """Quoted words as _describe and _arguments take them."""

    @staticmethod
    def text(text):
        return re.sub(r"([\[\]:\\])", r"\\\1", text).replace("'", "'\\''")

    def calls(self, rows):
        return "\n".join(f"'{name}:{self.text(text)}'" for name, text in rows)

    commands = calls

    def options(self, rows):
        return " ".join(f"'{name}[{self.text(text)}]{':value:_files' if value else ''}'"
                        for names, value, text in rows for name in names)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--qkz", required=True)
    parser.add_argument("--plugin", required=True)
    parser.add_argument("--version", required=True)
    parser.add_argument("template", type=Path)
    parser.add_argument("output", type=Path)
    given = parser.parse_args()
    offer = described(given.qkz, given.plugin)
    kinds = {"man": Man(), "bash": Bash(), "zsh": Zsh()}

    def filled(match):
        kind, of, what = match.group(1), (match.group(2) or "").rstrip("."), match.group(3)
        rows = options_of(offer, of) if what == "options" else offer[what]
        return getattr(kinds[kind], what)(rows).rstrip("\n")

    text = given.template.read_text(encoding="utf-8").replace("@version@", given.version)
    text = re.sub(r"@(man|bash|zsh)\.(\w+\.)?(commands|options|calls)@", filled, text)
    given.output.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
