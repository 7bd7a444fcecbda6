#!/usr/bin/env python3
"""Runs the commands of a transcript and compares all they print, standard error and exit code included.

A transcript is lines of "$ qmfinfo ARGUMENTS" (words as a shell reads them), each followed by what the command is to
print: standard output as it is, lines of standard error behind "! ", and "? EXIT CODE". Lines of "# media FORMAT" name
the recipes whose files the commands read; they run in the media folder. --update writes what happened instead.
"""

import argparse
import difflib
import pathlib
import shlex
import sys

import media
import peers


def replay(qmfinfo, lines, folder):
    """The transcript as it comes out now."""
    for line in lines:
        if line.startswith("# "):
            yield line
        if line.startswith("# media "):
            for recipe in media.recipes_of(line.split()[2]):
                media.make(recipe, folder)
        if line.startswith("$ qmfinfo"):
            done = qmfinfo.run(*shlex.split(line)[2:], cwd=folder)
            yield line
            yield from done.stdout.decode().splitlines()
            yield from ("! " + text for text in done.stderr.decode().splitlines())
            yield f"? {done.returncode}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--qmfinfo", required=True, help="command that runs the program")
    parser.add_argument("--media", required=True, help="folder of the generated media")
    parser.add_argument("--update", action="store_true", help="write the transcripts anew")
    parser.add_argument("transcript", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    qmfinfo = peers.Qmfinfo(shlex.split(options.qmfinfo))
    same = True
    for path in options.transcript:
        wanted = path.read_text(encoding="utf-8").splitlines()
        found = list(replay(qmfinfo, wanted, pathlib.Path(options.media)))
        if options.update:
            path.write_text("\n".join(found) + "\n", encoding="utf-8")
        difference = "\n".join(difflib.unified_diff(wanted, found, path.name, "now", lineterm=""))
        print(difference or f"{path.name}: same")
        same = same and not difference
    return 0 if same else 1


if __name__ == "__main__":
    sys.exit(main())
