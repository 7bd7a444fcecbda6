"""AVI files."""

from media import Recipe

RECIPES = [
    Recipe("mpeg4-pcm.avi", "{ffmpeg} {video} {audio} -c:v mpeg4 -c:a pcm_s16le {out}", time="dts", packets=False),
]
