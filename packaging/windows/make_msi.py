#!/usr/bin/env python3
"""Makes the set-up: the installer's own tables write what regsvr32 would, and put back what that displaced."""

import argparse
import itertools
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
HANDLERS = r"Software\Microsoft\Windows\CurrentVersion\PropertySystem\PropertyHandlers"
ASSOCIATIONS = r"Software\Classes\SystemFileAssociations"
# Of the classes these alone stand in each view; programs of either bitness see the others.
CLASSES = "Software\\Classes\\"
OF_EACH_VIEW = tuple(CLASSES + kind + "\\" for kind in ("AppID", "CLSID", "Interface"))
DISPLACED = r"Software\Qivo\PropertyHandler\Displaced"
# Of the registry locator: the value as it stands, in the 64-bit view.
RAW, WIDE = 2, 16
YES = {True: "yes", False: "no"}


def literal(text):
    """Text of a formatted column that stands for itself."""
    return "".join(f"[\\{character}]" if character in "[]{}" else character for character in text)


def value_row(row_id, key, name, text, key_path=False):
    named = f" Name={quoteattr(literal(name))}" if name else ""
    return (
        f"<RegistryValue Id={quoteattr(row_id)} Root='HKLM' Key={quoteattr(literal(key))}{named} "
        f"Type='string' Value={quoteattr(text)} KeyPath='{YES[key_path]}'/>"
    )


def registration(bits):
    for number, (key, name, text) in enumerate(registry_rows.all_rows()):
        if bits == 32 and key.startswith(CLASSES) and not key.startswith(OF_EACH_VIEW):
            continue
        value = f"[#Library{bits}]" if text == "%MODULE%" else literal(text)
        yield value_row(f"Row{bits}_{number}", key, name, value)


def step(action, place, condition):
    return f"<Custom Action='{action}' Sequence='{place}'>{condition}</Custom>"


class Value:
    """A value that registration overwrites, as the properties of the set-up know it: found at every run, and kept while
    ours stands."""

    def __init__(self, number, name):
        self.number, self.name = number, name
        self.current, self.kept, self.previous = f"CURRENT{number}", f"KEPT{number}", f"PREVIOUS{number}"

    def actions(self):
        for found in (self.current, self.kept):
            yield f"<CustomAction Id='Take{found}' Property='{self.previous}' Value='[{found}]'/>"

    def sequence(self, ours):
        yield step(f"Take{self.current}", 110 + self.number, f"NOT ({ours})")
        yield step(f"Take{self.kept}", 310 + self.number, ours)


class Displaced:
    """A key with such values. No table writes on removal, and a command line cannot hold every text: Windows' own tool
    copies the key aside before ours is removed, and back after."""

    def __init__(self, number, bits, key, values):
        self.number, self.bits, self.key, self.values = number, bits, key, values
        self.extension = key.rsplit("\\", 1)[1]
        folder = "PropertyHandlers" if key.startswith(HANDLERS) else "SystemFileAssociations"
        self.kept_key = rf"{DISPLACED}\{folder}\{self.extension}"

    def searches(self):
        kind = RAW + (WIDE if self.bits == 64 else 0)
        for value in self.values:
            yield value.current, self.key, value.name, kind
            yield value.kept, self.kept_key, value.name, kind

    def components(self):
        """One for each value, since there may have been some of them."""
        for value in self.values:
            row = value_row(f"Row{value.previous}", self.kept_key, value.name, f"[{value.previous}]", key_path=True)
            identity = uuid.uuid5(NAMES, f"kept {self.bits} {self.kept_key} {value.name}")
            yield (
                f"<Component Id='Kept{value.number}' Guid='{{{str(identity).upper()}}}' "
                f"Win64='{YES[self.bits == 64]}'>{row}</Component>"
            )

    def copies(self):
        """(action, arguments of the tool)"""
        view = "" if self.bits == 64 else r"\Wow6432Node"
        live, kept = (key.replace("Software", r"HKLM\Software" + view, 1) for key in (self.key, self.kept_key))
        aside = kept.replace(r"Qivo\PropertyHandler\Displaced", "QivoPutBack")
        return {
            f"AsideCurrent{self.number}": f'copy "{live}" "{aside}" /f',
            f"AsideKept{self.number}": f'copy "{kept}" "{aside}" /f',
            f"PutBack{self.number}": f'copy "{aside}" "{live}" /f',
        }

    def actions(self):
        for value in self.values:
            yield from value.actions()
        for action, command in self.copies().items():
            yield tool_action(action, command)

    def sequence(self, handler):
        # Who holds the extension holds its other values too.
        ours = f'{handler} ~= "{registry_rows.CLASS}"'
        for value in self.values:
            yield from value.sequence(ours)
        current, kept, back = self.copies()
        # Around RemoveRegistryValues.
        yield step(current, 2550 + self.number, f'REMOVE="ALL" AND NOT ({ours})')
        yield step(kept, 2570 + self.number, f'REMOVE="ALL" AND {ours}')
        yield step(back, 2610 + self.number, 'REMOVE="ALL"')


def tool_action(action, command):
    return (
        f"<CustomAction Id='{action}' Property='REGISTRYTOOL' ExeCommand={quoteattr(command)} "
        "Execute='deferred' Impersonate='no' Return='ignore'/>"
    )


def displaced():
    names = {}
    for key, name, _ in registry_rows.all_rows():
        if key.startswith((HANDLERS, ASSOCIATIONS)):
            names.setdefault(key, []).append(name)
    # The two views share the associations.
    places = [(bits, key) for key in names for bits in ((64, 32) if key.startswith(HANDLERS) else (64,))]
    numbers = itertools.count()
    return [
        Displaced(at, bits, key, [Value(next(numbers), name) for name in names[key]])
        for at, (bits, key) in enumerate(places)
    ]


def filled(frame, words):
    for name, text in words.items():
        frame = frame.replace(f"@{name}@", text)
    return frame


def queries(places, version):
    """What wixl has no words for: searches for default values, conditions of components, versions of files. And where it
    puts the removal of older versions, which depends on what else there is: right behind InstallValidate."""
    for property_name, key, name, kind in (search for at in places for search in at.searches()):
        columns = "`Signature_`, `Root`, `Key`, `Type`" + (", `Name`" if name else "")
        texts = f"'{property_name}', 2, '{key}', {kind}" + (f", '{name}'" if name else "")
        yield f"INSERT INTO `RegLocator` ({columns}) VALUES ({texts})"
        yield f"INSERT INTO `AppSearch` (`Property`, `Signature_`) VALUES ('{property_name}', '{property_name}')"
    for value in (value for at in places for value in at.values):
        yield f"UPDATE `Component` SET `Condition` = '{value.previous}' WHERE `Component` = 'Kept{value.number}'"
    yield "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('AppSearch', 50)"
    yield "UPDATE `InstallExecuteSequence` SET `Sequence` = 1401 WHERE `Action` = 'RemoveExistingProducts'"
    for file in ("Library64", "Library32", "Qmfinfo", "Shellprops64", "Shellprops32"):
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

    places = displaced()
    handlers = {(at.bits, at.extension): at.values[0].current for at in places if at.key.startswith(HANDLERS)}
    words = {
        "product": "{" + str(uuid.uuid5(NAMES, "product " + options.version)).upper() + "}",
        "class": literal(registry_rows.CLASS),
        "version": options.version,
        "rows64": "\n".join(registration(64)),
        "rows32": "\n".join(registration(32)),
        "kept": "\n".join(component for at in places for component in at.components()),
        "refs": "\n".join(f"<ComponentRef Id='Kept{value.number}'/>" for at in places for value in at.values),
        "actions": "\n".join(action for at in places for action in at.actions()),
        "sequence": "\n".join(line for at in places for line in at.sequence(handlers[at.bits, at.extension])),
    }
    output = options.output.resolve()
    output.unlink(missing_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "set-up.wxs")
        source.write_text(filled(FRAME.read_text(encoding="utf-8"), words), encoding="utf-8")
        run(options.epoch, options.stage, "wixl", "-a", "x64", "-o", output, source)
    package = "{" + str(uuid.uuid5(NAMES, f"package {options.version} {options.commit}")).upper() + "}"
    run(options.epoch, options.stage, "msibuild", output, "-q", *queries(places, options.version),
        "-s", "Qivo Property Handler", "Qivo", "x64;1033", package)


if __name__ == "__main__":
    sys.exit(main())
