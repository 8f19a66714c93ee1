#!/usr/bin/python3
"""Checks that every public function says on which thread it may be called: prints those without a tag.

    tags.py HEADER...      paths from the project's root, which is the working folder; fails when it finds a fault

Public is what a header declares in a namespace or in the public part of a class. The tag, one of those that
docs/realtime.md explains, stands in the docstring of the function, of the run of functions without a line between them
that it belongs to, or of a class or namespace around it. These need none:
 - getters: const functions that are written where they are declared and return one field,
 - constructors of plain data, which has no private part,
 - operators, and whatever is defaulted or deleted,
 - what overrides a function, whose tag it shares.
"""

import os
import re
import sys

from clang.cindex import AccessSpecifier, Config, CursorKind, Index

Config.set_library_file("libclang-14.so.1")

OPTIONS = ["-std=c++20", "-I.", "-Iinclude", "-mavx512f", "-mavx512vl", "-mavx512dq", "-mavx512bw"]  # the widest kernels' headers, too
TAG = re.compile(r"\[(control|audio|background|render|any)\]")
GETTER = re.compile(r"const (noexcept )?\{ return [\w.]+(\[\w+\])?; \}$")
DEFAULTED = re.compile(r"= (default|delete);")
CLASSES = [CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL, CursorKind.CLASS_TEMPLATE,
           CursorKind.CLASS_TEMPLATE_PARTIAL_SPECIALIZATION]
CONSTRUCTORS = [CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR]
FUNCTIONS = [CursorKind.FUNCTION_DECL, CursorKind.FUNCTION_TEMPLATE, CursorKind.CXX_METHOD, *CONSTRUCTORS]
HIDDEN = [AccessSpecifier.PRIVATE, AccessSpecifier.PROTECTED]


def docstring(cursor, lines):
    """The comment directly above. (Clang's own finding would give a namespace the comment of any part of it.)"""
    end = start = cursor.extent.start.line - 1
    while start > 0 and lines[start - 1].lstrip().startswith("///"):
        start -= 1
    return "".join(lines[start:end])


def is_plain_data(cursor):
    return all(member.access_specifier not in HIDDEN for member in cursor.get_children())


def needs_tag(function, scope, lines):
    """Whether a public function is none of those that go without."""
    text = " ".join("".join(lines[function.extent.start.line - 1:function.extent.end.line]).split())
    if function.kind in CONSTRUCTORS and is_plain_data(scope):
        return False
    if function.spelling.startswith("operator") or DEFAULTED.search(text):
        return False
    if any(child.kind == CursorKind.CXX_OVERRIDE_ATTR for child in function.get_children()):
        return False
    return not GETTER.search(text)


def faults(headers):
    """Every public function in the given headers that lacks its tag, and what keeps them from being compiled."""
    lines, found = {}, []
    for header in headers:
        with open(header, encoding="utf-8") as text:
            lines[header] = text.readlines()

    def walk(scope):
        last_line, last_tagged = 0, False  # of the function before
        for cursor in scope.get_children():
            header = os.path.normpath(cursor.location.file.name) if cursor.location.file else None
            if header not in lines or cursor.access_specifier in HIDDEN:
                continue
            text = docstring(cursor, lines[header])
            if cursor.kind in FUNCTIONS:
                follows = cursor.extent.start.line == last_line + 1
                last_line, last_tagged = cursor.extent.end.line, bool(TAG.search(text)) or (follows and last_tagged)
                if not last_tagged and needs_tag(cursor, scope, lines[header]):
                    found.append(f"{header}:{cursor.location.line}: {cursor.spelling} has no thread tag")
            elif cursor.kind in [CursorKind.NAMESPACE, *CLASSES] and not TAG.search(text):
                walk(cursor)

    together = "".join(f'#include "{header}"\n' for header in headers)
    unit = Index.create().parse("headers.cpp", args=OPTIONS, unsaved_files=[("headers.cpp", together)])
    walk(unit.cursor)
    return [str(diagnostic) for diagnostic in unit.diagnostics] + found


if __name__ == "__main__":
    problems = faults(sys.argv[1:])
    print("\n".join(problems), end="\n" if problems else "")
    sys.exit(bool(problems))
