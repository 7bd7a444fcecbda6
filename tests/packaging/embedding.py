#!/usr/bin/env python3
"""Installs the framework, moves it, builds the program of docs/embedding.md against it by each road, and runs it."""

import argparse
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "endtoend"))

import media  # noqa: E402

FILM = media.Recipe(
    name="embedding.mkv", commands="{ffmpeg} {video} {audio} {h264} {aac} -shortest {out}"
)
EXPECTED = r"""duration: 2\.\d{3} s
video 0: 320 x 180, 1000000000/40000000 frames a second
audio 0: 1 channels, 48000 Hz
(block: kind [12], stream 0, 0\.\d{3} s, [1-9]\d* bytes
){10}"""


def run(*command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    if done.returncode:
        sys.exit(f"{shlex.join(map(str, command))}: exit code {done.returncode}\n{done.stdout}")
    return done.stdout


def blocks_of_page():
    page = (ROOT / "docs" / "embedding.md").read_text(encoding="utf-8")
    return {kind: text for kind, text in re.findall(r"^```(\w+)\n(.*?)^```", page, re.MULTILINE | re.DOTALL)}


def by_cmake(folder, installed, film, blocks):
    (folder / "CMakeLists.txt").write_text(blocks["cmake"], encoding="utf-8")
    run("cmake", "-S", folder, "-B", folder / "build", f"-DCMAKE_PREFIX_PATH={installed}", "-DCMAKE_BUILD_TYPE=Release")
    run("cmake", "--build", folder / "build")
    return run(folder / "build" / "film", film)


def by_pkg_config(folder, installed, film, blocks):
    (place,) = installed.rglob("pkgconfig")
    run("sh", "-ec", blocks["sh"], cwd=folder, env={**os.environ, "PKG_CONFIG_PATH": str(place)})
    return run(folder / "film", film)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, type=pathlib.Path, help="the build to install")
    parser.add_argument("--media", required=True, type=pathlib.Path, help="folder of the generated media")
    parser.add_argument("--scratch", required=True, type=pathlib.Path, help="folder that is made anew")
    options = parser.parse_args()
    run("rm", "-rf", options.scratch)
    options.scratch.mkdir(parents=True)
    run("cmake", "--install", options.build, "--prefix", options.scratch / "first")
    installed = (options.scratch / "first").rename(options.scratch / "moved")
    film = media.make(FILM, options.media)
    blocks = blocks_of_page()
    for road in (by_cmake, by_pkg_config):
        folder = options.scratch / road.__name__
        folder.mkdir()
        (folder / "film.cpp").write_text(blocks["cpp"], encoding="utf-8")
        printed = road(folder, installed, film, blocks)
        if not re.fullmatch(EXPECTED, printed):
            sys.exit(f"{road.__name__}: the program printed\n{printed}")
        print(f"{road.__name__}: as expected")


if __name__ == "__main__":
    main()
