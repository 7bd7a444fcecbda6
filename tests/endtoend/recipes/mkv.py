"""Matroska files, by both common muxers."""

from media import Recipe

BIT_DEPTH = {"System.Audio.SampleSize": (32, "the track's BitDepth, which ffmpeg writes for AAC too")}

RECIPES = [
    Recipe("h264-aac.mkv", "{ffmpeg} {video} {audio} {h264} {aac} {out}", differs=BIT_DEPTH, packets=False),
    Recipe(
        "h264-aac-mkvmerge.mkv",
        "mkvmerge -q --deterministic 1 -o {out} {dir}/h264-aac.mkv",
        differs=BIT_DEPTH,
        packets=False,
    ),
    Recipe(
        "ntsc-flac96k.mkv",
        "{ffmpeg} -f lavfi -i testsrc2=size=320x180:rate=30000/1001:duration=1 -f lavfi -i"
        " sine=sample_rate=96000:duration=1 {h264} -c:a flac {out}",
        packets=False,
    ),
]
