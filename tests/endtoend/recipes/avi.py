"""AVI files of one muxer, whole, cut off, and with their index missing or wrong."""

from media import Recipe

# Blocks as the file has them, without the order and times that ffmpeg's parsers give them.
AS_STORED = "-fflags +noparse"
# ffmpeg's duration is that of the longest stream, ours that of the video.
AC3 = {
    "System.Media.Duration": (20_000_000, "the length of the video, which audio outlasts"),
    "System.Audio.SampleSize": (16, "the WAVEFORMATEX says so, of a codec that has none"),
}
# A title without an index is selected with a warning, and the Shell takes nothing but success.
NO_INDEX = {
    f"System.{name}": (None, "the file has no index")
    for name in (
        "Media.Duration",
        "Video.FrameWidth",
        "Video.FrameHeight",
        "Video.FrameRate",
        "Audio.ChannelCount",
        "Audio.SampleRate",
        "Audio.SampleSize",
    )
}


def avi(name, inputs_and_codecs, **compared):
    return Recipe(name, "{ffmpeg} " + inputs_and_codecs + " {out}", time="dts", ffprobe=AS_STORED, **compared)


def edited(how, source, **compared):
    name = f"{source.removesuffix('.avi')}-{how}.avi"
    return Recipe(name, f"{{edit_avi}} {how} {{dir}}/{source} {{out}}", time="dts", ffprobe=AS_STORED, **compared)


RECIPES = [
    avi("mpeg4-pcm.avi", "{video} {audio} -c:v mpeg4 -g 12 -threads 1 -c:a pcm_s16le"),
    avi("h264-ac3.avi", "{video} {audio} {h264} -g 20 -c:a ac3", differs=AC3),
    avi("mjpeg-mp3.avi", "{video} {audio} -c:v mjpeg -threads 1 -c:a libmp3lame"),
    avi("mpeg4-mp3.qivo", "{video} {audio} -c:v mpeg4 -threads 1 -c:a libmp3lame -f avi"),
    avi(
        "two-sounds.avi",
        "{video} {audio} {audio} -map 0 -map 1 -map 2 -c:v huffyuv -threads 1 -c:a:0 libmp3lame -c:a:1 pcm_u8",
    ),
    avi("sound-only.avi", "{audio} -c:a libmp3lame"),
    # Frames that are left out of the file are chunks of no bytes.
    avi(
        "gaps.avi",
        "-f lavfi -i testsrc2=size=320x180:rate=25:duration=2,select='not(between(n\\,20\\,30))' {audio}"
        " -vsync vfr -c:v mpeg4 -threads 1 -c:a libmp3lame",
    ),
    avi(
        "open-dml.avi",
        "{video} {audio} -c:v mpeg4 -threads 1 -c:a pcm_s16le -reserve_index_space 4096 -write_channel_mask 1",
    ),
    edited("legacy-index", "mpeg4-pcm.avi"),
    edited("absolute-index", "mpeg4-pcm.avi"),
    edited("wrong-index", "h264-ac3.avi", differs=AC3),
    edited("no-index", "mpeg4-pcm.avi", differs=NO_INDEX),
    edited("no-index", "h264-ac3.avi", differs=NO_INDEX),
    *(edited(f"cut-{part}", "mjpeg-mp3.avi", differs=NO_INDEX) for part in (3, 17, 41, 68, 99)),
    *(edited(f"cut-{part}", "h264-ac3.avi", differs=NO_INDEX) for part in (29, 83)),
    *(edited(f"damage-{part}", "mjpeg-mp3.avi") for part in (10, 55, 90)),
    edited("damage-30", "h264-ac3.avi", differs=AC3),
    *(
        avi(
            f"rate-{rate.replace('/', '-')}.avi",
            f"-f lavfi -i testsrc2=size=64x48:rate={rate}:duration=3 -c:v mpeg4 -threads 1",
        )
        for rate in "24000/1001 24 25 30000/1001 30 48 50 60000/1001 60 100 120000/1001 120".split()
    ),
]
