#!/usr/bin/env python3
"""Prints a file as Doxygen is to read it. The header's comments are marked as documentation; a guide's links to what is
no page (sources, folders) become text."""
import pathlib
import re
import sys

PAGES = {"README.md", "SECURITY.md", "CHANGELOG.md", "CONTRIBUTING.md"}


def header(text):
    text = text.replace("/*\n", "/** @file\n", 1)
    text = re.sub(r"^( *)/\* ", r"\1/** ", text, flags=re.M)
    return re.sub(r"(\S +)/\* ", r"\1/**< ", text)


def guide(path, text):
    root = pathlib.Path.cwd()

    def link(match):
        picture, words, target = match.groups()
        if picture or re.match(r"https?://|#", target):
            return match[0]
        if target.endswith("KALMarble.h"):
            return f"[{words}](@ref KALMarble.h)"
        place = (path.parent / target.split("#")[0]).resolve().relative_to(root)
        is_page = place.suffix == ".md" and (str(place) in PAGES or place.parts[0] == "docs")
        return match[0] if is_page else words

    return re.sub(r"(!?)\[([^\]]+)\]\(([^)\s]+)\)", link, text)


source = pathlib.Path(sys.argv[1])
content = source.read_text()
print(header(content) if source.suffix == ".h" else guide(source, content), end="")
