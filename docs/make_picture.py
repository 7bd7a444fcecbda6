#!/usr/bin/env python3
"""Draws what a command prints on a terminal: make_picture.py OUTPUT.svg COMMAND..."""

import html
import pathlib
import shlex
import subprocess
import sys

LINE, MARGIN = 20, 16


def main():
    output, *command = sys.argv[1:]
    printed = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    shown = shlex.join([pathlib.Path(command[0]).name, *command[1:]])
    lines = ["$ " + shown, *printed.rstrip("\n").split("\n")]
    width = MARGIN * 2 + 9 * max(map(len, lines))
    height = MARGIN * 2 + LINE * len(lines)
    rows = "".join(
        f'<text x="{MARGIN}" y="{MARGIN + LINE * (number + 1) - 5}" xml:space="preserve">{html.escape(line)}</text>\n'
        for number, line in enumerate(lines)
    )
    pathlib.Path(output).write_text(
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" font-family="monospace" '
        f'font-size="15" fill="#e6e6e6">\n<rect width="100%" height="100%" rx="8" fill="#1e2430"/>\n{rows}</svg>\n',
        encoding="utf-8",
    )


if __name__ == "__main__":
    main()
