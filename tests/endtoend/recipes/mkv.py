"""Matroska files, by both common muxers."""

from media import Recipe

RECIPES = [
    Recipe("h264-aac.mkv", "{ffmpeg} {video} {audio} {h264} {aac} {out}"),
    Recipe("h264-aac-mkvmerge.mkv", "mkvmerge -q --deterministic 1 -o {out} {dir}/h264-aac.mkv"),
]
