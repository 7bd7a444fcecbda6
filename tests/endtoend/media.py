"""Makes the media files that the end-to-end tests read, once a recipe, into the build's own folder."""

import dataclasses
import fcntl
import hashlib
import importlib
import pathlib
import shlex
import subprocess
import sys

# What recipes may write in braces, besides {out} and {dir} (the folder of the media made so far).
SHORTHANDS = {
    "ffmpeg": "ffmpeg -nostdin -v error -y -fflags +bitexact",
    "video": "-f lavfi -i testsrc2=size=320x180:rate=25:duration=2",
    "audio": "-f lavfi -i sine=frequency=440:sample_rate=48000:duration=2",
    # x264 writes its settings, the number of threads among them, into the stream.
    "h264": "-c:v libx264 -threads 1 -preset veryfast -pix_fmt yuv420p -flags:v +bitexact",
    "aac": "-c:a aac -flags:a +bitexact",
    "recipes": str(pathlib.Path(__file__).with_name("recipes")),
    "write_srt": shlex.join([sys.executable, "-B", str(pathlib.Path(__file__).with_name("write_srt.py"))]),
    "edit_avi": shlex.join([sys.executable, "-B", str(pathlib.Path(__file__).with_name("edit_avi.py"))]),
}


@dataclasses.dataclass
class Recipe:
    """One media file: its name, the commands that make it (one a line, without a shell) and what is compared."""

    name: str
    commands: str
    packets: bool = True
    properties: bool = True
    # Which of ffprobe's times a block's time is: "pts" or "dts".
    time: str = "pts"
    # Whether packets of different streams come in the file's order. The peer holds back what it parses itself.
    in_order: bool = True
    # Difference of a block's time, in 100-ns units, from which on it is another time.
    time_slack: int = 1
    # More options for ffprobe, where its view of the file has to be pinned.
    ffprobe: str = ""
    # Where the file plays stretches of files: their names, and begin and end in 100-ns units.
    plays: tuple = ()
    # Whether its chapters are compared with those of the peer.
    chapters: bool = False
    # Properties that differ from the peer's on purpose: name -> (our value or None when left out, the rule).
    differs: dict = dataclasses.field(default_factory=dict)
    # Largest difference of the duration, in 100-ns units, with which both sides still say the same.
    duration_slack: int = 10

    def command_lines(self, folder):
        words = {**SHORTHANDS, "out": shlex.quote(str(folder / self.name)), "dir": shlex.quote(str(folder))}
        for line in self.commands.strip().splitlines():
            yield shlex.split(line.format(**words))


def recipes_of(media_format):
    return importlib.import_module(f"recipes.{media_format}").RECIPES


def make(recipe, folder):
    """Makes the file unless it stands there, made by the same commands. Gives its path."""
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    out = folder / recipe.name
    lines = list(recipe.command_lines(folder))
    stamp = folder / (recipe.name + ".stamp")
    wanted = hashlib.sha256(repr(lines).encode()).hexdigest()
    with open(folder / (recipe.name + ".lock"), "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if out.exists() and stamp.exists() and stamp.read_text(encoding="ascii") == wanted:
            return out
        for line in lines:
            subprocess.run(line, check=True, stdout=subprocess.DEVNULL)
        stamp.write_text(wanted, encoding="ascii")
    return out
