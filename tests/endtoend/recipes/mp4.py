"""MP4, MOV and 3GP files."""

from media import Recipe

RECIPES = [
    Recipe("h264-aac.mp4", "{ffmpeg} {video} {audio} {h264} {aac} {out}", time="dts"),
]
