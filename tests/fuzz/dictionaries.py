#!/usr/bin/env python3
"""Makes the fuzzers' dictionaries out of the readers' own tables. Argument: the folder to write them into."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).parents[2]
# The first bytes of H.264 units and of ADTS headers, cue arrows, byte-order marks; the mark of a misbehaving file.
STREAM_WORDS = [
    b"\0\0\1", b"\0\0\0\1", *(bytes([0, 0, 1, unit]) for unit in (0x65, 0x41, 0x67, 0x68, 0x06, 0x09, 0x0C)), b"\0\0\3",
    b"\xff\xf1", b"\xff\xf9", b"ID3\4\0\0\0\0\0\x0a", b"TAG",
    b"\n00:00:01,000 --> 00:00:02,000\n", b" --> ", b"\r\n\r\n", b"\xef\xbb\xbf", b"\xff\xfe", b"\xfe\xff",
]  # fmt: skip
MISBEHAVIOUR = [b"\xf5\0\0\1", b"\xf5\0\0\x85", b"\xf5\0\7\0", b"\xf5\x30\0\0", b"\xf5\xff\0\0"]


def rows(path, pattern):
    return re.findall(pattern, (ROOT / path).read_text(encoding="utf-8"))


def mkv_words():
    ids = [int(word, 16) for word in rows("readers/mkv/EbmlElements.inc", r"EBML_ELEMENT\(.*, 0x([0-9A-F]+),")]
    ids += [int(word, 16) for word in rows("readers/mkv/EbmlExtraElements.inc", r"EBML_ELEMENT\(.*, 0x([0-9A-F]+),")]
    codecs = rows("readers/mkv/CodecTable.inc", r'MKV_CODEC\(.*u"([^"]+)"')
    binary = [number.to_bytes((number.bit_length() + 7) // 8, "big") for number in ids if number]
    # Elements of one byte and masters of unknown size make nests quickly.
    return binary + [word + b"\x81\1" for word in binary] + [codec.encode() for codec in codecs]


def codes_in(folder):
    """Every four-character code that the sources of a reader name."""
    words = set()
    for source in sorted((ROOT / folder).glob("*.*")):
        words.update(re.findall(r'MakeFourCC\("(.{4})"\)', source.read_text(encoding="utf-8")))
    return [word.encode("latin-1") for word in sorted(words)]


def avi_words():
    table = rows("readers/avi/AviFourCCs.inc", r'AVI_FOURCC\(\w+, "(.{4})"\)')
    return [b"LIST", *(word.encode() for word in table), *codes_in("readers/avi")]


def path_words():
    return [name.encode() for name in rows("tests/fuzz/PathFuzz.cpp", r'\{u"([^"]+)"')] + [b";", b"http:", b"\0"]


def write(folder, name, words):
    lines = ('"' + "".join(f"\\x{byte:02x}" for byte in word) + '"' for word in dict.fromkeys(words))
    (folder / f"{name}.dict").write_text("\n".join(lines) + "\n", encoding="ascii")


def main():
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    mkv, avi, mp4 = mkv_words(), avi_words(), codes_in("readers/mp4")
    containers = mkv + avi + mp4
    dictionaries = {"mkv": mkv, "avi": avi, "mp4": mp4, "handler": containers + STREAM_WORDS, "walkers": containers}
    for name in ("h264", "aac", "srt", "streamlib"):
        dictionaries[name] = STREAM_WORDS
    for name, words in dictionaries.items():
        write(folder, name, words + MISBEHAVIOUR)
    write(folder, "path", path_words())


main()
