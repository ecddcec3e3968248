#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""links.py SITE: every link of the site leads to a file of it and to a place that the file has, every page is reached from
the first one, and no page loads anything from elsewhere. Links to other hosts are counted, not followed."""

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

LOADED = {"script": "src", "img": "src", "link": "href", "iframe": "src"}


class Page(HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.loaded, self.places = [], [], {"", "top"}
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        given = dict(attrs)
        self.places.update(filter(None, (given.get("id"), given.get("name"))))
        if tag == "a" and given.get("href"):
            self.links.append(given["href"])
        if given.get(LOADED.get(tag)):
            self.loaded.append(given[LOADED[tag]])


def main():
    site = Path(sys.argv[1]).resolve()
    pages = {file: Page(file.read_text()) for file in site.rglob("*.html") if file.name != "404.html"}
    wrong, elsewhere, reached = [], 0, {site / "index.html"}
    for file, page in sorted(pages.items()):
        here = file.relative_to(site)
        for link in page.links + page.loaded:
            parts = urlsplit(link)
            if parts.scheme or parts.netloc:
                elsewhere += 1
                if link in page.loaded:
                    wrong.append(f"{here}: loads {link}")
                continue
            target = (file.parent / unquote(parts.path)).resolve() if parts.path else file
            reached.add(target)
            if not target.is_file():
                wrong.append(f"{here}: there is no {link}")
            elif target in pages and unquote(parts.fragment) not in pages[target].places:
                wrong.append(f"{here}: {link} has no such place")
    wrong += [f"{file.relative_to(site)}: no page leads here" for file in sorted(pages) if file not in reached]
    for line in wrong:
        print(line, file=sys.stderr)
    print(f"{len(pages)} pages, {sum(len(page.links) for page in pages.values())} links, {elsewhere} to other hosts")
    return 1 if wrong or not pages else 0


if __name__ == "__main__":
    sys.exit(main())
