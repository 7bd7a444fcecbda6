#!/usr/bin/env python3
"""Installs, upgrades, repairs and removes what ./package made, in a fresh Wine prefix, and reads values and registry."""

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
    (r"HKLM\Software\Classes\SystemFileAssociations\.mkv", ["InfoTip"], "prop:System.Size"),
]
# What the installer and the scripts note for themselves.
NOTES = re.compile(r"\\(Installer|Uninstall|Displaced)(\\|$)")
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

    def run(self, *command):
        command = [self.emulator, *map(str, command)]
        return subprocess.run(command, env=self.environment, capture_output=True, check=False)

    def must(self, *command):
        done = self.run(*command)
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

    def doctor(self, program):
        return json.loads(self.run(program, "doctor", "--json").stdout)


def registration(values):
    return {place: data for place, data in values.items() if not NOTES.search(place[0])}


def differences(before, after):
    return {place: (before.get(place), after.get(place)) for place in {*before, *after} if before.get(place) != after.get(place)}


def examine(machine, program, what, isolated=False):
    found = machine.doctor(program)
    check(f"{what}: doctor", found["healthy"], found)
    check(f"{what}: seven values", len(found["sample"]["properties"]) == 7, found["sample"])
    check(f"{what}: displaced", found["extensions"][".mkv"]["displaced"] == OTHER, found["extensions"])
    check(f"{what}: isolated hosts", found["isolatedHostsLoadIt"] is isolated, found)
    check(f"{what}: version", re.fullmatch(r"\d+\.\d+\.\d+\.0", found["class"]["version"] or ""), found["class"])


def try_set_up(machine, packages, before):
    """Gives the values that the set-up adds."""
    (package,) = packages.glob("*.msi")
    program = r"C:\Program Files\Qivo\Property Handler\shellprops.exe"
    installed = machine.drive / "Program Files" / "Qivo" / "Property Handler"
    for step in (packages / "work" / "older.msi", package):
        machine.must("msiexec", "/i", step, "/qn")
        examine(machine, program, f"after {step.name}")
    fresh = machine.values()
    names = [data for (key, name), data in fresh.items() if "\\Uninstall\\{" in key and name == '"DisplayVersion"']
    check("the older version went", len({*names}) == 1, names)

    (installed / "QivoPropertyHandler.dll").unlink()
    machine.must("reg", "delete", rf"HKLM\Software\Classes\CLSID\{OURS}\InprocServer32", "/f")
    machine.must("msiexec", "/i", package, "REINSTALL=ALL", "REINSTALLMODE=amus", "/qn")
    check("repair", registration(machine.values()) == registration(fresh))
    examine(machine, program, "after repair")

    machine.must("msiexec", "/i", package, "ADDLOCAL=InProcess", "/qn")
    added = differences(registration(fresh), registration(machine.values()))
    check("the feature", added and all(name == '"DisableProcessIsolation"' for _, name in added), added)
    examine(machine, program, "with the feature", isolated=True)

    machine.must("msiexec", "/x", package, "/qn")
    check("removal", machine.values() == before, differences(before, machine.values()))
    check("files removed", not installed.exists(), list(installed.glob("*")))
    return differences(registration(before), registration(fresh))


def try_zip(machine, packages, before):
    (packed,) = packages.glob("*.zip")
    with zipfile.ZipFile(packed) as files:
        files.extractall(machine.drive)
    folder = "C:\\" + packed.stem
    machine.must("cmd", "/c", folder + r"\register.cmd")
    machine.must("cmd", "/c", folder + r"\register.cmd")
    examine(machine, folder + r"\x64\shellprops.exe", "after register.cmd")
    added = differences(registration(before), registration(machine.values()))
    machine.must("cmd", "/c", folder + r"\unregister.cmd")
    check("unregister.cmd", machine.values() == before, differences(before, machine.values()))
    return added


def of_64_bits(added):
    """Without the 32-bit view, which a prefix without 32-bit programs cannot register, and without paths."""
    return {
        place: "path" if "QivoPropertyHandler.dll" in data else data
        for place, (_, data) in added.items()
        if "Wow6432Node" not in place[0]
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--emulator", required=True, type=pathlib.Path)
    parser.add_argument("--packages", required=True, type=pathlib.Path)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(dir=options.packages.resolve() / "work") as folder:
        machine = Machine(options.emulator.resolve(), pathlib.Path(folder))
        for key, named, data in BEFORE:
            machine.must("reg", "add", key, *(["/v", *named] if named else ["/ve"]), "/d", data, "/f")
        before = machine.values()
        by_set_up = of_64_bits(try_set_up(machine, options.packages.resolve(), before))
        by_script = of_64_bits(try_zip(machine, options.packages, before))
        check("set-up and regsvr32 write the same", by_set_up == by_script, differences(by_set_up, by_script))
        check("there is something to compare", len(by_set_up) > 20, by_set_up)
        subprocess.run(["wineserver", "-k"], env=machine.environment, check=False)
        subprocess.run(["wineserver", "-w"], env=machine.environment, check=False)
        shutil.rmtree(machine.folder / "drive_c", ignore_errors=True)
    print("\n".join(problems) or "installed, upgraded, repaired, extended and removed as expected")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
