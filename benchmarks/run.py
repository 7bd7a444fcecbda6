"""Measures what reading media costs, beside what others charge, and prints tables. Times and ratios are medians of
batches that alternate with batches of the floor: one open, one read of 4 KiB, one close of the same file."""

import argparse
import datetime
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import time

import media

FORMATS = ["mkv", "avi", "mp4", "264", "aac"]
OPENED = (
    [f"film.{each}" for each in FORMATS]
    + [f"small.{each}" for each in FORMATS]
    + [f"hour.{each}" for each in FORMATS]
    + ["film-moov-behind.mp4", "cues-10000.mkv", "tracks-64.mkv", "tracks-64.mp4", "sparse-2GB.mkv", "sparse-2GB.mp4"]
)
GROWTH = {
    "length": ["small.mkv", "film.mkv", "hour.mkv", "small.avi", "film.avi", "hour.avi"]
    + ["small.mp4", "film.mp4", "hour.mp4", "small.264", "film.264", "hour.264", "small.aac", "film.aac", "hour.aac"],
    "tracks": ["film.mkv", "tracks-8.mkv", "tracks-64.mkv", "film.mp4", "tracks-64.mp4"],
    "cues": ["cues-100.mkv", "cues-10000.mkv"],
}
BATCH = 20_000
BATCH_SAMPLE = 200  # Files for the peers, which start a process or parse a lot for each.


class Bench:
    """Where programs and files are, and what was measured so far."""

    def __init__(self, programs, folder, windows):
        self.programs = pathlib.Path(programs)
        self.folder = pathlib.Path(folder)
        self.windows = windows and pathlib.Path(windows)
        self.files = media.make_all(self.folder / "media")
        self.opened = {}

    def touch_bench(self, command, names):
        """The program's lines, by file name."""
        paths = [self.files[name] for name in names]
        out = subprocess.run([self.programs / "touch_bench", command, *paths], check=True, capture_output=True).stdout
        return {name: json.loads(line) for name, line in zip(names, out.splitlines(), strict=True)}

    def open_costs(self, names):
        """What touch_bench says of opening these files, measured once."""
        missing = [name for name in names if name not in self.opened]
        if missing:
            self.opened |= self.touch_bench("open", missing)
        return {name: self.opened[name] for name in names}


def number(value, digits=0):
    return "-" if value is None else f"{value:,.{digits}f}"


def table(title, columns, rows):
    """Prints rows of texts; the first column is aligned left."""
    rows = [columns, *rows]
    widths = [max(len(row[i]) for row in rows) for i in range(len(columns))]
    print(f"\n{title}\n")
    for row in rows:
        cells = [cell.ljust(width) if i == 0 else cell.rjust(width) for i, (cell, width) in enumerate(zip(row, widths))]
        print("    " + "  ".join(cells).rstrip())


def ratio(costs, name):
    return number(costs[name]["ratio"], 1) if costs.get(name) else "-"


def times_ours(costs, name):
    """How many of our readings another's opening pays for."""
    return number(costs[name]["ratio"] / costs["ours"]["ratio"], 1) if costs.get(name) else "-"


def log_share(costs):
    """What the log adds, in files created and closed; nothing where it is lost in the noise of a long reading."""
    if costs["ours"]["ns"] > 50_000:
        return "-"
    return number((costs["logged"]["ns"] - costs["ours"]["ns"]) / costs["create"]["ns"], 1)


def open_section(bench):
    rows = []
    for name, costs in bench.open_costs(OPENED).items():
        floor, ours = costs["floor"], costs["ours"]
        rows.append(
            [name, number(floor["ns"] / 1000, 2), number(ours["ns"] / 1000, 2), ratio(costs, "ours")]
            + [ratio(costs, "undated"), ratio(costs, "logged"), log_share(costs)]
            + [cell for peer in PEERS for cell in (ratio(costs, peer), times_ours(costs, peer))]
        )
    columns = ["open to close", "floor us", "ours us", "ours", "undated", "logged", "log/create"]
    columns += [cell for peer in PEERS for cell in (peer, "/ours")]
    table("Seven properties, times the floor (undated: without the duration; a dash: not installed)", columns, rows)


PEERS = ["avformat", "avformat-info", "mediainfo"]


def count_system_calls(program, path):
    """System calls of one reading, by name; nothing without strace."""
    if not shutil.which("strace"):
        return None
    totals = []
    for times in (1, 11):
        with tempfile.NamedTemporaryFile("r") as out:
            subprocess.run(["strace", "-c", "-U", "name,calls", "-o", out.name, program, str(times), path], check=True)
            totals.append({name: int(count) for name, count in re.findall(r"^ *(\w+) +(\d+)", out.read(), re.M)})
    counts = {name: round((totals[1][name] - totals[0].get(name, 0)) / 10) for name in totals[1] if name != "total"}
    return {name: count for name, count in counts.items() if count}


def count_section(bench):
    rows = []
    for name, costs in bench.open_costs(OPENED).items():
        calls = count_system_calls(bench.programs / "properties_once", bench.files[name])
        counts = costs["counts"]
        named = " ".join(f"{key} {count}" for key, count in sorted(calls.items())) if calls else ""
        rows.append(
            [name, number(counts["opens"]), number(counts["reads"]), number(counts["bytes"])]
            + [number(calls and sum(calls.values())), named]
        )
    columns = ["counted", "opens", "reads", "bytes", "calls", "which"]
    table("Reads and system calls of one file (a dash: no strace)", columns, rows)


def blocks_section(bench):
    rows = []
    names = [f"{length}.{each}" for length in ("film", "hour") for each in FORMATS]
    contenders = ["read", "ours", "avformat", "avformat-bare"]
    for name, seconds in bench.touch_bench("blocks", names).items():
        rate = {key: seconds["size"] / seconds[key] / 1e6 if seconds.get(key) else None for key in contenders}
        cells = [number(rate[key]) for key in contenders]
        peers = [rate["ours"] / rate[key] if rate[key] else None for key in ("avformat", "avformat-bare")]
        rows.append([name, *cells, *(number(peer, 1) for peer in peers)])
    columns = ["MB/s", "read()", "ours", "av_read_frame", "unparsed", "ours/av", "ours/unparsed"]
    table("All media data, by processor time (unparsed: packets are left as they are)", columns, rows)


def walk_section(bench):
    bench.files |= media.make_walked(bench.folder / "media")
    rows = []
    for name, seconds in bench.touch_bench("blocks", media.WALKED).items():
        usage = subprocess.run(
            ["/usr/bin/time", "-f", "%M", bench.programs / "qmfinfo", "blocks", bench.files[name]],
            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
        ).stderr if shutil.which("/usr/bin/time") else None
        rates = [seconds["size"] / seconds[key] / 1e6 for key in ("read", "ours")]
        rows.append([name, *map(number, rates), number(rates[1] / rates[0], 2), number(usage and int(usage))])
    table("A gigabyte in the page cache, block by block", ["MB/s", "read()", "ours", "ours/read", "peak KB"], rows)


def make_batch(bench, count):
    """A folder of `count` small files of all formats."""
    folder = bench.folder / f"batch-{count}"
    if not folder.exists():
        part = bench.folder / f"part-{count}"
        shutil.rmtree(part, ignore_errors=True)
        part.mkdir()
        for i in range(count):
            each = FORMATS[i % len(FORMATS)]
            shutil.copy(bench.files[f"small.{each}"], part / f"{i:05}.{each}")
        part.rename(folder)
    return folder


def rate_of(command, count, **options):
    """Files a second; nothing when the program is not there."""
    if not shutil.which(command[0]):
        return None
    start = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options)
    return count / (time.monotonic() - start)


def batch_section(bench):
    qmfinfo = bench.programs / "qmfinfo"
    folder = make_batch(bench, BATCH)
    rate_of([qmfinfo, "show", "--jsonl", "-r", folder], BATCH)  # From here on the cache is warm.
    sample = sorted(folder.iterdir())[:BATCH_SAMPLE]
    names = b"\0".join(os.fsencode(path) for path in sample)
    rows = []
    for jobs in ("1", "2"):
        spread = ["xargs", "-0", "-P", jobs]
        peers = [
            (["mediainfo", "--Output=JSON"], [*spread, "-n", str(BATCH_SAMPLE // int(jobs))]),
            (["mediainfo", "--Output=JSON"], [*spread, "-n", "1"]),
            (["ffprobe", "-v", "error", "-of", "json", "-show_format", "-show_streams"], [*spread, "-n", "1"]),
        ]
        rates = [rate_of([qmfinfo, "show", "--jsonl", "-r", "-j", jobs, folder], BATCH)]
        rates += [
            rate_of([*over, *peer], BATCH_SAMPLE, input=names) if shutil.which(peer[0]) else None
            for peer, over in peers
        ]
        rows.append([f"-j{jobs}", *map(number, rates), *(number(rate and rates[0] / rate) for rate in rates[1:])])
    columns = ["files/s", "qmfinfo", "mediainfo", "one each", "ffprobe", "/mediainfo", "/one each", "/ffprobe"]
    table(f"A folder of {BATCH:,} small files (peers: the first {BATCH_SAMPLE}, by xargs -P)", columns, rows)


def growth_section(bench):
    for kind, names in GROWTH.items():
        rows = []
        for name, costs in bench.open_costs(names).items():
            counts = costs["counts"]
            rows.append([name, number(costs["size"]), ratio(costs, "ours"), number(counts["reads"])])
            rows[-1].append(number(counts["bytes"]))
        table(f"Growth with {kind}", ["file", "size", "times the floor", "reads", "bytes"], rows)
    rows = []
    for count in (20, 200, 2_000, 20_000):
        command = [bench.programs / "qmfinfo", "show", "--jsonl", "-r", "-j", "1", make_batch(bench, count)]
        seconds = sorted(count / rate_of(command, count) for _ in range(5))[2]
        rows.append([number(count), number(seconds * 1000, 1), number(seconds / count * 1e6, 1)])
    table("Growth with the folder (qmfinfo -j1, its start included)", ["files", "ms", "us a file"], rows)


def com_section(bench):
    program = bench.windows and bench.windows / "com_bench.exe"
    if not program or not program.exists() or not shutil.which("wine"):
        print("\nThe COM object under Wine: not measured (no wine, or the windows preset is not built)")
        return
    wine = pathlib.Path(__file__).parent.parent / "cmake" / "wine"
    paths = ["Z:" + str(bench.files[f"{length}.mkv"].resolve()) for length in ("small", "film", "hour")]
    out = subprocess.run([wine, program, *paths], check=True, capture_output=True).stdout
    rows = []
    for line in map(json.loads, out.splitlines()):
        floor, *us = [line[key] / 1000 for key in ("floor_ns", "com_ns", "framework_ns", "unlogged_ns")]
        name = line["file"].replace("\\", "/").rsplit("/", 1)[-1]
        rows.append([name, *(number(value, 1) for value in (floor, *us)), *(number(value / floor, 1) for value in us)])
        rows[-1].append(number(100 * us[1] / us[0]))
    columns = ["us", "floor", "COM", "framework", "unlogged", "COM/floor", "framework/", "unlogged/", "share %"]
    table("Create, Initialize, read seven, release, under Wine; the framework alone, logged and not", columns, rows)


def bits_section(bench):
    """The bit reader beside others, in a table of its own making."""
    program = bench.programs / "bits_bench"
    if not program.exists():
        print("\nThe bit reader: not measured (libbenchmark-dev is not installed)")
        return
    out = subprocess.run([program], check=True, capture_output=True, text=True).stdout
    print("\nThe bit reader beside a plain and a cached one\n")
    print("".join(f"    {line}\n" for line in out.splitlines()), end="")


SECTIONS = {
    "open": open_section,
    "counts": count_section,
    "blocks": blocks_section,
    "walk": walk_section,
    "batch": batch_section,
    "growth": growth_section,
    "com": com_section,
    "bits": bits_section,
}


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = re.search(r"model name\s*: (.*)", file.read())
    release = os.uname()
    load = " ".join(f"{value:.1f}" for value in os.getloadavg())
    system = f"{release.sysname} {release.release}"
    return f"{model[1] if model else release.machine}, {os.cpu_count()} processors, {system}, load {load}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", required=True)
    parser.add_argument("--windows")
    parser.add_argument("--folder", required=True)
    parser.add_argument("section", nargs="*", choices=[*SECTIONS, []])
    arguments = parser.parse_args()
    bench = Bench(arguments.programs, arguments.folder, arguments.windows)
    print(f"{datetime.datetime.now():%Y-%m-%d %H:%M}, {machine()}")
    for section in arguments.section or SECTIONS:
        SECTIONS[section](bench)


if __name__ == "__main__":
    main()
