#!/usr/bin/env python3
"""Follows every link of a folder's pages and names those that lead nowhere: to a file or an anchor that is not there.
Addresses of other sites are not asked.

    links.py FOLDER
"""
import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    """The links and the anchors of one page."""

    def __init__(self, path):
        super().__init__()
        self.links, self.anchors = set(), {""}
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if value and (name in ("id", "name")):
                self.anchors.add(value)
            elif value and name in ("href", "src"):
                self.links.add(value)


def dead_links(folder):
    pages = {path.resolve(): Page(path) for path in folder.rglob("*.html")}
    for path, page in sorted(pages.items()):
        for link in sorted(page.links):
            parts = urllib.parse.urlsplit(link)
            if parts.scheme in ("http", "https", "mailto", "javascript"):
                continue
            target = (path.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else path
            if not target.exists():
                yield f"{path.name}: {link}: there is no such file"
            elif target in pages and parts.fragment not in pages[target].anchors:
                yield f"{path.name}: {link}: there is no such place"


def main():
    folder = pathlib.Path(sys.argv[1])
    dead = list(dead_links(folder))
    print(*dead, sep="\n", end="\n" if dead else "")
    return bool(dead) or not any(folder.rglob("*.html"))


if __name__ == "__main__":
    sys.exit(main())
