#!/usr/bin/env python3
"""Compares what qmfinfo and ffprobe say of all media of one format. Prints every difference; none is success."""

import argparse
import shlex
import sys

import compare_chapters
import compare_packets
import compare_properties
import media
import peers


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--qmfinfo", required=True, help="command that runs the program")
    parser.add_argument("--media", required=True, help="folder of the generated media")
    parser.add_argument("--only", help="name of one recipe")
    parser.add_argument("format", help="module under recipes/")
    options = parser.parse_args()
    qmfinfo = peers.Qmfinfo(shlex.split(options.qmfinfo))
    different = 0
    for recipe in media.recipes_of(options.format):
        if options.only not in (None, recipe.name):
            continue
        path = media.make(recipe, options.media)
        found = []
        if recipe.packets:
            found += compare_packets.compare(qmfinfo, recipe, path)
        if recipe.properties:
            found += compare_properties.compare(qmfinfo, recipe, path)
        if recipe.chapters:
            found += compare_chapters.compare(qmfinfo, path)
        print(f"{recipe.name}: {'; '.join(found) or 'same'}", flush=True)
        different += bool(found)
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
