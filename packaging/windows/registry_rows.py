"""What registration writes, read from the very scripts and definitions that regsvr32 runs."""

import pathlib
import re

HANDLER = pathlib.Path(__file__).resolve().parents[2] / "propertyhandler"
CLASS = "{D8D1CE8C-B1EB-4E95-B63B-1531BA60E992}"
APPLICATION = "{A347EE76-5A4C-4FBE-972C-0F82B947B269}"
INTERFACE = re.search(
    r"\[object, uuid\(([0-9A-F-]+)\).*?\]\s*interface (\w+)",
    (HANDLER / "QivoPropertyHandler.idl").read_text(encoding="utf-8"),
    re.DOTALL,
)
TOKEN = re.compile(r"'((?:[^']|'')*)'|([{}](?=\s)|=|[^\s=']+)")
ROOTS = {"HKCR": r"Software\Classes", "HKLM": None}


def of_script(name):
    """(key below HKEY_LOCAL_MACHINE, value name or None, text) for every value that a registrar script writes."""
    text = (HANDLER / name).read_text(encoding="utf-8").replace("%APPID%", APPLICATION)
    tokens = [quoted or plain for quoted, plain in TOKEN.findall(text)]
    path, last, at = [], None, 0
    while at < len(tokens):
        token = tokens[at]
        at += 1
        if token in ("NoRemove", "ForceRemove"):
            continue
        if token == "{":
            path.append(last)
        elif token == "}":
            path.pop()
        else:
            value = token == "val"
            last = tokens[at] if value else ROOTS[token] if token in ROOTS else token
            at += value
            if tokens[at] == "=":
                key = "\\".join(part for part in [*path, *([] if value else [last])] if part)
                yield key, last if value else None, tokens[at + 2]
                at += 3


def of_proxy():
    """The same for the proxy and stub of our own interface, as the platform's RPC runtime registers them."""
    number, name = "{" + INTERFACE[1] + "}", INTERFACE[2]
    proxy = rf"Software\Classes\CLSID\{number}"
    interface = rf"Software\Classes\Interface\{number}"
    return [
        (proxy, None, "PSFactoryBuffer"),
        (proxy + r"\InProcServer32", None, "%MODULE%"),
        (proxy + r"\InProcServer32", "ThreadingModel", "Both"),
        (interface, None, name),
        (interface + r"\NumMethods", None, "3"),
        (interface + r"\ProxyStubClsid32", None, number),
    ]


def all_rows():
    return [*of_script("AppId.rgs"), *of_script("QivoPropertyHandlerObj.rgs"), *of_proxy()]
