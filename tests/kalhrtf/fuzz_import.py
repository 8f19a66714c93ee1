#!/usr/bin/python3
"""Runs `kalhrtf import` on damaged files: each is imported, or refused with one line, exit code 1 and no file written.

    fuzz_import.py PROGRAM SECONDS SEED FILE...     SOFA files to damage; bad ones are kept in the working folder
"""

import collections
import os
import random
import subprocess
import sys
import tempfile
import time


def damage(data, rnd):
    data = bytearray(data)
    # The structure stands mostly at the beginning.
    reach = 8192 if rnd.random() < 0.7 else len(data)
    for _ in range(rnd.choice([1, 1, 2, 4, 8, 32])):
        at, length = rnd.randrange(min(len(data), reach)), rnd.choice([1, 2, 4, 8, 60])
        how = rnd.randrange(5)
        if how == 0:
            data[at] ^= 1 << rnd.randrange(8)
        elif how == 1:
            data[at : at + length] = bytes([rnd.choice([0, 1, 127, 128, 255])]) * length
        elif how == 2:
            start = rnd.randrange(len(data))
            data[at : at + length] = data[start : start + length]
        elif how == 3:
            del data[at : at + length]
        else:
            del data[at + 1 :]
        data = data or bytearray(1)
    return bytes(data)


def main():
    program, seconds, seed, *files = sys.argv[1:]
    rnd, end = random.Random(int(seed)), time.time() + float(seconds)
    seeds = [open(file, "rb").read() for file in files]
    answers, bad = collections.Counter(), 0
    with tempfile.TemporaryDirectory() as folder:
        source, target = folder + "/in.sofa", folder + "/out"
        while time.time() < end:
            data = damage(rnd.choice(seeds), rnd)
            with open(source, "wb") as file:
                file.write(data)
            run = subprocess.run([program, "import", source, "-o", target, "--rings", "-40:5,0:7,90:1"], capture_output=True)
            made = set(os.listdir(folder)) == {"in.sofa", "out"}
            imported = run.returncode == 0 and made and not run.stderr
            refused = run.returncode == 1 and os.listdir(folder) == ["in.sofa"] and run.stderr.count(b"\n") == 1
            answers["imported" if imported else run.stderr.decode(errors="replace").split("imported: ")[-1].strip()] += 1
            if not imported and not refused:
                bad += 1
                with open(f"bad-{seed}-{bad}.sofa", "wb") as file:
                    file.write(data)
            if made:
                os.remove(target)
    for answer, count in answers.most_common():
        print(count, answer)
    print(f"{sum(answers.values())} files, {bad} bad")
    return 1 if bad else 0


sys.exit(main())
