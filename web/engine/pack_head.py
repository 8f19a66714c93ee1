#!/usr/bin/python3
"""Makes a data set half as long for the way to a browser: its samples are 16-bit integers over 32768, exactly.

    pack_head.py IN.kalhrtfd OUT      fails when a sample is none

OUT is IN without its signature, with an int16 for each float32 sample; PackedHead.cpp reads it.
"""

import struct
import sys


def packed(data):
    """The packed form of the bytes of a data set."""
    if data[:8] != b"KALHRTFD":
        raise ValueError("not a data set")
    position, out = 8, bytearray()

    def take(form):
        nonlocal position
        value = struct.unpack_from(form, data, position)[0]
        out.extend(data[position:position + 4])
        position += 4
        return value

    for _ in range(take("<i")):
        take("<f")
        for _ in range(take("<i")):
            take("<f")
            count = 2 * take("<I")
            samples = [x * 32768 for x in struct.unpack_from(f"<{count}f", data, position)]
            if any(x != int(x) or not -32768 <= x <= 32767 for x in samples):
                raise ValueError("a sample is not a 16-bit integer over 32768")
            out += struct.pack(f"<{count}h", *map(int, samples))
            position += 4 * count
    return bytes(out)


if __name__ == "__main__":
    with open(sys.argv[1], "rb") as source:
        result = packed(source.read())
    with open(sys.argv[2], "wb") as target:
        target.write(result)
