#!/usr/bin/env python3
"""Changes an AVI file in one way that muxers or accidents change such files: edit_avi.py HOW FROM TO."""

import pathlib
import struct
import sys


def children(data, begin):
    """Offset, name (a list's form) and size of the chunks from `begin` on."""
    while begin + 8 <= len(data):
        name, size = struct.unpack_from("<4sI", data, begin)
        yield begin, bytes(data[begin + 8 : begin + 12]) if name == b"LIST" else name, size
        begin += 8 + size + size % 2


def find(data, wanted):
    return next((offset, size) for offset, name, size in children(data, 12) if name == wanted)


def drop_open_dml(data):
    while (at := data.find(b"indx")) >= 0:
        data[at : at + 4] = b"JUNK"


def drop_index(data):
    drop_open_dml(data)
    at, _ = find(data, b"idx1")
    data[at : at + 4] = b"JUNK"


def shift_index(data, distance):
    drop_open_dml(data)
    at, size = find(data, b"idx1")
    for entry in range(at + 8, at + 8 + size, 16):
        (offset,) = struct.unpack_from("<I", data, entry + 8)
        struct.pack_into("<I", data, entry + 8, offset + distance)


def absolute_index(data):
    shift_index(data, find(data, b"movi")[0] + 8)


def wrong_index(data):
    shift_index(data, 14)


def cut(part):
    def cut_there(data):
        begin, size = find(data, b"movi")
        del data[begin + 12 + int(size * part) :]

    return cut_there


def damage(part):
    def damage_there(data):
        begin, size = find(data, b"movi")
        at, _, chunk = next(one for one in children(data, begin + 12) if one[0] > begin + size * part)
        # The header and some of the chunk; then bytes that look like a header and are none.
        data[at : at + min(chunk, 500)] = bytes([0xFE]) * min(chunk, 500)
        data[at + 20 : at + 28] = b"00dc" + bytes([0xFF]) * 4

    return damage_there


WAYS = {
    "no-index": drop_index,
    "legacy-index": drop_open_dml,
    "absolute-index": absolute_index,
    "wrong-index": wrong_index,
    **{f"damage-{percent}": damage(percent / 100) for percent in range(1, 100)},
    **{f"cut-{percent}": cut(percent / 100) for percent in range(1, 100)},
}

if __name__ == "__main__":
    how, source, target = sys.argv[1:]
    content = bytearray(pathlib.Path(source).read_bytes())
    WAYS[how](content)
    pathlib.Path(target).write_bytes(content)
