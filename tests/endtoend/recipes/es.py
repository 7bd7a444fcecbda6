"""Elementary streams and text subtitles."""

from media import Recipe

COUNTED = "every picture and frame is counted, where the peer estimates or stays silent"
CROP_UNIT = "crop offsets count two pixels whatever the chroma format, and are taken off before fields double the height"
FIELD_RATE = "without adaptive coding the rate of an interlaced stream counts fields"


def duration(units):
    return {"System.Media.Duration": (units, COUNTED)}


def h264(name, options, size="176x144", frames=30, differs=None, pix_fmt="yuv420p", rate="25"):
    """A stream of `frames` pictures; times in raw streams are the peer's guess and not compared."""
    numerator, _, denominator = rate.partition("/")
    units = frames * int(denominator or 1) * 10_000_000 // int(numerator)
    return Recipe(
        f"{name}.h264",
        f"{{ffmpeg}} -f lavfi -i testsrc2=size={size}:rate={rate} -frames:v {frames}"
        f" -c:v libx264 -threads 1 -preset veryfast -pix_fmt {pix_fmt} -flags:v +bitexact {options} {{out}}",
        time="none",
        differs={**duration(units), **(differs or {})},
    )


def size(width, height):
    return {
        key: (value, CROP_UNIT)
        for key, value in (("System.Video.FrameWidth", width), ("System.Video.FrameHeight", height))
        if value is not None
    }


def params(text):
    return f"-x264-params {text}"


def aac(name, options, units, rate=48000, channels=2, differs=None):
    return Recipe(
        f"{name}.aac",
        f"{{ffmpeg}} -f lavfi -i sine=frequency=440:sample_rate={rate}:duration=2 -ac {channels}"
        f" {{aac}} {options} {{out}}",
        time="dts",
        differs={**duration(units), **(differs or {})},
    )


H264 = [
    h264("baseline", "-profile:v baseline"),
    h264("main", "-profile:v main -bf 3"),
    h264("high", "-profile:v high -g 10 -bf 2"),
    h264("high10", "-profile:v high10", pix_fmt="yuv420p10le"),
    h264("high422", "-profile:v high422", pix_fmt="yuv422p"),
    h264("high422-10", "-profile:v high422", pix_fmt="yuv422p10le"),
    h264("high444", "-profile:v high444", pix_fmt="yuv444p"),
    h264("high444-10", "-profile:v high444", pix_fmt="yuv444p10le"),
    h264("gray", "", pix_fmt="gray"),
    h264("lossless", "-qp 0"),
    h264("intra", params("keyint=1")),
    h264("open-gop", params("open-gop=1:keyint=10:min-keyint=5:bframes=3:scenecut=0")),
    h264("intra-refresh", params("intra-refresh=1:keyint=20")),
    h264("tff", params("tff=1")),
    h264("bff-slices", params("bff=1:slices=4")),
    h264("fake-interlaced", params("fake-interlaced=1"),
         differs={"System.Video.FrameRate": (50000, FIELD_RATE)}),
    h264("slices", params("slices=4")),
    h264("delimiters", params("aud=1:repeat-headers=1:keyint=5")),
    h264("hrd", "-b:v 300k " + params("nal-hrd=cbr:vbv-maxrate=300:vbv-bufsize=300:filler=1")),
    h264("pic-struct", params("pic-struct=1")),
    h264("vui", params("overscan=show:videoformat=pal:fullrange=on:colorprim=bt709:transfer=bt709"
                       ":colormatrix=bt709:chromaloc=2")),
    h264("ntsc", "", rate="30000/1001"),
    h264("crop", "", size="178x146"),
    h264("crop-tff", params("tff=1"), size="178x148"),
    h264("crop-422", "", size="178x146", pix_fmt="yuv422p", differs=size(None, 132)),
    h264("crop-444", "", size="175x145", pix_fmt="yuv444p", differs=size(172, None)),
    h264("full-hd", "", size="1920x1080", frames=5),
    h264("full-hd-tff", params("tff=1"), size="1920x1080", frames=5),
    *(h264(f"aspect-{w}-{h}", f"-vf setsar={w}/{h}", frames=3) for w, h in
      ((1, 1), (12, 11), (10, 11), (16, 11), (40, 33), (24, 11), (20, 11), (32, 11), (80, 33), (18, 11), (15, 11),
       (64, 33), (4, 3), (3, 2), (2, 1))),
]

RECIPES = [
    Recipe("plain.h264", "{ffmpeg} {video} {h264} {out}", time="none", differs=duration(20000000)),
    *H264,
    Recipe("plain.aac", "{ffmpeg} {audio} {aac} {out}", time="dts", differs=duration(20266666)),
    aac("mono-22050", "", 20897959, rate=22050, channels=1),
    aac("tagged", "-write_id3v2 1 -metadata title=x", 20266666),
    *(Recipe(f"{name}.srt", f"{{write_srt}} {name} {{out}}", differs=duration(36020000000))
      for name in ("lf", "crlf", "blank-runs", "utf8-mark", "utf16-le", "utf16-be")),
]
