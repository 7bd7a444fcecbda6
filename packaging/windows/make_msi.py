#!/usr/bin/env python3
"""Makes the set-up: the installer's own tables write what regsvr32 would, and put back what that displaced."""

import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import uuid
from xml.sax.saxutils import quoteattr

import registry_rows

FRAME = pathlib.Path(__file__).with_name("set-up.wxs")
NAMES = uuid.UUID("0d6b8f7e-5a0b-4d55-8b6e-0c7a7d0c9a11")
EXTENSIONS = (".mkv", ".qivo")
HANDLERS = r"Software\Microsoft\Windows\CurrentVersion\PropertySystem\PropertyHandlers"
ASSOCIATIONS = r"Software\Classes\SystemFileAssociations"
DISPLACED = r"Software\Qivo\PropertyHandler\Displaced"
# Of the registry locator: the value as it stands, in the 64-bit view.
RAW, WIDE = 2, 16


def literal(text):
    """Text of a formatted column that stands for itself."""
    return "".join(f"[\\{character}]" if character in "[]{}" else character for character in text)


def value_row(row_id, key, name, text):
    named = f" Name={quoteattr(literal(name))}" if name else ""
    return f"<RegistryValue Id={quoteattr(row_id)} Root='HKLM' Key={quoteattr(literal(key))}{named} Type='string' Value={quoteattr(text)}/>"


def registration(bits):
    for number, (key, name, text) in enumerate(registry_rows.all_rows()):
        value = f"[#Library{bits}]" if text == "%MODULE%" else literal(text)
        yield value_row(f"Row{bits}_{number}", key, name, value)


def step(action, place, condition):
    return f"<Custom Action='{action}' Sequence='{place}'>{condition}</Custom>"


class Displaced:
    """A value that registration overwrites: found at every run of the set-up, kept while ours stands, put back."""

    def __init__(self, number, bits, key, name):
        self.number, self.bits, self.key, self.name = number, bits, key, name
        self.extension = key.rsplit("\\", 1)[1]
        folder = "PropertyHandlers" if key.startswith(HANDLERS) else "SystemFileAssociations"
        self.kept_key = rf"{DISPLACED}\{folder}\{self.extension}"
        self.current, self.kept, self.previous = f"CURRENT{number}", f"KEPT{number}", f"PREVIOUS{number}"
        self.action = f"PutBack{number}"

    def searches(self):
        kind = RAW + (WIDE if self.bits == 64 else 0)
        return [(self.current, self.key, self.name, kind), (self.kept, self.kept_key, self.name, kind)]

    def row(self):
        return value_row(f"Kept_{self.previous}", self.kept_key, self.name, f"[{self.previous}]")

    def actions(self):
        view = "" if self.bits == 64 else "\\Wow6432Node"
        key = self.key.replace("Software", "HKLM\\Software" + view, 1)
        what = f'/v "{self.name}"' if self.name else "/ve"
        command = f'add "{key}" {what} /d "[{self.previous}]" /f'
        yield f"<CustomAction Id='Take{self.current}' Property='{self.previous}' Value='[{self.current}]'/>"
        yield f"<CustomAction Id='Take{self.kept}' Property='{self.previous}' Value='[{self.kept}]'/>"
        yield (
            f"<CustomAction Id='{self.action}' Property='REGISTRYTOOL' ExeCommand={quoteattr(command)} "
            "Execute='deferred' Impersonate='no' Return='ignore'/>"
        )

    def sequence(self, handler):
        # Who holds the extension holds its other values too.
        ours = f'{handler} ~= "{registry_rows.CLASS}"'
        yield step(f"Take{self.current}", 110 + self.number, f"NOT ({ours})")
        yield step(f"Take{self.kept}", 310 + self.number, ours)
        # Behind RemoveRegistryValues.
        yield step(self.action, 2610 + self.number, f'REMOVE="ALL" AND {self.previous}')


def displaced():
    places = [(bits, rf"{HANDLERS}\{extension}", None) for bits in (64, 32) for extension in EXTENSIONS]
    places += [(64, key, name) for key, name, _ in registry_rows.all_rows() if key.startswith(ASSOCIATIONS)]
    return [Displaced(number, *place) for number, place in enumerate(places)]


def filled(frame, words):
    for name, text in words.items():
        frame = frame.replace(f"@{name}@", text)
    return frame


def queries(values, version):
    """What wixl has no words for: searches for default values, and versions of files."""
    for property_name, key, name, kind in (search for value in values for search in value.searches()):
        columns = "`Signature_`, `Root`, `Key`, `Type`" + (", `Name`" if name else "")
        texts = f"'{property_name}', 2, '{key}', {kind}" + (f", '{name}'" if name else "")
        yield f"INSERT INTO `RegLocator` ({columns}) VALUES ({texts})"
        yield f"INSERT INTO `AppSearch` (`Property`, `Signature_`) VALUES ('{property_name}', '{property_name}')"
    yield "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('AppSearch', 50)"
    for file in ("Library64", "Library32"):
        yield f"UPDATE `File` SET `Version` = '{version}.0' WHERE `File` = '{file}'"
        yield f"DELETE FROM `MsiFileHash` WHERE `File_` = '{file}'"


def run(epoch, folder, *command):
    # The tools write the time of making into every package.
    moment = time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(epoch))
    subprocess.run(["faketime", "-f", moment, *map(str, command)], check=True, cwd=folder,
                   env={**os.environ, "TZ": "UTC"})


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--version", required=True)
    parser.add_argument("--commit", required=True, help="tells one build of a version from another")
    parser.add_argument("--epoch", required=True, type=int, help="the time that the package carries")
    parser.add_argument("--stage", required=True, type=pathlib.Path, help="folder of the files to install")
    parser.add_argument("output", type=pathlib.Path)
    options = parser.parse_args()

    values = displaced()
    handlers = {(value.bits, value.extension): value.current for value in values if value.key.startswith(HANDLERS)}
    sequences = [step for value in values for step in value.sequence(handlers[value.bits, value.extension])]
    rows = {bits: [*registration(bits), *(v.row() for v in values if v.bits == bits)] for bits in (64, 32)}
    words = {
        "product": "{" + str(uuid.uuid5(NAMES, "product " + options.version)).upper() + "}",
        "class": literal(registry_rows.CLASS),
        "version": options.version,
        "rows64": "\n".join(rows[64]),
        "rows32": "\n".join(rows[32]),
        "actions": "\n".join(action for value in values for action in value.actions()),
        "sequence": "\n".join(sequences),
    }
    output = options.output.resolve()
    output.unlink(missing_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "set-up.wxs")
        source.write_text(filled(FRAME.read_text(encoding="utf-8"), words), encoding="utf-8")
        run(options.epoch, options.stage, "wixl", "-a", "x64", "-o", output, source)
    package = "{" + str(uuid.uuid5(NAMES, f"package {options.version} {options.commit}")).upper() + "}"
    run(options.epoch, options.stage, "msibuild", output, "-q", *queries(values, options.version),
        "-s", "Qivo Property Handler", "Qivo", "x64;1033", package)


if __name__ == "__main__":
    sys.exit(main())
