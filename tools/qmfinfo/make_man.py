#!/usr/bin/env python3
"""Writes the manual page of qmfinfo, as scdoc reads it, out of what the program says of itself."""

import re
import subprocess
import sys

FRAME = """qmfinfo(1)

# NAME

qmfinfo - what the QMF media framework says of media files

# SYNOPSIS

*qmfinfo* [_COMMAND_] [_OPTION_]... _PATH_...

# DESCRIPTION

Prints what the framework answers when it is asked about media files, and decides nothing itself. Output is UTF-8; data
goes to standard output, messages and progress to standard error. Several files joined by ';' open as one container.

```
{program}
```

# COMMANDS

{commands}

# EXIT STATUS

*0*
	All that was asked for was answered.

*1*
	At least one file or query gave a result other than 0; the output says which.

*2*
	Wrong usage. Nothing is on standard output.

# ENVIRONMENT

*NO_COLOR*
	When it is set and not empty, no colour is used on terminals either.

# FILES

*L1log.txt*
	The calls of the framework, in the folder that *--log* names. There is no log without it.
"""


def help_of(program, *command):
    return subprocess.run([program, *command, "--help"], check=True, capture_output=True, text=True).stdout.strip()


def main():
    program, output = sys.argv[1:]
    overview = help_of(program)
    names = re.findall(r"^  (\w+)  ", overview.split("Subcommands:")[1], re.MULTILINE)
    commands = "\n\n".join(f"## {name}\n\n```\n{help_of(program, name)}\n```" for name in names)
    with open(output, "w", encoding="utf-8") as page:
        page.write(FRAME.format(program=overview, commands=commands))


if __name__ == "__main__":
    main()
