#!/usr/bin/python3
"""Makes a data set shorter for the way to a browser: its samples are 16-bit integers over 32768, exactly.

    pack_head.py IN.kalhrtfd OUT      fails when a sample is none

OUT holds the number of samples as a uint32, the lower bytes of them all, the upper bytes of them all (of which gzip
makes a sixth less than of both together), and then what else IN has after its signature. PackedHead.cpp reads it.
"""

import struct
import sys


def packed(data):
    """The packed form of the bytes of a data set."""
    if data[:8] != b"KALHRTFD":
        raise ValueError("not a data set")
    position, rest, samples = 8, bytearray(), bytearray()

    def take(form):
        nonlocal position
        value = struct.unpack_from(form, data, position)[0]
        rest.extend(data[position:position + 4])
        position += 4
        return value

    for _ in range(take("<i")):
        take("<f")
        for _ in range(take("<i")):
            take("<f")
            count = 2 * take("<I")
            values = [x * 32768 for x in struct.unpack_from(f"<{count}f", data, position)]
            if any(x != int(x) or not -32768 <= x <= 32767 for x in values):
                raise ValueError("a sample is not a 16-bit integer over 32768")
            samples += struct.pack(f"<{count}h", *map(int, values))
            position += 4 * count
    return struct.pack("<I", len(samples) // 2) + samples[0::2] + samples[1::2] + rest


if __name__ == "__main__":
    with open(sys.argv[1], "rb") as source:
        result = packed(source.read())
    with open(sys.argv[2], "wb") as target:
        target.write(result)
