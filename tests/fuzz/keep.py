#!/usr/bin/env python3
"""Fills tests/fuzz/corpus with the fewest inputs that reach every edge that the first 4 KiB of all inputs reach.

    tests/fuzz/keep.py [TARGET...]

Inputs with a name stay: tests use them, or they once failed. The others are named by their hashes, and replaced.
"""

import re
import shutil
import sys
import tempfile

from targets import HERE, TARGETS, build, folders_of, run

LARGEST = 4096


def is_named(path):
    return not re.fullmatch("[0-9a-f]{40}", path.name)


def keep(target, program):
    kept = HERE / "corpus" / target
    with tempfile.TemporaryDirectory() as chosen:
        for path in filter(is_named, kept.iterdir()):
            shutil.copy(path, chosen)
        # Edges, not how often each was passed: that takes many times as many inputs.
        options = ("-verbosity=0", "-set_cover_merge=1", "-use_counters=0", f"-max_len={LARGEST}")
        run(program, *options, chosen, *folders_of(target))
        shutil.rmtree(kept)
        shutil.copytree(chosen, kept)
    sizes = [path.stat().st_size for path in kept.iterdir()]
    print(f"{target:10} {len(sizes):5} inputs {sum(sizes):8} bytes")


def main():
    for target, program in build("fuzz", sys.argv[1:] or TARGETS).items():
        keep(target, program)


main()
