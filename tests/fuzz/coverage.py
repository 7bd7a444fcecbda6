#!/usr/bin/env python3
"""Tells which lines of readers/ and streamlib/ the fuzzers' corpus reaches: one row a file, and the totals.

    tests/fuzz/coverage.py [TARGET...]

The report with the lines themselves is left in build/coverage/lines.txt.
"""

import os
import subprocess
import sys

from targets import ROOT, TARGETS, build, folders_of, run

BUILD = ROOT / "build" / "coverage"
LLVM = "14"


def profile_of(target, program):
    profile = BUILD / f"{target}.profraw"
    # Unchecked: a fuzzer that runs meanwhile replaces inputs by smaller ones.
    environment = {**os.environ, "LLVM_PROFILE_FILE": str(profile)}
    command = [program, *folders_of(target)]
    subprocess.run(command, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    return profile


def main():
    programs = build("coverage", sys.argv[1:] or TARGETS)
    merged = BUILD / "all.profdata"
    profiles = [profile_of(target, program) for target, program in programs.items()]
    run(f"llvm-profdata-{LLVM}", "merge", "-o", merged, *profiles)
    first, *others = programs.values()
    sources = [ROOT / "readers", ROOT / "streamlib"]
    common = [first, *(f"--object={program}" for program in others), f"--instr-profile={merged}"]
    with open(BUILD / "lines.txt", "w", encoding="utf-8") as lines:
        run(f"llvm-cov-{LLVM}", "show", *common, "--use-color=false", *sources, stdout=lines)
    run(f"llvm-cov-{LLVM}", "report", *common, "--show-region-summary=false", *sources, stdout=None)


main()
