"""Matroska and WebM files, by both common muxers."""

from media import Recipe

BIT_DEPTH = {"System.Audio.SampleSize": (32, "the track's BitDepth, which ffmpeg writes for decoded samples")}
BIT_DEPTH_16 = {"System.Audio.SampleSize": (16, "the track's BitDepth, of a codec that has none")}
NO_VIDEO_KEYS = {
    f"System.Video.Frame{what}": (None, "the codec's row is not flagged") for what in ("Width", "Height", "Rate")
}
MKVMERGE = "mkvmerge -q --deterministic 1 -o {out}"
# Within a lace of up to 8 frames ffmpeg adds the frame duration cut to a tick of a millisecond, we add the whole.
LACED = 80_000
# Packets as the file has them, without the order that ffmpeg's parsers give them.
AS_STORED = "-fflags +noparse+nofillin"
# ffmpeg takes the codec delay (6.5 ms, rounded) off the times of Opus, which we give as the file has them.
OPUS_DELAY = 70_001

RECIPES = [
    Recipe("h264-aac.mkv", "{ffmpeg} {video} {audio} {h264} {aac} {out}", differs=BIT_DEPTH),
    Recipe("h264-aac-mkvmerge.mkv", f"{MKVMERGE} {{dir}}/h264-aac.mkv", differs=BIT_DEPTH, time_slack=LACED),
    Recipe(
        "mpeg4-mp3.mkv",
        "{ffmpeg} {video} {audio} -c:v mpeg4 -threads 1 -c:a libmp3lame {out}",
        differs=BIT_DEPTH_16,
        ffprobe=AS_STORED,
    ),
    Recipe(
        "mpeg2-ac3.mkv",
        "{ffmpeg} {video} {audio} -c:v mpeg2video -threads 1 -c:a ac3 {out}",
        differs=BIT_DEPTH,
        ffprobe=AS_STORED,
    ),
    Recipe(
        "h264-pcm-24fps.mkv",
        "{ffmpeg} -f lavfi -i testsrc2=size=64x48:rate=24000/1001:duration=2 {audio} {h264} -c:a pcm_s16le {out}",
    ),
    Recipe(
        "vfw.mkv",
        "{ffmpeg} {video} -c:v mpeg4 -threads 1 -vtag XVID {dir}/vfw.avi\n" + MKVMERGE + " {dir}/vfw.avi",
        ffprobe=AS_STORED,
    ),
    Recipe(
        "vp9-opus.webm",
        "{ffmpeg} {video} {audio} -c:v libvpx-vp9 -cpu-used 8 -threads 1 -b:v 200k -c:a libopus {out}",
        differs={**NO_VIDEO_KEYS, **BIT_DEPTH_16},
        time_slack=OPUS_DELAY,
        ffprobe=AS_STORED,
    ),
    # Sizes and duration stay unknown.
    Recipe(
        "live.mkv",
        "{ffmpeg} {video} {audio} {h264} {aac} -live 1 {out}",
        differs={**BIT_DEPTH, "System.Media.Duration": (0, "no Duration element")},
    ),
    Recipe(
        "zlib.mkv",
        f"{MKVMERGE} --compression 0:zlib --compression 1:zlib {{dir}}/h264-aac.mkv",
        differs=BIT_DEPTH,
        time_slack=LACED,
    ),
    Recipe(
        "stripped.mkv",
        f"{MKVMERGE} --compression 0:mpeg4_p2 {{dir}}/mpeg4-mp3.mkv",
        differs=BIT_DEPTH_16,
        time_slack=LACED,
        ffprobe=AS_STORED,
    ),
    *(
        Recipe(
            f"{lacing}-lacing.mkv",
            f"{MKVMERGE} --engage lacing_{lacing} {{dir}}/h264-aac.mkv",
            differs=BIT_DEPTH,
            time_slack=LACED,
        )
        for lacing in ("xiph", "ebml")
    ),
    Recipe(
        "no-simpleblocks.mkv",
        f"{MKVMERGE} --engage no_simpleblocks --disable-lacing --no-cues --cluster-length 200ms {{dir}}/h264-aac.mkv",
        differs=BIT_DEPTH,
    ),
    Recipe(
        "cut.mkv",
        "cp {dir}/h264-aac-mkvmerge.mkv {out}\ntruncate -s 30000 {out}",
        differs=BIT_DEPTH,
        time_slack=LACED,
    ),
    Recipe(
        "ntsc-flac96k.mkv",
        "{ffmpeg} -f lavfi -i testsrc2=size=320x180:rate=30000/1001:duration=1 -f lavfi -i"
        " sine=sample_rate=96000:duration=1 {h264} -c:a flac {out}",
        packets=False,
    ),
]
