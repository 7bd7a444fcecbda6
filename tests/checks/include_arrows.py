#!/usr/bin/env python3
"""Which folder may include which: no arrow outside the picture in docs/architecture.md is ever drawn."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)

# Folder -> folders it may include besides itself. The first matching row counts.
ARROWS = {
    "streamlib": [],
    "framework": [],
    "readers/ModuleList.cpp": ["framework", "readers"],
    "readers": ["framework", "streamlib"],
    "propertyhandler": ["framework"],
    "tools": ["framework", "propertyhandler", "readers"],
    "tests": ["framework", "propertyhandler", "readers", "streamlib", "tools"],
    "benchmarks": ["framework", "propertyhandler", "readers", "streamlib"],
}
SOURCES = [folder for folder in ARROWS if not folder.endswith(".cpp")]


def within(path, folder):
    return path == folder or path.startswith(folder + "/")


def room(path):
    """The folder whose files a file may always include. Each reader and each tool has a room of its own."""
    parts = path.split("/")
    return "/".join(parts[: 2 if parts[0] in ("readers", "tools") else 1])


def complaints(path):
    allowed = next(arrows for folder, arrows in ARROWS.items() if within(path, folder))
    for included in INCLUDE.findall((ROOT / path).read_text(encoding="utf-8")):
        if not (ROOT / included).is_file():
            yield f"{path}: {included} is not a path from the root"
        elif not any(within(included, folder) for folder in [room(path), *allowed]):
            yield f"{path}: must not include {included}"


def main():
    files = [
        file.relative_to(ROOT).as_posix()
        for folder in SOURCES
        for file in sorted((ROOT / folder).rglob("*"))
        if file.suffix in (".h", ".cpp", ".inc")
    ]
    found = [complaint for path in files for complaint in complaints(path)]
    print("\n".join(found) or f"{len(files)} files keep to the arrows")
    return 1 if found or not files else 0


if __name__ == "__main__":
    sys.exit(main())
