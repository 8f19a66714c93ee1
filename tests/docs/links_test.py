#!/usr/bin/env python3
"""Shows that tools/docs/links.py names dead links and no others."""
import pathlib
import subprocess
import sys
import tempfile

LINKS = pathlib.Path(__file__).parents[2] / "tools/docs/links.py"
PAGE = """<a href="#top">a place</a> <h1 id="top"></h1> <a href="other.html#there">another</a> <img src="a%20b.png">
<a href="https://example.org/nowhere">elsewhere</a> <a href="other.html">a page</a> """


def run(addition):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "page.html").write_text(PAGE + addition)
        (folder / "other.html").write_text('<a name="there"></a>')
        (folder / "a b.png").touch()
        done = subprocess.run([LINKS, folder], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout


faults = [
    (addition, *run(addition))
    for addition, expected in [
        ("", (0, "")),
        ('<a href="gone.html">', (1, "page.html: gone.html: there is no such file\n")),
        ('<a href="other.html#gone">', (1, "page.html: other.html#gone: there is no such place\n")),
        ('<img src="gone.png">', (1, "page.html: gone.png: there is no such file\n")),
    ]
    if run(addition) != expected
]
print(*faults, sep="\n", end="\n" if faults else "")
sys.exit(bool(faults))
