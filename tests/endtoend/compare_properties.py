"""The seven properties that qmfinfo gives beside what ffprobe says, by the rules that the Shell values follow."""

import fractions

import peers


def first(streams, kind):
    return next((stream for stream in streams if stream["codec_type"] == kind), None)


def frame_rate(stream):
    """Whole frames a second times 1000, both in 16 bits."""
    rate = fractions.Fraction(stream["r_frame_rate"])
    return int(rate + fractions.Fraction(1, 2)) * 1000 & 0xFFFF


def expected(path, options=""):
    """What the values would be if both programs understood the file alike; None for those nobody knows."""
    found = peers.ffprobe(path, "-show_streams", "-show_format", options=options)
    video = first(found["streams"], "video")
    audio = first(found["streams"], "audio")
    values = {}
    if "duration" in found["format"]:
        values["System.Media.Duration"] = round(float(found["format"]["duration"]) * peers.UNITS)
    if video is None:
        return values
    values["System.Video.FrameWidth"] = video["width"] & 0xFFFF
    values["System.Video.FrameHeight"] = video["height"] & 0xFFFF
    values["System.Video.FrameRate"] = frame_rate(video)
    if audio is not None:
        values["System.Audio.ChannelCount"] = audio["channels"]
        values["System.Audio.SampleRate"] = int(audio["sample_rate"]) & 0xFFFF
        values["System.Audio.SampleSize"] = audio["bits_per_sample"] or int(audio.get("bits_per_raw_sample", 0))
    return values


def same(name, ours, theirs, slack):
    if name == "System.Media.Duration" and ours is not None and theirs is not None:
        return abs(ours - theirs) <= slack
    return ours == theirs


def compare(qmfinfo, recipe, path):
    """The differences that no rule explains, and rules that no longer explain one, as sentences."""
    theirs = expected(path, recipe.ffprobe)
    ours = qmfinfo.show(path)["properties"]
    found = []
    for name in sorted({*theirs, *ours, *recipe.differs}):
        value = ours.get(name)
        wanted, rule = recipe.differs.get(name, (theirs.get(name), "the peer says so"))
        if not same(name, value, wanted, recipe.duration_slack):
            found.append(f"{name} is {value}, not {wanted}: {rule}")
        if name in recipe.differs and same(name, wanted, theirs.get(name), recipe.duration_slack):
            found.append(f"{name} does not differ from the peer's {wanted}")
    return found
