"""Writes a SubRip file: write_srt.py VARIANT OUT."""

import sys

# The peer garbles some characters of UTF-16 (U+00E9, U+1F3AC) and keeps lines of blanks, so there are none.
CUES = [("00:00:01,500", "00:00:03,000", ["Hello", "World"]), ("00:00:04,000", "00:00:04,040", ["5 €"]),
        ("00:59:59,999", "01:00:02,000", ["<i>last</i> one"])]


def text(gap):
    return gap.join("\n".join([str(number), f"{start} --> {end}", *lines])
                    for number, (start, end, lines) in enumerate(CUES, 1))


VARIANTS = {
    "lf": text("\n\n").encode(),
    "crlf": (text("\n\n") + "\n\n").replace("\n", "\r\n").encode(),
    "blank-runs": ("\n\n" + text("\n\n\n\n") + "\n\n\n").encode(),
    "utf8-mark": text("\n\n").encode("utf-8-sig"),
    "utf16-le": ("\ufeff" + text("\n\n")).encode("utf-16-le"),
    "utf16-be": ("\ufeff" + text("\n\n")).encode("utf-16-be"),
}

variant, out = sys.argv[1:]
with open(out, "wb") as file:
    file.write(VARIANTS[variant])
