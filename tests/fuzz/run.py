#!/usr/bin/env python3
"""Runs the fuzz targets for a number of CPU minutes each, in turns, from where the last run left off.

    tests/fuzz/run.py MINUTES [TARGET...]

The corpus stays in build/fuzz-runs/corpus, inputs that broke a promise in build/fuzz-runs/findings, and what was run
in build/fuzz-runs/log.tsv, whose totals by target end the output.
"""

import argparse
import collections
import csv
import os
import re
import subprocess
import sys

from targets import HERE, ROOT, RUNS, TARGETS, build, folders_of, run

SEED_PROGRAMS = ("mkv_tests", "avi_tests", "mp4_tests", "es_tests")
COLUMNS = ("commit", "target", "cpu_seconds", "executions", "edges", "features", "corpus", "findings")
SANITIZERS = {"ASAN_OPTIONS": "detect_leaks=1:allocator_may_return_null=1", "UBSAN_OPTIONS": "print_stacktrace=1"}


def make_seeds():
    """Seeds and dictionaries, once; delete the folder to have them made again."""
    if (RUNS / "seeds").exists():
        return
    run("cmake", "--preset", "release")
    run("cmake", "--build", "--preset", "release", "--target", *SEED_PROGRAMS)
    run(sys.executable, "-B", HERE / "seeds.py", RUNS / "seeds.part", ROOT / "build" / "release" / "bin")
    (RUNS / "seeds.part").rename(RUNS / "seeds")


def number(pattern, text):
    found = re.findall(pattern, text)
    return int(found[-1]) if found else 0


def run_slice(program, target, seconds):
    """One turn of one target: its row of the log."""
    findings = RUNS / "findings"
    findings.mkdir(exist_ok=True)
    before = set(findings.iterdir())
    command = [
        program, *folders_of(target), f"-max_total_time={seconds}", "-print_final_stats=1",
        "-max_len=65536", "-timeout=600", "-report_slow_units=600", "-rss_limit_mb=3000", f"-artifact_prefix={findings}/{target}-",
        f"-dict={RUNS}/dictionaries/{target}.dict",
    ]  # fmt: skip
    clock = os.times()
    with open(RUNS / f"{target}.log", "w", encoding="utf-8") as log:
        subprocess.run(command, stdout=log, stderr=log, env={**os.environ, **SANITIZERS}, check=False)
    after = os.times()
    text = (RUNS / f"{target}.log").read_text(encoding="utf-8", errors="replace")
    commit = run("git", "rev-parse", "--short", "HEAD", stdout=subprocess.PIPE, text=True)
    return {
        "commit": commit.stdout.strip(),
        "target": target,
        "cpu_seconds": round(after.children_user + after.children_system - clock.children_user - clock.children_system),
        "executions": number(r"stat::number_of_executed_units: (\d+)", text) or number(r"#(\d+)", text),
        "edges": number(r"cov: (\d+)", text),
        "features": number(r"ft: (\d+)", text),
        "corpus": sum(1 for _ in (RUNS / "corpus" / target).iterdir()),
        "findings": len(set(findings.iterdir()) - before),
    }


def rows_of_log():
    path = RUNS / "log.tsv"
    if not path.exists():
        return []
    with open(path, newline="", encoding="ascii") as log:
        return list(csv.DictReader(log, dialect="excel-tab"))


def note(row):
    new = not (RUNS / "log.tsv").exists()
    with open(RUNS / "log.tsv", "a", newline="", encoding="ascii") as log:
        writer = csv.DictWriter(log, COLUMNS, dialect="excel-tab")
        if new:
            writer.writeheader()
        writer.writerow(row)


def print_totals():
    totals = collections.defaultdict(collections.Counter)
    for row in rows_of_log():
        sums = totals[row["target"]]
        for column in ("cpu_seconds", "executions", "findings"):
            sums[column] += int(row[column])
        sums["edges"] = max(sums["edges"], int(row["edges"]))
    print(f"{'target':10} {'CPU minutes':>11} {'executions':>12} {'edges':>7} {'findings':>8}")
    for target, sums in totals.items():
        minutes = sums["cpu_seconds"] / 60
        print(f"{target:10} {minutes:11.1f} {sums['executions']:12} {sums['edges']:7} {sums['findings']:8}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("minutes", type=float, help="CPU minutes for each target; 0 prints the totals so far")
    parser.add_argument("targets", nargs="*", default=TARGETS, metavar="TARGET", help=", ".join(TARGETS))
    parser.add_argument("--turn", type=float, default=5, metavar="MINUTES", help="length of a target's turn")
    options = parser.parse_args()
    RUNS.mkdir(parents=True, exist_ok=True)
    left = {target: options.minutes * 60 for target in options.targets if options.minutes > 0}
    if left:
        programs = build("fuzz", left)
        make_seeds()
        run(sys.executable, "-B", HERE / "dictionaries.py", RUNS / "dictionaries")
    found = 0
    while left:
        for target in list(left):
            row = run_slice(programs[target], target, max(1, round(min(left[target], options.turn * 60))))
            note(row)
            found += row["findings"]
            left[target] -= max(1, row["cpu_seconds"])
            if left[target] < 1:
                del left[target]
    print_totals()
    return 1 if found else 0


sys.exit(main())
