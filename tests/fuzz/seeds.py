#!/usr/bin/env python3
"""Makes the inputs that fuzzing starts from: tiny files by ffmpeg and mkvmerge, and whatever the unit tests build.

Arguments: the folder to write into (a folder a target), and the folder with the test programs of a native build.
"""

import hashlib
import os
import pathlib
import subprocess
import sys
import tempfile

FFMPEG = "ffmpeg -nostdin -v error -y -fflags +bitexact".split()
VIDEO = "-f lavfi -i testsrc2=size=32x32:rate=25:duration=0.24".split()
AUDIO = "-f lavfi -i sine=frequency=440:sample_rate=8000:duration=0.3".split()
H264 = "-c:v libx264 -threads 1 -preset ultrafast -crf 45 -pix_fmt yuv420p -g 3".split()
AAC = "-c:a aac -b:a 8k".split()
BOTH = [*VIDEO, *AUDIO]
SUBTITLES = "1\n00:00:00,000 --> 00:00:00,100\nOne <i>two</i>\n\n2\n00:00:00,120 --> 00:00:00,200\nDrei\nvier\n\n"

# name -> options of ffmpeg.
FILES = {
    "h264-aac.mkv": [*BOTH, *H264, *AAC],
    "live.mkv": [*BOTH, *H264, *AAC, "-live", "1"],
    "mpeg2-mp3.mkv": [*BOTH, "-c:v", "mpeg2video", "-c:a", "libmp3lame"],
    "vp8-vorbis.webm": [*BOTH, "-c:v", "libvpx", "-c:a", "libvorbis"],
    "flac.mkv": [*AUDIO, "-c:a", "flac"],
    "pcm.mkv": [*BOTH, "-c:v", "mpeg4", "-c:a", "pcm_s16le"],
    "mpeg4-mp3.avi": [*BOTH, "-c:v", "mpeg4", "-c:a", "libmp3lame"],
    "h264-pcm.avi": [*BOTH, *H264, "-c:a", "pcm_s16le"],
    "raw.avi": [*BOTH, "-s", "8x8", "-c:v", "rawvideo", "-c:a", "adpcm_ms"],
    "h264-aac.mp4": [*BOTH, *H264, *AAC],
    "fast.mov": [*BOTH, *H264, "-c:a", "pcm_s16le", "-movflags", "+faststart"],
    "fragments.mp4": [*BOTH, *H264, *AAC, "-movflags", "+frag_keyframe+empty_moov+default_base_moof"],
    "mpeg4-ac3.mp4": [*BOTH, "-c:v", "mpeg4", "-c:a", "ac3"],
    "alac.m4a": [*AUDIO, "-c:a", "alac"],
    "plain.h264": [*VIDEO, *H264],
    "fields.h264": [*VIDEO, *"-c:v libx264 -threads 1 -crf 45 -flags +ildct -x264opts tff=1:bframes=2".split()],
    "aud.h264": [*VIDEO, *"-c:v libx264 -threads 1 -crf 45 -x264opts aud=1:nal-hrd=vbr:vbv-maxrate=99:vbv-bufsize=99".split()],
    "plain.aac": [*AUDIO, *AAC],
    "tagged.aac": [*AUDIO, *AAC, "-write_id3v2", "1", "-metadata", "title=t"],
    "six.aac": [*AUDIO, "-ac", "6", *AAC],
}
# Matroska again, by the other common muxer: options behind the name of the file that it takes apart.
MERGED = {
    "lacing.mkv": ["--engage", "lacing_ebml"],
    "zlib.mkv": ["--compression", "-1:zlib"],
    "blocks.mkv": ["--engage", "no_simpleblocks", "--disable-lacing", "--cluster-length", "100ms"],
    "chapters.mkv": ["--chapters", "{chapters}", "--attach-file", "{subtitles}", "--title", "t", "--track-name", "0:n"],
    "subtitles.mkv": ["{subtitles}"],
}
CHAPTERS = "".join(f"CHAPTER0{n}=00:00:00.{n}00\nCHAPTER0{n}NAME=c{n}\n" for n in (0, 1))
# By extension, or by the id of the module that a unit test made the file for.
TARGET_OF = {
    ".webm": "mkv", ".mov": "mp4", ".m4a": "mp4",
    ".10": "avi", ".12": "mkv", ".14": "srt", ".15": "h264", ".16": "mp4", ".17": "aac",
}  # fmt: skip
PATHS = ["k.mkv", "a.avi;t.srt", ";m.mp4;;v.h264;s.aac;", "k.mkv;a.avi;m.mp4;v.h264;s.aac;t.srt;k.mkv;a.avi;m.mp4;v.h264",
         "k.mkv;e.mkv", "http:x;t.srt", "t.srt;t.srt;t.srt;t.srt;t.srt;t.srt;t.srt;t.srt;t.srt;t.srt;t.srt"]  # fmt: skip
WALKERS = {"mkv": 0, "avi": 1, "mp4": 2}
# Of HandlerFuzz.cpp's names.
HANDLERS = {"mkv": 0, "avi": 2, "mp4": 3, "h264": 4, "aac": 5, "srt": 6}


def target_of(name):
    suffix = pathlib.Path(name).suffix
    return TARGET_OF.get(suffix, suffix[1:])


def make_media(folder):
    """Files by name."""
    for name, options in FILES.items():
        subprocess.run([*FFMPEG, *options, folder / name], check=True)
    subtitles, chapters = folder / "lines.srt", folder / "chapters.txt"
    subtitles.write_text(SUBTITLES)
    chapters.write_text(CHAPTERS)
    for name, options in MERGED.items():
        words = [word.format(chapters=chapters, subtitles=subtitles) for word in options]
        source = [folder / "h264-aac.mkv"]
        subprocess.run(["mkvmerge", "-q", "--deterministic", "1", "-o", folder / name, *words, *source], check=True)
    chapters.unlink()
    (folder / "wide.srt").write_text(SUBTITLES.replace("\n", "\r\n"), encoding="utf-16")
    return {path.name: path.read_bytes() for path in folder.iterdir()}


def built_by_tests(folder, programs):
    """The files that unit tests build: (target, bytes)."""
    for program in ("mkv_tests", "avi_tests", "mp4_tests", "es_tests"):
        environment = {**os.environ, "QMF_KEEP_FILES": str(folder)}
        subprocess.run([programs / program], env=environment, stdout=subprocess.DEVNULL, check=False)
    for path in sorted(folder.iterdir()):
        yield target_of(path.name), path.read_bytes()


def stream_units(data):
    """An H.264 stream's units as the streamlib target wants them, and its parameter sets alone."""
    units = [unit.rstrip(b"\0") for unit in data.split(b"\0\0\1") if unit.strip(b"\0")]
    yield b"\2" + b"\xb5".join(units)
    for unit in units[:100]:
        yield b"\3" + unit
    yield b"\0" + data[:400]
    yield b"\1" + data[:400]


def targets_of(target, data):
    """The inputs that one file gives: (target, input)."""
    yield target, data
    if target in HANDLERS:
        yield "handler", bytes([HANDLERS[target]]) + data
    if target in WALKERS:
        yield "walkers", bytes([WALKERS[target]]) + data
    if target == "h264":
        yield from (("streamlib", unit) for unit in stream_units(data))
    if target == "aac":
        yield "streamlib", b"\4" + data[:200]
    at = data.find(b"avcC")
    if at >= 0:
        yield "streamlib", b"\5" + data[at + 4 : at + 100]


def write(out, target, data, longest=1 << 16):
    folder = out / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / hashlib.sha1(data).hexdigest()).write_bytes(data[:longest])


def main():
    out, programs = (pathlib.Path(argument) for argument in sys.argv[1:3])
    with tempfile.TemporaryDirectory() as media, tempfile.TemporaryDirectory() as kept:
        files = [(target_of(name), data) for name, data in sorted(make_media(pathlib.Path(media)).items())]
        files += built_by_tests(pathlib.Path(kept), programs)
    for target, data in dict.fromkeys(files):
        for each in targets_of(target, data):
            write(out, *each)
    for path in PATHS:
        write(out, "path", path.encode())


main()
