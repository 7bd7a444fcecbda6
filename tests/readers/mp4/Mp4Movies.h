#pragma once

#include "readers/mp4/Mp4Module.h"
#include "tests/support/AtomBuilder.h"
#include "tests/support/OpenedFile.h"

namespace qmf::test {

/// Four seconds of video at 25 frames a second.
inline TrackSpec VideoTrack() {
  TrackSpec track;
  track.entry = VideoEntry("avc1", 640, 360);
  return track;
}

/// Four seconds of AAC.
inline TrackSpec AudioTrack(std::uint32_t id = 2) {
  TrackSpec track;
  track.id = id;
  track.handler = "soun";
  track.timescale = 48000;
  track.duration = 192000;
  track.times = {{187, 1024}};
  track.entry = AudioEntry("mp4a", 2, 16, 48000);
  return track;
}

/// 10 frames of 1/25 s in chunks of 4, reordered, every fourth of them a sync sample.
inline TrackSpec ShortVideo() {
  TrackSpec track = VideoTrack();
  track.times = {{10, 512}};
  track.duration = 5120;
  track.offsets = {{2, 512}, {1, 1024}, {7, 0}};
  track.syncSamples = {1, 5, 9};
  track.sizes = {5, 1, 2, 3, 6, 1, 2, 3, 7, 1};
  track.samplesPerChunk = 4;
  return track;
}

/// 8 samples of 1/25 s in chunks of 3.
inline TrackSpec ShortAudio() {
  TrackSpec track = AudioTrack();
  track.times = {{8, 1920}};
  track.duration = 8 * 1920;
  track.uniformSize = 3;
  track.samplesPerChunk = 3;
  return track;
}

inline MovieSpec ShortMovie() {
  MovieSpec spec;
  spec.duration = 400;
  spec.tracks = {ShortVideo(), ShortAudio()};
  return spec;
}

inline Bytes MovieOf(TrackSpec track) {
  MovieSpec spec;
  spec.tracks = {std::move(track)};
  return MakeMovie(spec);
}

/// 'edts' of rows of a duration and a media start.
inline Bytes Edits(std::initializer_list<std::pair<std::uint32_t, std::int32_t>> rows) {
  AtomBuilder atoms;
  atoms.Begin("edts").Begin("elst", 0, 0).U32(static_cast<std::uint32_t>(rows.size()));
  for (const auto& [duration, start] : rows) {
    atoms.U32(duration).U32(static_cast<std::uint32_t>(start)).U32(0x10000);
  }
  return atoms.End().End().Take();
}

}  // namespace qmf::test
