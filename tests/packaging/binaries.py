#!/usr/bin/env python3
"""Reads what the library and the programs for Windows say of themselves - headers, exports, imports, resources - and
whether all of them and their packages are of CHANGELOG.md's version."""

import argparse
import itertools
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import zipfile

import pefile

ROOT = pathlib.Path(__file__).resolve().parents[2]
VERSION = re.search(r"^## (\d+\.\d+\.\d+)", (ROOT / "CHANGELOG.md").read_text(encoding="utf-8"), re.MULTILINE)[1]
MACHINES = {64: "IMAGE_FILE_MACHINE_AMD64", 32: "IMAGE_FILE_MACHINE_I386"}
EXPORTS = ["DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"]
# What every Windows from 7 on brings.
SYSTEM = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "propsys.dll", "rpcrt4.dll", "version.dll"}
LIBRARYS_RESOURCES = {("REGISTRY", 101), ("REGISTRY", 102), ("TYPELIB", 1), (24, 2), (16, 1)}
problems = []


def expect(what, found, wanted):
    if found != wanted:
        problems.append(f"{what}: {found} instead of {wanted}")


def resources(image):
    """(type, number) -> directory entry."""
    types = image.DIRECTORY_ENTRY_RESOURCE.entries
    return {(str(kind.name or "") or kind.id, entry.id): entry for kind in types for entry in kind.directory.entries}


def text_of(image, entry):
    place = entry.directory.entries[0].data.struct
    return image.get_data(place.OffsetToData, place.Size).decode("utf-8")


def examine_versions(name, image):
    if not hasattr(image, "VS_FIXEDFILEINFO"):
        problems.append(f"{name}: no version block")
        return
    fixed = image.VS_FIXEDFILEINFO[0]
    halves = [half for word in (fixed.FileVersionMS, fixed.FileVersionLS) for half in divmod(word, 1 << 16)]
    expect(f"{name}: number", ".".join(map(str, halves)), VERSION + ".0")
    blocks = (block for block in image.FileInfo[0] if hasattr(block, "StringTable"))
    texts = {key.decode(): text.decode() for block in blocks for key, text in block.StringTable[0].entries.items()}
    wanted = {"FileVersion": VERSION, "ProductVersion": VERSION, "OriginalFilename": pathlib.Path(name).name,
              "ProductName": "Qivo Property Handler"}
    expect(f"{name}: texts", {key: texts.get(key) for key in wanted}, wanted)


def examine_library(name, image):
    expect(f"{name}: exports", [symbol.name.decode() for symbol in image.DIRECTORY_ENTRY_EXPORT.symbols], EXPORTS)
    found = resources(image)
    expect(f"{name}: resources", LIBRARYS_RESOURCES - {*found}, set())
    manifest = text_of(image, found[24, 2])
    expect(f"{name}: manifest", re.findall(r'name="Qivo.*? version="(.*?)"', manifest), [VERSION + ".0"])
    # Sixteen strings a block.
    expect(f"{name}: project name", found[6, 7 // 16 + 1].directory.strings.get(7), "QivoPropertyHandler")


def examine(path, bits):
    name = str(path)
    image = pefile.PE(name)
    expect(f"{name}: machine", image.FILE_HEADER.Machine, pefile.MACHINE_TYPE[MACHINES[bits]])
    header = image.OPTIONAL_HEADER
    flags = [header.IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, header.IMAGE_DLLCHARACTERISTICS_NX_COMPAT,
             header.IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA or bits == 32]
    expect(f"{name}: may lie anywhere and runs no data", flags, [True] * 3)
    expect(f"{name}: can be moved", bool(image.DIRECTORY_ENTRY_BASERELOC), True)
    expect(f"{name}: needs", {entry.dll.decode().lower() for entry in image.DIRECTORY_ENTRY_IMPORT} - SYSTEM, set())
    expect(f"{name}: tells where it was built", str(ROOT).encode() in path.read_bytes(), False)
    examine_versions(name, image)
    if path.suffix == ".dll":
        examine_library(name, image)


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def examine_programs(emulator, paths):
    for path in paths:
        expect(f"{path} --version", run(*emulator, path, "--version").split()[:2], [path.stem, VERSION])


def examine_packages(emulator, packages):
    (package,), (packed,), (debian,) = (sorted(packages.glob("*" + kind)) for kind in (".msi", ".zip", ".deb"))
    table = dict(line.split("\t", 1) for line in run("msiinfo", "export", package, "Property").splitlines())
    expect(f"{package}: version", table.get("ProductVersion"), VERSION)
    expect(f"{debian}: version", run("dpkg-deb", "--field", debian, "Version").strip(), VERSION)
    with tempfile.TemporaryDirectory(dir=packages / "work") as folder, zipfile.ZipFile(packed) as files:
        files.extractall(folder)
        top = pathlib.Path(folder, packed.stem)
        for place, bits in (("x64", 64), ("x86", 32)):
            for path in itertools.chain(*((top / place).glob(kind) for kind in ("*.dll", "*.exe"))):
                examine(path, bits)
        examine_programs(emulator, (top / "x64").glob("*.exe"))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--emulator", required=True, type=shlex.split, help="what runs the programs")
    parser.add_argument("--packages", type=pathlib.Path, help="what ./package made")
    parser.add_argument("--bits", type=int, choices=MACHINES, help="of the files")
    parser.add_argument("files", nargs="*", type=pathlib.Path)
    options = parser.parse_args()
    for path in options.files:
        examine(path, options.bits)
    examine_programs(options.emulator, (path for path in options.files if path.suffix == ".exe"))
    if options.packages:
        examine_packages(options.emulator, options.packages.resolve())
    print("\n".join(problems) or f"all are of version {VERSION} and as they should be")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
