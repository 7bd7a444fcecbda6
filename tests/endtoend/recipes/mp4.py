"""MP4, MOV, M4A and 3GP files."""

from media import Recipe

# Coded sound has no sample size; the sample entry says 16 all the same.
ENTRY_BITS = {"System.Audio.SampleSize": (16, "the sample entry's sample size")}
MEDIA = "{ffmpeg} {video} {audio} "

# The edit list counts in milliseconds and says so; the peer counts samples.
AC3 = {"in_order": False, "duration_slack": 10000}


def plain(name, options, **more):
    return Recipe(name, MEDIA + options + " {out}", time="dts", **{"differs": ENTRY_BITS, **more})


def flags(name, movflags, **more):
    return plain(name, "{h264} {aac} -g 20 -movflags " + movflags, **more)


RECIPES = [
    plain("h264-aac.mp4", "{h264} {aac}"),
    flags("faststart.mp4", "faststart"),
    flags("fragmented.mp4", "frag_keyframe"),
    flags("empty-moov.mp4", "frag_keyframe+empty_moov"),
    flags("default-base-moof.mp4", "frag_keyframe+empty_moov+default_base_moof"),
    flags("dash.mp4", "dash+frag_keyframe+empty_moov"),
    flags("one-index.mp4", "frag_keyframe+empty_moov+default_base_moof+global_sidx"),
    flags("implicit-offsets.mp4", "frag_keyframe+empty_moov+omit_tfhd_offset"),
    flags(
        "negative-offsets.mp4",
        "frag_keyframe+empty_moov+negative_cts_offsets",
        differs={**ENTRY_BITS, "System.Media.Duration": (20213333, "where the last sample's duration ends")},
    ),
    # Fragments of the sound stand first; the first frame lasts longer, as the sound begins before it.
    plain(
        "separate-fragments.mp4",
        "-map 1 -map 0 {h264} {aac} -bf 0 -g 20 -movflags separate_moof+frag_keyframe+empty_moov",
        in_order=False,
    ),
    # Fragments that tell no times.
    Recipe(
        "smooth.ismv",
        "{ffmpeg} {video} -f lavfi -i sine=duration=1:sample_rate=48000 {h264} {aac} -bf 0 -g 10 -f ismv {out}",
        time="dts",
        in_order=False,
        differs=ENTRY_BITS,
    ),
    # B-frames with an edit list, and sound that starts later.
    Recipe(
        "edited.mp4",
        "{ffmpeg} {video} -itsoffset 0.5 {audio} {h264} {aac} -bf 3 {out}",
        time="dts",
        differs=ENTRY_BITS,
    ),
    plain(
        "variable.mp4",
        "{h264} {aac} -vf select='not(mod(n\\,3))+lt(n\\,10)' -vsync vfr",
        differs={**ENTRY_BITS, "System.Video.FrameRate": (13000, "the average, not the finest step")},
    ),
    plain("ntsc.mp4", "{h264} {aac} -r 30000/1001"),
    plain("anamorphic.mp4", "{h264} {aac} -aspect 4:3"),
    plain("interlaced.mp4", "{h264} -c:a eac3 -vf setfield=tff -x264opts tff=1", **AC3),
    plain("hevc-ac3.mp4", "-c:v libx265 -x265-params log-level=error:pools=1 -tag:v hvc1 -c:a ac3 -ac 6", **AC3),
    plain("av1-opus.mp4", "-c:v libaom-av1 -cpu-used 8 -c:a libopus"),
    plain("vp9-flac.mp4", "-c:v libvpx-vp9 -deadline realtime -c:a flac -strict -2", differs={}),
    plain("mpeg4-mp3.mp4", "-c:v mpeg4 -c:a libmp3lame -ac 2"),
    plain("h263.3gp", "-c:v h263 -s 176x144 -ar 8000 {aac}"),
    plain("h264-pcm.mov", "{h264} -c:a pcm_s16le", differs={}),
    plain("prores-pcm24.mov", "-c:v prores -c:a pcm_s24be", differs={}),
    plain("mjpeg-float.mov", "-c:v mjpeg -c:a pcm_f32le", differs={}),
    plain("raw-8bit.mov", "-c:v rawvideo -pix_fmt uyvy422 -c:a pcm_u8", differs={}),
    plain("mulaw.mov", "{h264} -c:a pcm_mulaw -ar 8000", differs={}),
    plain("timecode.mov", "{h264} {aac} -timecode 01:00:00:00", packets=False),
    Recipe("sound.m4a", "{ffmpeg} {audio} {aac} {out}", time="dts"),
    Recipe("alac.m4a", "{ffmpeg} {audio} -ar 96000 -c:a alac {out}", time="dts"),
    Recipe("fragmented-sound.m4a", "{ffmpeg} {audio} {aac} -movflags frag_every_frame+empty_moov {out}", time="dts"),
]
