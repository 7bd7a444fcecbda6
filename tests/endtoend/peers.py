"""Asks qmfinfo and ffprobe, and gives their answers in common terms."""

import json
import shlex
import subprocess

UNITS = 10_000_000  # 100-ns units a second.


class Qmfinfo:
    """The built program, run as a user runs it."""

    def __init__(self, command):
        self.command = command

    def run(self, *arguments, **options):
        return subprocess.run(
            [*self.command, *map(str, arguments)], capture_output=True, check=False, timeout=300, **options
        )

    def show(self, path):
        return json.loads(self.run("show", "--json", path).stdout)[0]

    def query(self, path, qid, *arguments):
        return json.loads(self.run("query", path, qid, *arguments).stdout)["data"]

    def blocks(self, path, *arguments):
        """The lines of blocks, the last of them the end."""
        return [json.loads(line) for line in self.run("blocks", path, *arguments).stdout.splitlines()]


def ffprobe(path, *arguments, options=""):
    command = ["ffprobe", "-v", "error", *shlex.split(options), *arguments, "-of", "json", str(path)]
    return json.loads(subprocess.run(command, check=True, capture_output=True).stdout)


def ffprobe_packets(path, time, options=""):
    """ffprobe's packets as (kind, stream of that kind, 100-ns time as a fraction of two integers, size, CRC-32)."""
    found = ffprobe(path, "-show_streams", "-show_packets", "-show_data_hash", "CRC32", options=options)
    streams = {}
    counts = {}
    for stream in found["streams"]:
        kind = stream["codec_type"]
        streams[stream["index"]] = (kind, counts.get(kind, 0), *map(int, stream["time_base"].split("/")))
        counts[kind] = counts.get(kind, 0) + 1
    for packet in found["packets"]:
        kind, number, numerator, denominator = streams[packet["stream_index"]]
        ticks = packet.get(time)
        exact = None if ticks is None else (ticks * numerator * UNITS, denominator)
        yield kind, number, exact, int(packet["size"]), packet["data_hash"].removeprefix("CRC32:")
