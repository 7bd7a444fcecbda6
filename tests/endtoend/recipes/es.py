"""Elementary streams."""

from media import Recipe

COUNTED = "every picture and frame is counted, where the peer estimates or stays silent"

RECIPES = [
    Recipe(
        "plain.h264",
        "{ffmpeg} {video} {h264} {out}",
        time="dts",
        differs={"System.Media.Duration": (20000000, COUNTED)},
    ),
    Recipe(
        "plain.aac",
        "{ffmpeg} {audio} {aac} {out}",
        time="dts",
        differs={"System.Media.Duration": (20266666, COUNTED)},
    ),
]
