#!/usr/bin/env python3
"""Compares what the Shell object gives with what qmfinfo says it would, for all media; and what shellprops promises."""

import argparse
import json
import pathlib
import shlex
import shutil
import subprocess
import sys

import media

READ_ONLY = {"setvalue": "0x80030005", "commit": "0x80030005", "writable": "0x00000001"}
NOTHING = {"initialize": "0x80004005", "getcount": "0x8000FFFF", "count": 0, "properties": {}}


def run(command, *arguments):
    return subprocess.run([*command, *map(str, arguments)], capture_output=True, check=False)


def wanted(shown):
    """What shellprops is to print of a file of which qmfinfo shows this."""
    count = len(shown["properties"])
    opened = {"initialize": "0x00000000", "getcount": "0x00000000", "count": count, "properties": shown["properties"]}
    return {"path": shown["path"], **(NOTHING if shown["result"] else opened), **READ_ONLY}


def compare(what, qmfinfo, shellprops, paths):
    shown = [wanted(one) for one in json.loads(run(qmfinfo, "show", "--json", *paths).stdout)]
    done = run(shellprops, "--json", *paths)
    given = [json.loads(line) for line in done.stdout.splitlines()]
    for one, other in zip(shown, given):
        if one != other:
            yield f"{what}: qmfinfo {one}, the Shell object {other}"
    if len(given) != len(paths):
        yield f"{what}: {len(given)} answers for {len(paths)} files, {done.stderr.decode()}"
    complete = all(one["initialize"] == "0x00000000" for one in shown)
    if done.returncode != (0 if complete else 1):
        yield f"{what}: exit code {done.returncode}"


def wrong_usage(shellprops):
    for arguments in ([], ["--no-such-option", "a.mkv"], ["--dll"]):
        done = run(shellprops, *arguments)
        if done.returncode != 2 or done.stdout or not done.stderr:
            yield f"shellprops {arguments}: exit code {done.returncode}, printed {done.stdout}"


def full_disk(shellprops, path):
    with open("/dev/full", "wb") as full:
        done = subprocess.run([*shellprops, path], stdout=full, stderr=subprocess.PIPE, check=False, timeout=300)
    if done.returncode != 1 or b"could not be written" not in done.stderr:
        yield f"output that cannot be written: exit code {done.returncode}, {done.stderr}"


def doctor(what, shellprops, healthy):
    done = run(shellprops, "doctor", "--json")
    examined = json.loads(done.stdout)
    said = (examined["healthy"], examined["class"]["registered"], examined["sample"]["right"], done.returncode == 0)
    if said != (healthy,) * 4:
        yield f"doctor, {what}: exit code {done.returncode}, {examined}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--emulator", default="", help="what runs the programs")
    parser.add_argument("--programs", required=True, type=pathlib.Path, help="folder of the programs and the library")
    parser.add_argument("--media", required=True, type=pathlib.Path, help="folder of the generated media")
    parser.add_argument("format", nargs="+", help="module under recipes/")
    options = parser.parse_args()
    emulator = shlex.split(options.emulator)
    library = options.programs / "QivoPropertyHandler.dll"
    qmfinfo = [*emulator, options.programs / "qmfinfo.exe"]
    shellprops = [*emulator, options.programs / "shellprops.exe"]

    paths = [media.make(recipe, options.media) for name in options.format for recipe in media.recipes_of(name)]
    odd = options.media / "ä 日本 🎬 'x'.mkv"
    shutil.copyfile(paths[0], odd)
    found = [*compare("by library", qmfinfo, [*shellprops, "--dll", library], [*paths, odd]), *wrong_usage(shellprops)]
    found += compare("one good file", qmfinfo, [*shellprops, "--dll", library], [odd])
    found += full_disk([*shellprops, "--dll", library], odd)
    if run([*emulator, "regsvr32"], "/s", library).returncode:
        found.append("regsvr32 failed")
    found += compare("by class id", qmfinfo, shellprops, paths)
    found += doctor("registered", shellprops, True)
    if run([*emulator, "regsvr32"], "/u", "/s", library).returncode:
        found.append("regsvr32 /u failed")
    found += doctor("removed", shellprops, False)
    print("\n".join(found) or f"the same for {len(paths)} files")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
