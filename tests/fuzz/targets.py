"""The fuzz targets, and where they keep what they find."""

import pathlib
import subprocess

HERE = pathlib.Path(__file__).parent
ROOT = HERE.parents[1]
RUNS = ROOT / "build" / "fuzz-runs"
TARGETS = ("mkv", "avi", "mp4", "h264", "aac", "srt", "handler", "path", "streamlib", "walkers")


def run(*command, **options):
    return subprocess.run(command, check=True, cwd=ROOT, **{"stdout": subprocess.DEVNULL, **options})


def build(preset, targets):
    """The programs of the targets, by name."""
    programs = {target: ROOT / "build" / preset / "bin" / f"fuzz_{target}" for target in targets}
    run("cmake", "--preset", preset)
    run("cmake", "--build", "--preset", preset, "--target", *(program.name for program in programs.values()))
    return programs


def folders_of(target):
    """Where inputs of the target lie; the first takes new ones."""
    found = RUNS / "corpus" / target
    found.mkdir(parents=True, exist_ok=True)
    return [folder for folder in (found, RUNS / "seeds" / target, HERE / "corpus" / target) if folder.exists()]
