"""From words and pictures to pages."""

import html
import json
import re

import jinja2
import markdown
from markupsafe import Markup

_CODE = re.compile(
    r"""(?P<comment>'[^\n]*)|(?P<string>"(?:[^"\n]|"")*")|(?P<colour>&[cC][0-9A-Fa-f]{6})|(?P<number>\b\d+(?:\.\d+)?\b)
    |(?P<qkz>\b\w*QKZ\b)|(?P<keyword>\b(?:dim|var|as|new|if|then|else|elseif|end|for|each|to|step|next|while|wend|do|loop
    |until|not|and|or|is|mod|byref|byval|return|call|sub|function|self|me|addressof|delegate|true|false|nil)\b)
    |(?P<type>\b(?:integer|double|boolean|string|color|picture|memoryblock|uint32|uint8|folderitem)\b)""",
    re.X | re.I,
)


def highlighted(code):
    """Code of the host's language with a span around each token that has a colour."""
    result, at = [], 0
    for match in _CODE.finditer(code):
        kind = match.lastgroup
        if kind in ("qkz", "keyword", "type") and code[match.start() - 1:match.start()] == "." and kind != "qkz":
            continue
        result.append(html.escape(code[at:match.start()], quote=False))
        text = html.escape(match.group(), quote=False)
        swatch = f'<i class="swatch" style="background:#{match.group()[2:]}"></i>' if kind == "colour" else ""
        result.append(f'<span class="{"v" if swatch else kind[0]}">{swatch}{text}</span>')
        at = match.end()
    return Markup("".join(result) + html.escape(code[at:], quote=False))


def block(text):
    """Markdown as paragraphs."""
    return Markup(_scrollable(markdown.markdown(str(text or ""), extensions=["tables", "sane_lists", "fenced_code"])))


def inline(text):
    """Markdown of one paragraph, without the paragraph."""
    return Markup(re.sub(r"^<p>(.*)</p>$", r"\1", str(block(text)), flags=re.S))


def plain(text):
    """Markdown as bare text, for the search."""
    apart = re.sub(r"</(p|li|td|th|pre)>", " ", str(block(text)))
    return " ".join(html.unescape(re.sub(r"<[^>]+>", "", apart)).split())


def _scrollable(text):
    return text.replace("<pre>", '<pre tabindex="0">')


def shortened(call):
    """A call without the many bytes that it may hold."""
    return re.sub(r'"hex:([0-9A-Fa-f]{8})[0-9A-Fa-f]{16,}"', r'"hex:\1…"', call)


def spaced(name):
    """Long names may break between their words."""
    return Markup(re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=\.)", "<wbr>", html.escape(name)))


def search_index(words):
    """What the search looks through: address, name, kind, what it does, and the other words."""
    rows = []

    def row(address, name, kind, does, *rest):
        rows.append([address, name, kind, plain(does), plain(" ".join(str(r) for r in rest if r))])

    titles = {f.page: f.title for f in words.families} | {"index.html": "Everywhere"}
    for page, entry in words.entries():
        means = [f"{n} {w.get('means', '')}" for n, w in entry.parameters.items()]
        rest = [*means, entry.result, entry.failure, *entry.quirks.values()]
        row(f"{page}#{entry.key}", entry.key, titles[page], entry.does, *rest)
        for p in entry.properties or []:
            row(f"{page}#{p.key}", p.key, titles[page], p.means, p.unit, p.range)
    for task in words.tasks:
        row(f"tasks.html#{task['id']}", task["title"], "Task", task["does"], *(task["methods"] or []))
    row("index.html#install", "Install", "Overview", " ".join(words.about["install"]))
    for part, kind in (("trouble", "Trouble"), ("conventions", "Conventions")):
        for anchor, title, text in words.about[part]:
            row(f"index.html#{anchor}", title, kind, text)
    return "searchIndex=" + json.dumps(rows, ensure_ascii=False, separators=(",", ":")) + ";\n"


def type_name(written):
    """A type as the host writes it: declarations write those of the language in small letters, too."""
    return {"memoryblock": "MemoryBlock"}.get(written, written.capitalize() if written.islower() else written)


class Renderer:
    def __init__(self, templates, output):
        self._output = output
        self._jinja = jinja2.Environment(
            loader=jinja2.FileSystemLoader(templates), autoescape=True, trim_blocks=True, lstrip_blocks=True,
            undefined=jinja2.StrictUndefined)
        self._jinja.filters |= {
            "block": block, "inline": inline, "code": highlighted, "spaced": spaced, "short": shortened, "plain": plain,
            "typename": type_name,
        }

    def page(self, name, template, **values):
        text = self._jinja.get_template(template).render(page=name, **values)
        (self._output / name).write_text(re.sub(r"\n\s*\n+", "\n", text) + "\n", encoding="utf-8")

    def file(self, name, text):
        (self._output / name).write_text(text, encoding="utf-8")
