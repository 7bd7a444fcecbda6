#!/usr/bin/env python3
"""Writes Debian's changelog out of CHANGELOG.md. Every release carries the date of SOURCE_DATE_EPOCH, else of the commit, else
of today."""

import email.utils
import os
import pathlib
import re
import subprocess
import sys
import textwrap
import time


def entry(version, news, signature):
    lines = [f"qmfinfo ({version}) unstable; urgency=low", ""]
    for item in re.findall(r"^- (.*(?:\n  .*)*)", news, re.MULTILINE):
        lines += textwrap.wrap(" ".join(item.split()), 78, initial_indent="  * ", subsequent_indent="    ")
    return "\n".join([*lines, "", signature, ""])


def build_time():
    if "SOURCE_DATE_EPOCH" in os.environ:
        return int(os.environ["SOURCE_DATE_EPOCH"])
    asked = ["git", "-C", pathlib.Path(__file__).parent, "log", "-1", "--format=%ct"]
    done = subprocess.run(asked, capture_output=True, check=False)
    return int(done.stdout) if done.returncode == 0 else int(time.time())


def main():
    changelog, maintainer, output = sys.argv[1:]
    date = email.utils.formatdate(build_time())
    text = pathlib.Path(changelog).read_text(encoding="utf-8")
    releases = re.findall(r"^## (\d[\d.]*)[^\n]*\n(.*?)(?=^## |\Z)", text, re.MULTILINE | re.DOTALL)
    signature = f" -- {maintainer}  {date.replace('-0000', '+0000')}"
    entries = [entry(version, news, signature) for version, news in releases]
    pathlib.Path(output).write_text("\n".join(entries), encoding="utf-8")


if __name__ == "__main__":
    main()
