#!/usr/bin/env python3
"""Long life in a host: a million files opened and closed, eight threads under TSan, 20,000 Shell objects under Wine.

    tests/soak/run.py [native] [threads] [wine]
"""

import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).parents[2]
CYCLES = 1_000_000
CYCLES_OF_THREADS = 8 * 20_000
CYCLES_OF_HANDLER = 20_000


def build(preset, *targets):
    for command in (["--preset", preset], ["--build", "--preset", preset, "--target", *targets]):
        subprocess.run(["cmake", *command], check=True, cwd=ROOT, stdout=subprocess.DEVNULL)
    return ROOT / "build" / preset / "bin"


def native():
    subprocess.run([build("release", "soak") / "soak", str(CYCLES), "1"], check=True)


def threads():
    program = build("tsan", "soak") / "soak"
    with tempfile.TemporaryDirectory() as logs:
        environment = {**os.environ, "TSAN_OPTIONS": "halt_on_error=1"}
        subprocess.run([program, str(CYCLES_OF_THREADS), "8", logs], check=True, env=environment)


def wine():
    program = build("windows", "handler_soak") / "handler_soak.exe"
    environment = {**os.environ, "QMF_SOAK_CYCLES": str(CYCLES_OF_HANDLER)}
    subprocess.run([ROOT / "cmake" / "wine", program], check=True, env=environment)


def main():
    kinds = {"native": native, "threads": threads, "wine": wine}
    for name in sys.argv[1:] or kinds:
        kinds[name]()


main()
