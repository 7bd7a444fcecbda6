"""Elementary streams and text subtitles."""

from media import Recipe

RECIPES = [
    Recipe("plain.h264", "{ffmpeg} {video} {h264} {out}", time="dts"),
    Recipe("plain.aac", "{ffmpeg} {audio} {aac} {out}", time="dts"),
]
