#!/usr/bin/env python3
"""Installs, upgrades, repairs and removes what ./package made, in a fresh Wine prefix, and reads values and registry: for
64-bit programs and, where Wine runs them, for 32-bit ones."""

import argparse
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile

OURS = "{D8D1CE8C-B1EB-4E95-B63B-1531BA60E992}"
OTHER = "{00000000-1111-2222-3333-444444444444}"
HANDLERS = r"Software\Microsoft\Windows\CurrentVersion\PropertySystem\PropertyHandlers"
BEFORE = [
    (rf"HKLM\{HANDLERS}\.mkv", [], OTHER),
    (rf"HKLM\{HANDLERS.replace('Software', 'Software' + chr(92) + 'Wow6432Node', 1)}\.mkv", [], OTHER),
    # A text that a command line would mangle. (Two quotes are more than Wine's search in the registry can take.)
    (r"HKLM\Software\Classes\SystemFileAssociations\.mkv", ["InfoTip"], 'prop:"System.Size'),
]
# What the installer and the scripts note for themselves.
NOTES = re.compile(r"\\(Installer|Uninstall|Displaced)(\\|$)")
LIBRARY = "QivoPropertyHandler.dll"
INSTALLED = r"Program Files\Qivo\Property Handler"
problems = []


def check(what, good, detail=""):
    if not good:
        problems.append(f"{what}: {detail}")


class Machine:
    """A Wine prefix of our own."""

    def __init__(self, emulator, folder):
        self.emulator, self.folder = emulator, folder
        self.environment = {**os.environ, "WINEPREFIX": str(folder)}
        self.drive = folder / "drive_c"
        for key, named, data in BEFORE:
            self.must("reg", "add", key, *(["/v", *named] if named else ["/ve"]), "/d", data, "/f")
        self.both = (self.drive / "windows" / "syswow64" / "regsvr32.exe").exists()
        self.before = self.values()

    def run(self, *command, folder=None):
        command = [self.emulator, *map(str, command)]
        return subprocess.run(command, env=self.environment, capture_output=True, check=False, cwd=folder)

    def must(self, *command, folder=None):
        done = self.run(*command, folder=folder)
        check(" ".join(map(str, command)), done.returncode == 0, f"exit code {done.returncode} {done.stdout}")

    def values(self):
        """(key, value's name) -> data, of everything below HKEY_LOCAL_MACHINE\\Software."""
        self.must("reg", "export", r"HKLM\Software", r"C:\all.reg", "/y")
        text = (self.drive / "all.reg").read_text(encoding="utf-16")
        found, key = {}, None
        for line in text.splitlines():
            if line.startswith("["):
                key = line[1:-1]
            elif "=" in line:
                name, data = re.match(r'(@|".*?(?<!\\)")=(.*)', line).groups()
                found[key, name] = data
        return found

    def registered(self):
        """The same, but for notes."""
        return {place: data for place, data in self.values().items() if not NOTES.search(place[0])}

    def added(self):
        """What registration has written over; paths by the library that they lead to."""
        changed = differences(self.before, self.registered())
        return {
            place: f"library {'x86' in new}" if new and LIBRARY in new else new
            for place, (_, new) in changed.items()
            if self.both or "Wow6432Node" not in place[0]
        }

    def expect_as_before(self, what):
        after = self.values()
        check(what, after == self.before, differences(self.before, after))

    def examine(self, folder, what, isolated=False):
        """Asks the doctor of `folder`, and the one for 32-bit programs."""
        for bits, program in folder.items():
            if bits == 32 and not self.both:
                continue
            found = json.loads(self.run(program, "doctor", "--json").stdout)
            said = {
                "healthy": found["healthy"],
                "values": len(found["sample"]["properties"]),
                "displaced": found["extensions"][".mkv"]["displaced"],
                "isolated": found["isolatedHostsLoadIt"],
                "bits": found["class"]["bits"],
                "other bits": bool(found["otherBits"]["file"]),
            }
            wanted = {"healthy": True, "values": 7, "displaced": OTHER, "isolated": isolated, "bits": bits,
                      "other bits": self.both or "set-up" in what}
            check(f"{what}: doctor of {bits} bits", said == wanted, found)


def differences(before, after):
    return {place: (before.get(place), after.get(place)) for place in {*before, *after} if before.get(place) != after.get(place)}


def try_set_up(machine, packages):
    """Gives the values that the set-up adds."""
    (package,) = packages.glob("*.msi")
    programs = {64: rf"C:\{INSTALLED}\shellprops.exe", 32: rf"C:\{INSTALLED}\x86\shellprops.exe"}
    installed = machine.drive / pathlib.PureWindowsPath(INSTALLED)
    for step in (packages / "work" / "older.msi", package):
        machine.must("msiexec", "/i", step, "/qn")
        machine.examine(programs, f"set-up {step.name}")
    fresh, added = machine.registered(), machine.added()
    names = [data for (key, name), data in machine.values().items() if "\\Uninstall\\{" in key and name == '"DisplayVersion"']
    check("the older version went", len({*names}) == 1, names)

    (installed / LIBRARY).unlink()
    machine.must("reg", "delete", rf"HKLM\Software\Classes\CLSID\{OURS}\InprocServer32", "/f")
    # What /fa stands for: Wine's msiexec takes a path behind /f for a product code, and product codes not at all.
    machine.must("msiexec", "/i", package, "REINSTALL=ALL", "REINSTALLMODE=amus", "/qn")
    check("repair", machine.registered() == fresh, differences(fresh, machine.registered()))
    machine.examine(programs, "set-up, repaired")

    machine.must("msiexec", "/i", package, "ADDLOCAL=InProcess", "/qn")
    feature = differences(fresh, machine.registered())
    check("the feature", feature and all(name == '"DisableProcessIsolation"' for _, name in feature), feature)
    machine.examine(programs, "set-up with the feature", isolated=True)

    machine.must("msiexec", "/x", package, "/qn")
    machine.expect_as_before("removal")
    check("files removed", not installed.exists(), list(installed.glob("*")))
    return added


def try_zip(machine, packages):
    (packed,) = packages.glob("*.zip")
    with zipfile.ZipFile(packed) as files:
        files.extractall(machine.drive)
    folder = "C:\\" + packed.stem
    elsewhere = machine.drive / "elsewhere"
    elsewhere.mkdir()
    for planted in ("reg.cmd", "find.cmd"):
        (elsewhere / planted).write_text("exit 1\n")
    for _ in range(2):
        machine.must("cmd", "/c", folder + r"\register.cmd", folder=elsewhere)
    machine.examine({64: folder + r"\x64\shellprops.exe", 32: folder + r"\x86\shellprops.exe"}, "register.cmd")
    added = machine.added()
    machine.must("cmd", "/c", folder + r"\unregister.cmd", folder=elsewhere)
    machine.expect_as_before("unregister.cmd")
    return added


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--emulator", required=True, type=pathlib.Path)
    parser.add_argument("--packages", required=True, type=pathlib.Path)
    options = parser.parse_args()
    packages = options.packages.resolve()
    with tempfile.TemporaryDirectory(dir=packages / "work") as folder:
        machine = Machine(options.emulator.resolve(), pathlib.Path(folder))
        by_set_up = try_set_up(machine, packages)
        by_script = try_zip(machine, packages)
        check("set-up and regsvr32 write the same", by_set_up == by_script, differences(by_set_up, by_script))
        check("there is something to compare", len(by_set_up) > (40 if machine.both else 20), by_set_up)
        for how in ("-k", "-w"):
            subprocess.run(["wineserver", how], env=machine.environment, check=False)
        shutil.rmtree(machine.drive, ignore_errors=True)
    views = "64 and 32 bits" if machine.both else "64 bits; nothing runs programs of 32 bits here"
    print("\n".join(problems) or f"installed, upgraded, repaired, extended and removed as expected, for {views}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
