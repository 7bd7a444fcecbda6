"""Makes the files that are measured, once, by ffmpeg and by hand."""

import pathlib
import shlex
import struct
import subprocess

# One command each; {name} stands for a file made before. Longer files repeat the short one without encoding it anew.
FILMS = {
    "film.mp4": "-f lavfi -i testsrc2=d=60:s=640x360:r=25 -f lavfi -i sine=d=60:r=48000 -c:v libx264 -preset veryfast"
    " -pix_fmt yuv420p -g 50 -c:a aac -ac 2 -movflags +faststart",
    "film-moov-behind.mp4": "-i {film.mp4} -c copy",
    "film.mkv": "-i {film.mp4} -c copy",
    "film.avi": "-i {film.mp4} -c:v mpeg4 -q:v 4 -c:a ac3",
    "film.264": "-i {film.mp4} -an -c copy -f h264",
    "film.aac": "-i {film.mp4} -vn -c copy -f adts",
    "small.mkv": "-i {film.mp4} -t 0.2 -c copy",
    "small.avi": "-i {film.avi} -t 0.2 -c copy",
    "small.mp4": "-i {film.mp4} -t 0.2 -c copy",
    "small.264": "-i {film.264} -t 0.2 -c copy -f h264",
    "small.aac": "-i {film.aac} -t 0.2 -c copy -f adts",
    "hour.mkv": "-stream_loop 59 -i {film.mkv} -c copy",
    "hour.avi": "-stream_loop 59 -i {film.avi} -c copy",
    "hour.mp4": "-stream_loop 59 -i {film.mp4} -c copy -movflags +faststart",
    "hour.264": "-i {hour.mp4} -an -c copy -f h264",
    "hour.aac": "-stream_loop 59 -i {film.aac} -c copy -f adts",
    "dense.mkv": "-f lavfi -i testsrc2=d=60:s=320x180:r=25 -c:v libx264 -preset ultrafast -g 9 -pix_fmt yuv420p",
    "cues-10000.mkv": "-stream_loop 59 -i {dense.mkv} -c copy",
    "cues-100.mkv": "-i {dense.mkv} -t 36 -c copy",
    "tracks-64.mkv": "-t 5 -i {film.mp4} -map 0:v" + 63 * " -map 0:a" + " -c copy",
    "tracks-64.mp4": "-t 5 -i {film.mp4} -map 0:v" + 63 * " -map 0:a" + " -c copy -movflags +faststart",
    "tracks-8.mkv": "-t 5 -i {film.mp4} -map 0:v" + 7 * " -map 0:a" + " -c copy",
}
# Made only for the section that walks them: pictures of a megabyte, and a film's frames of some kilobytes.
WALKED = {
    "gigabyte-raw.mkv": "-f lavfi -i testsrc2=s=1280x720:r=25:d=30.5 -f lavfi -i sine=d=30.5:r=48000 -c:v rawvideo"
    " -pix_fmt yuv420p -c:a pcm_s16le",
    "gigabyte-film.mkv": "-stream_loop 170 -i {film.mkv} -c copy",
}
GAP = 2 << 30


def put_gap_into_mkv(source, out):
    """A void element of 2 GiB without blocks on the disk, at the end of the segment."""
    data = bytearray(source.read_bytes())
    at = data.index(b"\x18\x53\x80\x67") + 4
    size = int.from_bytes(data[at : at + 8], "big") & ~(0xFF << 56)
    data[at : at + 8] = (1 << 56 | (size + 9 + GAP)).to_bytes(8, "big")
    with open(out, "wb") as file:
        file.write(data + b"\xec" + (1 << 56 | GAP).to_bytes(8, "big"))
        file.truncate(len(data) + 9 + GAP)


def put_gap_into_mp4(source, out):
    """A free box of 2 GiB without blocks on the disk, between the media and the movie behind them."""
    data = source.read_bytes()
    moov = data.rindex(b"moov") - 4
    with open(out, "wb") as file:
        file.write(data[:moov] + struct.pack(">I4sQ", 1, b"free", 16 + GAP))
        file.seek(GAP, 1)
        file.write(data[moov:])


def make_film(name, folder):
    words = shlex.split((FILMS | WALKED)[name])
    words = [str(folder / word[1:-1]) if word.startswith("{") else word for word in words]
    part = folder / ("part-" + name)
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *words, str(part)], check=True)
    part.rename(folder / name)


def make_walked(folder):
    """The long films, made where they are missing; gives the paths by name."""
    for name in WALKED:
        if not (folder / name).exists():
            make_film(name, folder)
    return {name: folder / name for name in WALKED}


def make_all(folder):
    """Makes what is missing in `folder`; gives the paths by name."""
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    for name in FILMS:
        if not (folder / name).exists():
            make_film(name, folder)
    for name, source, make in (
        ("sparse-2GB.mkv", "film.mkv", put_gap_into_mkv),
        ("sparse-2GB.mp4", "film-moov-behind.mp4", put_gap_into_mp4),
    ):
        if not (folder / name).exists():
            make(folder / source, folder / name)
    return {path.name: path for path in sorted(folder.iterdir())}
