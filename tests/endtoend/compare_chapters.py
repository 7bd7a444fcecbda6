"""The chapters that qmfinfo tells beside those that mkvextract writes out, of every edition."""

import re
import struct
import subprocess
import xml.etree.ElementTree

UNITS = 10_000_000


def time(text):
    hours, minutes, seconds, fraction = re.fullmatch(r"(\d+):(\d+):(\d+)\.(\d+)", text).groups()
    return (int(hours) * 3600 + int(minutes) * 60 + int(seconds)) * UNITS + int(fraction.ljust(9, "0")) // 100


def atoms(parent, level=0):
    """The chapters of an edition, each before those inside it, as (uid, start, end, segment, flags, level, name)."""
    for atom in parent.findall("ChapterAtom"):
        flags = int(atom.findtext("ChapterFlagHidden", "0")) + 2 * int(atom.findtext("ChapterFlagEnabled", "1"))
        yield (
            int(atom.findtext("ChapterUID")),
            time(atom.findtext("ChapterTimeStart")),
            time(atom.findtext("ChapterTimeEnd", "0:0:0.0")),
            atom.findtext("ChapterSegmentUID", "0" * 32),
            flags,
            level,
            atom.findtext("ChapterDisplay/ChapterString"),
        )
        yield from atoms(atom, level + 1)


def theirs(path):
    text = subprocess.run(["mkvextract", str(path), "chapters"], check=True, capture_output=True).stdout
    root = xml.etree.ElementTree.fromstring(text.decode("utf-8-sig"))
    return [list(atoms(edition)) for edition in root.findall("EditionEntry")]


def ours(qmfinfo, path):
    for edition in range(qmfinfo.query(path, "QMF_QID_PLAYLISTS_GET_COUNT")):
        ask = ["--set", f"QMF_QID_PLAYLISTS_SET_PLAYLIST_IDX={edition}", "--index"]
        chapters = []
        for index in range(qmfinfo.query(path, "QMF_QID_EDITIONENTRY_GET_COUNT", *ask, "0")):
            record = bytes.fromhex(qmfinfo.query(path, "QMF_QID_EDITIONENTRY_GET_PROP", *ask, str(index))["hex"])
            uid, start, end, _, segment, flags, level = struct.unpack("<QQQQ16sII", record)
            name = bytes.fromhex(qmfinfo.query(path, "QMF_QID_CHAPTERS_CHAPTER_NAME", *ask, str(index))["hex"])
            text = name.decode("utf-16-le").rstrip("\0")
            chapters.append((uid, start, end, segment.hex(), flags, level, text or None))
        yield chapters


def compare(qmfinfo, path):
    """The differences, as sentences."""
    told, extracted = list(ours(qmfinfo, path)), theirs(path)
    return [] if told == extracted and told else [f"chapters {told}, not {extracted}"]
