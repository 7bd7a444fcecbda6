#!/usr/bin/env python3
"""Tells which lines of readers/ and streamlib/ the fuzzers' corpus reaches: one row a file, and the totals.

    tests/fuzz/coverage.py [TARGET...]

The report with the lines themselves is left in build/coverage/lines.txt.
"""

import os
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).parent
ROOT = HERE.parents[1]
RUNS = ROOT / "build" / "fuzz-runs"
BUILD = ROOT / "build" / "coverage"
TARGETS = ("mkv", "avi", "mp4", "h264", "aac", "srt", "handler", "path", "streamlib", "walkers")
LLVM = "14"


def run(*command, **options):
    return subprocess.run(command, check=True, cwd=ROOT, **options)


def profile_of(target):
    folders = (HERE / "corpus" / target, RUNS / "seeds" / target, RUNS / "corpus" / target)
    profile = BUILD / f"{target}.profraw"
    command = [BUILD / "bin" / f"fuzz_{target}", *(folder for folder in folders if folder.exists())]
    # Unchecked: a fuzzer that runs meanwhile replaces inputs by smaller ones.
    environment = {**os.environ, "LLVM_PROFILE_FILE": str(profile)}
    subprocess.run(command, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    return profile


def main():
    targets = sys.argv[1:] or TARGETS
    run("cmake", "--preset", "coverage", stdout=subprocess.DEVNULL)
    programs = [f"fuzz_{target}" for target in targets]
    run("cmake", "--build", "--preset", "coverage", "--target", *programs, stdout=subprocess.DEVNULL)
    merged = BUILD / "all.profdata"
    run(f"llvm-profdata-{LLVM}", "merge", "-o", merged, *(profile_of(target) for target in targets))
    objects = [f"--object={BUILD / 'bin' / program}" for program in programs]
    sources = [ROOT / "readers", ROOT / "streamlib"]
    common = [objects[0].split("=")[1], *objects[1:], f"--instr-profile={merged}"]
    with open(BUILD / "lines.txt", "w", encoding="utf-8") as lines:
        run(f"llvm-cov-{LLVM}", "show", *common, "--use-color=false", *sources, stdout=lines)
    run(f"llvm-cov-{LLVM}", "report", *common, "--show-region-summary=false", *sources)


main()
