#!/usr/bin/env python3
"""Writes Debian's changelog out of CHANGELOG.md. Every release carries the date of SOURCE_DATE_EPOCH, or of today."""

import email.utils
import os
import pathlib
import re
import sys
import textwrap
import time


def entry(version, news, signature):
    lines = [f"qmfinfo ({version}) unstable; urgency=low", ""]
    for item in re.findall(r"^- (.*(?:\n  .*)*)", news, re.MULTILINE):
        lines += textwrap.wrap(" ".join(item.split()), 78, initial_indent="  * ", subsequent_indent="    ")
    return "\n".join([*lines, "", signature, ""])


def main():
    changelog, maintainer, output = sys.argv[1:]
    date = email.utils.formatdate(int(os.environ.get("SOURCE_DATE_EPOCH", time.time())))
    text = pathlib.Path(changelog).read_text(encoding="utf-8")
    releases = re.findall(r"^## (\d[\d.]*)[^\n]*\n(.*?)(?=^## |\Z)", text, re.MULTILINE | re.DOTALL)
    signature = f" -- {maintainer}  {date.replace('-0000', '+0000')}"
    entries = [entry(version, news, signature) for version, news in releases]
    pathlib.Path(output).write_text("\n".join(entries), encoding="utf-8")


if __name__ == "__main__":
    main()
