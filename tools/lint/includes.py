#!/usr/bin/python3
"""Checks which file includes which: prints every include that the table below does not allow, and every header that
reaches itself through what it includes.

    includes.py FILE...      paths from the project's root, which is the working folder; fails when it finds a fault
"""

import collections
import os
import re
import sys

# Who may include whom. A room may also include itself, Base, and whatever those named here may include.
ARROWS = {
    "libkalmarble": ["include", "Engine"],
    "Engine": ["Voice", "Room", "Master"],
    "Voice": ["Space"],
    "Space": ["Kernels"],
    "Room": ["Kernels"],
    "Master": ["Kernels"],
    "Kernels": ["QFFT"],
    "Base": ["Platform"],
    "QFFT": ["Platform"],
    "Platform": [],
    "include": [],
}
BASE_MAY_INCLUDE = ["Kal/QFFT/Assert.h", "Kal/QFFT/Exception.h", "Kal/QFFT/AlignedVector.h"]
NEVER_INCLUDES_BASE = ["QFFT", "Platform", "include"]
USERS = ["bench", "examples", "python", "tests", "tools", "web"]  # these may include everything

INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')


def room_of(path):
    """The room of a file: its folder, within Kal/ the one below; what lies in Kal/ itself is the engine."""
    parts = path.split("/")
    if parts[0] == "Kal":
        return parts[1] if len(parts) > 2 else "Engine"
    return parts[0]


def reachable(room):
    """A room and all that its arrows lead to."""
    return {room}.union(*(reachable(below) for below in ARROWS[room]))


def is_allowed(source, target):
    room, other = room_of(source), room_of(target)
    if room in USERS:
        return True
    if other == "Base" and room not in NEVER_INCLUDES_BASE:
        return True
    return other in reachable(room) or (room == "Base" and target in BASE_MAY_INCLUDE)


def resolve(source, bracket, name, files):
    """The file of the project that an include names, or None where it names one of the system's."""
    places = ["", "include/"] if bracket == "<" else [os.path.dirname(source) + "/", "", "include/"]
    paths = (os.path.normpath(place.lstrip("/") + name) for place in places)
    return next((path for path in paths if path in files), None)


def cycles(graph):
    """The includes that lead back to a file from which they were reached, each as the path around."""
    found, done = [], set()

    def visit(path):
        for target in graph[path[-1]]:
            if target in path:
                found.append(path[path.index(target):] + [target])
            elif target not in done:
                visit(path + [target])
        done.add(path[-1])

    for start in sorted(graph):
        if start not in done:
            visit([start])
    return found


def faults(files):
    """Every fault in the given files, as texts."""
    known, graph, found = set(files), collections.defaultdict(list), []
    for source in files:
        room = room_of(source)
        if room not in ARROWS and room not in USERS:
            found.append(f"{source}: there is no rule for {room}")
            continue
        with open(source, encoding="utf-8") as text:
            for number, line in enumerate(text, 1):
                match = INCLUDE.match(line)
                target = match and resolve(source, *match.groups(), known)
                if match and not target and match[1] == '"':
                    found.append(f"{source}:{number}: {match[2]} is not in the project")
                if not target:
                    continue
                graph[source].append(target)
                if not is_allowed(source, target):
                    found.append(f"{source}:{number}: {room} may not include {room_of(target)} ({target})")
    return found + ["cycle: " + " -> ".join(path) for path in cycles({**{f: [] for f in files}, **graph})]


if __name__ == "__main__":
    problems = faults(sys.argv[1:])
    print("\n".join(problems), end="\n" if problems else "")
    sys.exit(bool(problems))
