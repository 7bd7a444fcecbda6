#!/usr/bin/env python3
"""Runs clang-tidy over the sources of a build, each again only when it or a file it includes has changed."""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("framework/", "propertyhandler/", "readers/", "streamlib/", "tools/")


def included_files(build):
    """Object file -> files of ours that it was made from, as the last build found them."""
    listing = subprocess.run(["ninja", "-C", build, "-t", "deps"], capture_output=True, check=True, text=True)
    files = {}
    for line in listing.stdout.splitlines():
        if line.startswith(" "):
            path = pathlib.Path(build, line.strip()).resolve()
            if path.is_relative_to(ROOT) and not path.is_relative_to(build):
                files[current].append(path)
        elif ": #deps" in line:
            current = line.split(": #deps")[0]
            files[current] = []
    return files


def object_of(entry):
    words = shlex.split(entry["command"])
    return words[words.index("-o") + 1]


def fingerprint(files):
    digest = hashlib.sha256((ROOT / ".clang-tidy").read_bytes())
    for file in sorted(set(files)):
        digest.update(str(file).encode())
        digest.update(file.read_bytes())
    return digest.hexdigest()


def check(build, source, stamp):
    done = subprocess.run(
        ["clang-tidy", "-p", build, "--quiet", source],
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        check=False,
        text=True,
    )
    if done.returncode == 0:
        stamp.touch()
    return done.stdout


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    stamps = build / "tidy"
    stamps.mkdir(exist_ok=True)
    included = included_files(build)
    pending = {}
    known = set()
    for entry in json.loads((build / "compile_commands.json").read_text(encoding="utf-8")):
        name = os.path.relpath(entry["file"], ROOT)
        if name.startswith(FOLDERS):
            stamp = stamps / fingerprint([pathlib.Path(entry["file"]), *included.get(object_of(entry), [])])
            known.add(stamp)
            if not stamp.exists():
                pending[name] = stamp
    for old in set(stamps.iterdir()) - known:
        old.unlink()
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        outputs = list(pool.map(lambda item: check(build, str(ROOT / item[0]), item[1]), pending.items()))
    failed = [stamp for stamp in pending.values() if not stamp.exists()]
    print("".join(outputs), f"{len(pending)} of {len(known)} sources checked, {len(failed)} with complaints", sep="")
    return 1 if failed or not known else 0


if __name__ == "__main__":
    sys.exit(main())
