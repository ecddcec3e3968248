#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Lays the tree's documents together for the site's generator: lay.py TREE PAGES. Links between documents are made those
of one folder, and the manual pages become pages of their own. Prints mkdocs.yml with every page in it."""

import re
import subprocess
import sys
from pathlib import Path

TOP = ("ARCHITECTURE", "CHANGELOG", "CONTRIBUTING", "RELEASING", "SECURITY")
MANUAL = "      - MANUALS\n"


def lay(text):
    """The text with links as they are in the site's one folder."""
    text = re.sub(r"\]\((?:\.\./|docs/)+", "](", text)
    text = re.sub(r"\]\(README\.md", "](index.md", text)
    return re.sub(r"\]\(LICENSE\)", "](LICENSE.txt)", text)


def manual(page, known):
    """A manual page as HTML inside a page of the site, whose heading it goes below; it leads to the others."""
    html = subprocess.run(
        ["mandoc", "-T", "html", "-O", "fragment", str(page)], check=True, capture_output=True, text=True
    ).stdout
    # A line without anything would end the piece of HTML.
    html = re.sub(r"\n\s*\n", "\n", html)
    html = re.sub(r"<(/?)h([12])\b", lambda m: f"<{m[1]}h{int(m[2]) + 1}", html)
    html = re.sub(
        r"<b>([\w.-]+)</b>\((\d)\)",
        lambda m: f'<a href="{m[1]}.{m[2]}.html">{m[0]}</a>' if f"{m[1]}.{m[2]}" in known else m[0], html)
    return f"# {page.stem}({page.suffix[1:]})\n\n<div markdown=\"0\">\n{html}</div>\n"


def main():
    tree, pages = Path(sys.argv[1]), Path(sys.argv[2])
    (pages / "LICENSE.txt").write_text((tree / "LICENSE").read_text())
    (pages / "index.md").write_text(lay((tree / "README.md").read_text()))
    (pages / "examples.md").write_text(lay((tree / "examples/README.md").read_text()))
    for name in TOP:
        (pages / f"{name}.md").write_text(lay((tree / f"{name}.md").read_text()))
    for document in sorted(tree.glob("docs/*.md")):
        (pages / document.name).write_text(lay(document.read_text()))
    for picture in sorted(tree.glob("docs/images/*")):
        (pages / "images").mkdir(exist_ok=True)
        (pages / "images" / picture.name).write_bytes(picture.read_bytes())
    manuals = sorted([*tree.glob("docs/man/*.[1-8]"), *tree.glob("packaging/debian/*.[1-8]")], key=lambda p: p.name)
    known = {page.name for page in manuals}
    for page in manuals:
        (pages / f"{page.name}.md").write_text(manual(page, known))
    entries = "".join(f"      - {page.stem}({page.suffix[1:]}): {page.name}.md\n" for page in manuals)
    print((tree / "docs/site/mkdocs.yml").read_text().replace(MANUAL, entries), end="")


if __name__ == "__main__":
    main()
