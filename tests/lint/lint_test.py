#!/usr/bin/python3
"""What the checks of tools/lint must refuse, and what they must let pass."""

import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tools", "lint"))
import includes
import seams
import tags


class Tree(unittest.TestCase):
    """Writes files into a folder of their own, which is the working folder meanwhile."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def write(self, files):
        for path, text in files.items():
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as out:
                out.write(text)
        return list(files)


class Includes(Tree):
    ROOMS = {f"Kal/{room}/A.h": "" for room in ["Voice", "Space", "Room", "Master", "Kernels", "Base", "QFFT"]} | {
        "Kal/QFFT/Assert.h": "", "Kal/KalEngine.h": "", "libkalmarble/A.h": "", "include/A.h": "", "tests/A.h": ""}

    def check(self, source, target):
        return includes.faults(self.write({**self.ROOMS, source: f'#include "{target}"\n'}))

    def test_lets_arrows_lead_down(self):
        for source, target in [("libkalmarble/B.h", "Kal/QFFT/A.h"), ("Kal/KalEngine.cpp", "Kal/Master/A.h"),
                               ("Kal/Voice/B.h", "Kal/Kernels/A.h"), ("Kal/Space/B.h", "Kal/Base/A.h"),
                               ("Kal/Base/B.h", "Kal/QFFT/Assert.h"), ("Kal/Room/B.h", "A.h"),
                               ("tools/x/b.cpp", "libkalmarble/A.h"), ("tests/B.h", "Kal/Voice/A.h")]:
            self.assertEqual(self.check(source, target), [], source)

    def test_refuses_arrows_that_lead_up_or_aside(self):
        for source, target in [("Kal/Voice/B.h", "Kal/KalEngine.h"), ("Kal/Space/B.cpp", "Kal/Voice/A.h"),
                               ("Kal/Room/B.h", "Kal/Space/A.h"), ("Kal/Master/B.h", "Kal/Room/A.h"),
                               ("Kal/Kernels/B.h", "Kal/Room/A.h"), ("Kal/Base/B.h", "Kal/QFFT/A.h"),
                               ("Kal/QFFT/B.h", "Kal/Base/A.h"), ("Kal/KalEngine.cpp", "libkalmarble/A.h"),
                               ("Kal/KalEngine.cpp", "tests/A.h"), ("include/B.h", "Kal/Base/A.h"),
                               ("Kal/Voice/B.h", "Kal/Voice/Missing.h"), ("Kal/Attic/B.h", "Kal/Base/A.h")]:
            found = self.check(source, target)
            self.assertEqual(len(found), 1, source)
            self.assertIn(source, found[0])

    def test_refuses_a_header_that_reaches_itself(self):
        ring = {"Kal/Base/B.h": '#include "C.h"\n', "Kal/Base/C.h": '#include "Kal/Base/A.h"\n',
                "Kal/Base/A.h": '#  include <Kal/Base/B.h>\n', "Kal/Base/D.h": '#include "Kal/Base/A.h"\n'}
        self.assertEqual(includes.faults(self.write(ring)),
                         ["cycle: Kal/Base/A.h -> Kal/Base/B.h -> Kal/Base/C.h -> Kal/Base/A.h"])


class Seams(Tree):
    LINES = ["#if defined(__SSE2__)", "#elif __aarch64__", "#ifdef __wasm_simd128__", "#include <xmmintrin.h>",
             "#include <cpuid.h>", "    _mm_pause();", 'asm volatile("yield");', "#ifdef _WIN32",
             "if (__builtin_cpu_supports(\"avx2\")) f();",
             "#include <arm_neon.h>", "#ifndef __EMSCRIPTEN__", "#include <sys/resource.h>"]

    def check(self, source, *lines):
        return seams.faults(self.write({source: "\n".join(lines) + "\n"}))

    def test_refuses_what_is_one_platforms_elsewhere(self):
        for source in ["Kal/Room/A.cpp", "Kal/Space/A.S", "Kal/Base/Windows.cpp", "libkalmarble/A.h", "web/engine/A.cpp"]:
            for line in [*self.LINES, "#ifdef __AVX2__", "x = _mm256_min_ps(x, y);"]:
                found = self.check(source, "int first;", line)
                self.assertEqual(len(found), 1, (source, line))
                self.assertIn(f"{source}:2: ", found[0])

    def test_lets_it_stand_in_its_place_alone(self):
        self.assertEqual(self.check("Kal/Platform/A.h", *self.LINES), [])
        self.assertEqual(self.check("tests/A.cpp", *self.LINES), [])
        self.assertEqual(self.check("Kal/Room/A.h", "// on _WIN32", "__builtin_memcpy(a, b, 1);", "asmall = 1;"), [])
        self.assertEqual(self.check("Kal/QFFT/Lanes.h", "#ifdef __AVX2__", "x = _mm256_min_ps(x, y);"), [])
        for source, line in [("Kal/QFFT/Lanes.h", "#ifdef __SSE2__"), ("Kal/Base/KalThreadPosix.cpp", "_mm_pause();"),
                             ("Kal/Base/KalLock.h", "#ifdef __aarch64__"), ("libkalmarble/Exports.cpp", "asm(x);")]:
            self.assertEqual(len(self.check(source, line)), 1, source)


class Tags(Tree):
    HEADER = """\
#pragma once
namespace kal {
/// Lacks it.
void Lacking();
/// [any] Has it.
void Tagged();
void TaggedWithTheOneAbove();

/// Lacks it as well.
template<class T> void LackingTemplate(T);
/// [render] All of it.
class TaggedClass { public: void Method(); };
/// [control] All of it.
namespace tagged { void Function(); }
namespace tagged { void Lacking(); }
class Mixed {
public:
    explicit Mixed(int LackingConstructor);
    Mixed(const Mixed&) = delete;
    virtual ~Mixed() = default;
    bool operator==(const Mixed&) const;
    int Getter() const { return value; }
    int LackingSum() const { return value + value; }
    virtual void Lacking() = 0;
    /// [background] Has it.
    virtual void Tagged() = 0;
private:
    void Hidden();
    int value;
};
struct Data { Data(int start) : value(start) {} int value; };
struct Derived : Mixed { void Tagged() override; static void Lacking(int); };
}
"""

    def test_names_each_public_function_without_a_tag_and_no_other(self):
        found = tags.faults(self.write({"Kal/A.h": self.HEADER, "Kal/B.h": '#include "Kal/A.h"\n'}))
        due = [number for number, line in enumerate(self.HEADER.split("\n"), 1) if "Lacking" in line]
        self.assertEqual([int(fault.split(":")[1]) for fault in found], due, found)

    def test_does_not_take_what_it_cannot_read_for_well_formed(self):
        self.assertTrue(tags.faults(self.write({"Kal/A.h": '#include "Missing.h"\n'})))


if __name__ == "__main__":
    unittest.main()
