#!/usr/bin/env python3
"""Packs a folder into a zip file that depends on nothing but names, bytes and the time given."""

import pathlib
import sys
import time
import zipfile


def main():
    folder, epoch, output = pathlib.Path(sys.argv[1]), int(sys.argv[2]), sys.argv[3]
    with zipfile.ZipFile(output, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as packed:
        for path in sorted(path for path in folder.rglob("*") if path.is_file()):
            name = pathlib.PurePosixPath(folder.name, path.relative_to(folder))
            entry = zipfile.ZipInfo(str(name), time.gmtime(epoch)[:6])
            entry.compress_type = zipfile.ZIP_DEFLATED
            packed.writestr(entry, path.read_bytes())


if __name__ == "__main__":
    main()
