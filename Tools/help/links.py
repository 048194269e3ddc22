"""Every link of the finished pages leads somewhere."""

import re
from html import unescape


def check(output, problems):
    """Looks at all pages in a folder: links, anchors, pictures, and that no anchor is there twice. What is wrong
    is told of the file with the page's words."""
    pages = {path.name: path.read_text(encoding="utf-8") for path in sorted(output.glob("*.html"))}
    anchors = {name: re.findall(r'\sid="([^"]+)"', text) for name, text in pages.items()}
    for name, text in pages.items():
        file_of_words = "about.yaml" if name == "index.html" else name.replace(".html", ".yaml")
        for twice in sorted({a for a in anchors[name] if anchors[name].count(a) > 1}):
            problems.add(file_of_words, "", f"has the anchor #{twice} twice")
        for address in sorted(set(re.findall(r'\s(?:href|src)="([^"]*)"', text))):
            file, _, fragment = unescape(address).partition("#")
            if re.match(r"[a-z]+:|/", file) or not (output / (file or name)).is_file():
                problems.add(file_of_words, "", f"links to {address}, which is not in the folder")
            elif fragment and fragment not in anchors.get(file or name, []):
                problems.add(file_of_words, "", f"links to {address}, where no such anchor is")
