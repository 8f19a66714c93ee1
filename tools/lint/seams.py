#!/usr/bin/python3
"""Checks that what differs from platform to platform stands where the table below says: prints every line that asks
which processor or system it is compiled for, or speaks to one in particular, in any other place.

    seams.py FILE...      paths from the project's root, which is the working folder; fails when it finds a fault

It looks at the library alone: tests, tools and examples meet platforms where they do. A new platform fills Kal/Platform
(docs/architecture.md) and comes into no file beside.
"""

import re
import sys

LIBRARY = ("Kal/", "libkalmarble/", "web/engine/")

PROCESSOR = (r"__(i386|x86_64|amd64|SSE\d?|arm|aarch64|ARM_\w+|wasm|EMSCRIPTEN|riscv|powerpc\w*|BYTE_ORDER)\w*\b|_M_\w+"
             r"|<(cpuid|\w*mmintrin)\.h>|<arm_\w+\.h>|<wasm_\w+\.h>|\b_mm_\w+|\bwasm_[a-z]\d+x\d+\w*|\b__builtin_(ia32|cpu)_\w+"
             r"|\basm\b")
WIDE_LANES = r"__(AVX|FMA)\w*|<immintrin\.h>|\b(_mm256|_mm512)_\w+"
SYSTEM = r"_WIN(32|64)\b|__(linux|unix|APPLE|MINGW\w*|ELF|ANDROID)(__)?\b|_MSC_VER|<(windows|pthread|sched|unistd)\.h>|<sys/"

# What each kind of place may do beside: where it is, and what it may ask or speak to. The first that fits holds.
PLACES = [
    (r"Kal/Platform/", [PROCESSOR, SYSTEM]),
    (r"Kal/QFFT/Lanes\.h|Kal/Kernels/Kal(Voice|Filter|Resample)Kernel(16)?\.h", [WIDE_LANES, r"\b_mm_load\w+"]),  # what their source is for
    (r"Kal/Base/KalLock\.h", [SYSTEM]),             # chooses one of the following
    (r"(Kal|libkalmarble)/(.*/)?\w+(Windows|Posix)\.(h|cpp)", [SYSTEM]),
    (r"libkalmarble/windows/", [SYSTEM, PROCESSOR]),
    (r"libkalmarble/Exports\.cpp", [SYSTEM]),       # exports are made in two ways
]


def allowed(path):
    return next((kinds for place, kinds in PLACES if re.match(place, path)), [])


def faults(files):
    """Every fault in the given files, as texts."""
    found = []
    for path in files:
        if not path.startswith(LIBRARY):
            continue
        refused = [re.compile(kind) for kind in (PROCESSOR, WIDE_LANES, SYSTEM)]
        passed = [re.compile(kind) for kind in allowed(path)]
        with open(path, encoding="utf-8") as text:
            for number, line in enumerate(text, 1):
                code = line.split("//")[0]
                for match in (match for kind in refused for match in kind.finditer(code)):
                    if not any(kind.match(code, match.start()) for kind in passed):
                        found.append(f"{path}:{number}: {match[0]} has its place in Kal/Platform")
    return found


if __name__ == "__main__":
    problems = faults(sys.argv[1:])
    print("\n".join(problems), end="\n" if problems else "")
    sys.exit(bool(problems))
