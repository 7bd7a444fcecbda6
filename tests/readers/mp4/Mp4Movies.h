#pragma once

#include <algorithm>

#include "readers/mp4/Mp4Module.h"
#include "tests/support/AtomBuilder.h"
#include "tests/support/OpenedFile.h"

namespace qmf::test {

constexpr std::int64_t kMillisecond = 10'000;

/// Four seconds of video at 25 frames a second.
inline TrackSpec VideoTrack() {
  return {.entry = VideoEntry("avc1", 640, 360)};
}

/// Four seconds of AAC.
inline TrackSpec AudioTrack(std::uint32_t id = 2) {
  return {.id = id,
          .handler = "soun",
          .timescale = 48000,
          .duration = 192000,
          .entry = AudioEntry("mp4a", 2, 16, 48000),
          .times = {{187, 1024}}};
}

/// 10 frames of 1/25 s in chunks of 4, reordered, every fourth of them a sync sample.
inline TrackSpec ShortVideo() {
  return {.duration = 5120,
          .entry = VideoEntry("avc1", 640, 360),
          .times = {{10, 512}},
          .offsets = {{2, 512}, {1, 1024}, {7, 0}},
          .syncSamples = {1, 5, 9},
          .sizes = {5, 1, 2, 3, 6, 1, 2, 3, 7, 1},
          .chunks = {4}};
}

/// 8 samples of 1/25 s in chunks of 3.
inline TrackSpec ShortAudio() {
  TrackSpec track = AudioTrack();
  track.times = {{8, 1920}};
  track.duration = 8 * 1920;
  track.uniformSize = 3;
  track.chunks = {3};
  return track;
}

inline MovieSpec ShortMovie() {
  return {.duration = 400, .tracks = {ShortVideo(), ShortAudio()}};
}

inline Bytes MovieOf(const TrackSpec& track) {
  return MakeMovie({.tracks = {track}});
}

/// 'edts' of rows of a duration and a media start.
inline Bytes Edits(std::initializer_list<std::pair<std::uint32_t, std::int32_t>> rows) {
  AtomBuilder atoms;
  atoms.Begin("edts").Begin("elst", 0, 0).U32(rows.size());
  for (const auto& [duration, start] : rows) atoms.U32(duration, start, 0x10000);
  return atoms.Take();
}

/// A sound entry of QuickTime's version 1 or 2, whose `fields` follow those of version 0.
inline Bytes QuickTimeSound(std::string_view type, std::uint32_t version, const Bytes& fields) {
  AtomBuilder atoms;
  atoms.Begin(type).Zeros(6).U16(1, version).Zeros(6).U16(2, 16, 0xFFFE, 0).U32(48000U << 16);
  return atoms.Raw(fields).Take();
}

/// Where the first atom of that type has its payload, to be changed.
inline std::uint8_t* PayloadOf(Bytes& file, std::string_view type) {
  return file.data() + (std::search(file.begin(), file.end(), type.begin(), type.end()) - file.begin()) + 4;
}

/// A letter a block: sync samples of video, others, sound.
inline std::string OrderOf(const std::vector<ReadBlock>& blocks) {
  std::string order;
  for (const ReadBlock& read : blocks)
    order += read.blockType == kBlockVideo ? (read.key == QMFBlock::kKey ? 'K' : 'v') : 'a';
  return order;
}

inline Bytes ContentOf(const std::vector<ReadBlock>& blocks) {
  Bytes all;
  for (const ReadBlock& read : blocks) all += read.bytes;
  return all;
}

}  // namespace qmf::test
