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
SECOND = 10_000_000

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
    # What others engage: headers twice, no seek head, packets as they are.
    *(
        Recipe(f"{hack}.mkv", f"{MKVMERGE} --engage {hack} {{dir}}/h264-aac.mkv", differs=BIT_DEPTH, time_slack=LACED)
        for hack in ("write_headers_twice", "no_meta_seek", "force_passthrough_packetizer")
    ),
    Recipe(
        "uncompressed.mkv",
        f"{MKVMERGE} --compression -1:none {{dir}}/zlib.mkv",
        differs=BIT_DEPTH,
        time_slack=LACED,
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
    # Key frames at every second, no frame out of order, times without rounding.
    Recipe(
        "seconds.mkv",
        "{ffmpeg} {video} {audio} -c:v mpeg2video -g 25 -bf 0 -sc_threshold 1000000000 -threads 1 -c:a pcm_s16le {out}",
        ffprobe=AS_STORED,
    ),
    *(
        Recipe(
            f"split-00{part}.mkv",
            "mkvmerge -q --deterministic 1 --disable-lacing --split 1s --link -o {dir}/split.mkv {dir}/seconds.mkv",
                ffprobe=AS_STORED,
        )
        for part in (1, 2)
    ),
    Recipe(
        "opening.mkv",
        f"{MKVMERGE} --segment-uid 00112233445566778899aabbccddeeff {{dir}}/seconds.mkv",
        time_slack=LACED,
        ffprobe=AS_STORED,
    ),
    # A second of its own, half a second of another file whose sound is laced over the end, another second of its own.
    Recipe(
        "ordered.mkv",
        f"{MKVMERGE} --disable-lacing --chapters {{recipes}}/chapters.xml --attach-file {{dir}}/split-001.mkv"
        " {dir}/seconds.mkv",
        plays=(
            ("ordered.mkv", SECOND, 2 * SECOND),
            ("opening.mkv", 0, SECOND * 52 // 100),
            ("ordered.mkv", 0, SECOND),
        ),
        chapters=True,
        differs={"System.Media.Duration": (25_200_000, "what the ordered chapters play")},
        time_slack=LACED,
        ffprobe=AS_STORED,
    ),
]
