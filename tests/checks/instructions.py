"""Counts, under callgrind, the instructions that one file's properties cost: instructions.py BUILD-FOLDER.

Not part of the tests, since compilers and libraries differ. What is more than a tenth above the figures here is a
regression, what is more than a tenth below should become the new figure."""

import pathlib
import re
import subprocess
import sys
import tempfile

# Of the two files that the test reads, as counted with gcc 12 -O3 and glibc 2.36.
EXPECTED = {"mkv": 241_500, "avi": 137_200, "mp4": 197_400, "264": 820_900, "aac": 379_400}


def count(program, media_format):
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out"]
            + ["--toggle-collect=qmf::test::ReadPropertiesOnce*", program]
            + [f"--gtest_filter=*/CostTest.OfTheProperties/{media_format}"],
            check=True,
            capture_output=True,
            text=True,
        )
    return int(re.search(r"Collected : (\d+)", done.stderr)[1])


def main():
    program = pathlib.Path(sys.argv[1]) / "bin" / "cost_tests"
    failed = False
    for media_format, expected in EXPECTED.items():
        found = count(program, media_format)
        percent = 100 * found / expected - 100
        failed |= percent > 10
        print(f"{media_format}: {found:,} instructions for two files, {percent:+.1f} %")
    return failed


if __name__ == "__main__":
    sys.exit(main())
