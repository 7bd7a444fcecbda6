#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <iomanip>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "framework/InfoRecords.h"
#include "framework/QueryIds.h"
#include "readers/mkv/MkvModule.h"
#include "tests/support/EbmlBuilder.h"
#include "tests/support/OpenedFile.h"

namespace qmf::test {

/// The EBML header of an ordinary file, long enough for the probe.
inline Bytes Header(std::string_view docType = "matroska") {
  return Put(E::Ebml, Text(E::DocType, docType) + Void(66));
}

/// Segment information: 5,400,000 ticks of a millisecond.
inline Bytes Info() {
  return Put(E::SegmentInfo, Unsigned(E::TimecodeScale, 1'000'000) + Float(E::Duration, 5'400'000.0));
}

/// A track entry of Matroska's type `type` with the elements `more`.
inline Bytes Track(std::uint64_t number, std::uint64_t type, std::string_view codecId,
                   const Bytes& more = {}) {
  return Put(E::TrackEntry, Unsigned(E::TrackNumber, number) + Text(E::CodecId, codecId) + more +
                                Unsigned(E::TrackType, type));
}
inline constexpr std::uint64_t kMatroskaVideo = 1;
inline constexpr std::uint64_t kMatroskaAudio = 2;
inline constexpr std::uint64_t kMatroskaSubtitle = 17;

/// The Video group of a picture size, with the elements of `more` in it.
inline Bytes Picture(std::uint64_t width, std::uint64_t height, const Bytes& more = {}) {
  return Put(E::Video, Unsigned(E::PixelWidth, width) + Unsigned(E::PixelHeight, height) + more);
}

/// Header and a segment of these elements.
inline Bytes Segment(const Bytes& children) {
  return Header() + Put(E::Segment, children);
}

/// A segment of these information elements only.
inline Bytes WithInfo(const Bytes& children) {
  return Segment(Put(E::SegmentInfo, children));
}

/// A film of one track.
inline Bytes OneTrack(std::uint64_t type, std::string_view codecId, const Bytes& more = {}) {
  return Segment(Info() + Put(E::Tracks, Track(1, type, codecId, more)));
}

/// The payload of a block.
inline Bytes BlockBytes(std::uint8_t track, std::int16_t ticks, std::uint8_t flags, std::string_view data) {
  return BigEndian(0x80U | track, 1) + BigEndian(static_cast<std::uint16_t>(ticks), 2) + BigEndian(flags, 1) +
         Raw(data);
}

/// A SimpleBlock, of a key frame unless the flags say otherwise.
inline Bytes Simple(std::uint8_t track, std::int16_t ticks, std::string_view data,
                    std::uint8_t flags = 0x80) {
  return Put(E::SimpleBlock, BlockBytes(track, ticks, flags, data));
}

inline Bytes Cluster(std::uint64_t time, const Bytes& blocks) {
  return Put(E::Cluster, Unsigned(E::Timecode, time) + blocks);
}

/// Track 1 is video, track 2 audio, with the elements of `audio` and `video` in their entries.
inline Bytes Tracks(const Bytes& audio = {}, const Bytes& video = {}) {
  return Put(E::Tracks, Track(1, kMatroskaVideo, "V_MPEG2", Picture(64, 48) + video) +
                            Track(2, kMatroskaAudio, "A_AC3", audio));
}

/// A whole file of these tracks.
inline Bytes WithClusters(const Bytes& clusters, const Bytes& audio = {}) {
  return Segment(Info() + Tracks(audio) + clusters);
}

/// A cue point that leads to the cluster at `cluster` in the segment.
inline Bytes CuePoint(std::uint64_t time, std::uint64_t cluster) {
  const Bytes positions = Unsigned(E::CueTrack, 1) + Unsigned(E::CueClusterPosition, cluster);
  return Put(E::CuePoint, Unsigned(E::CueTime, time) + Put(E::CueTrackPositions, positions));
}

/// A chapter by its times in milliseconds.
inline Bytes Chapter(std::uint64_t start, std::uint64_t end, const Bytes& more = {}) {
  return Put(E::ChapterAtom, Unsigned(E::ChapterTimeStart, start * 1'000'000) +
                                 Unsigned(E::ChapterTimeEnd, end * 1'000'000) + more);
}

/// An edition with one flag set.
inline Bytes Edition(std::uint64_t uid, Element flag, const Bytes& chapters) {
  return Put(E::EditionEntry, Unsigned(E::EditionUid2, uid) + Unsigned(flag, 1) + chapters);
}

/// A block's bytes, its time and, where that is known, its end, in milliseconds: "bytes@1000-1040 ". Of a
/// block that cannot be read the result's name.
inline std::string Told(const ReadBlock& block) {
  constexpr double kMillisecond = 10'000;
  std::ostringstream told;
  if (block.result == QMF_OK) {
    told << std::setprecision(12) << std::string(block.bytes.begin(), block.bytes.end()) << '@'
         << static_cast<double>(block.time) / kMillisecond;
    if (block.endTime != 0) told << '-' << static_cast<double>(block.endTime) / kMillisecond;
  } else {
    const std::u16string_view name = FindResultCode(block.result)->name;
    told << std::string(name.begin(), name.end());
  }
  return told.str() + ' ';
}

inline std::string Told(const std::vector<ReadBlock>& blocks) {
  std::string told;
  for (const ReadBlock& block : blocks) told += Told(block);
  return told;
}

/// A question and the number that answers it, or the failure.
struct NumberRow {
  std::uint32_t qid;
  std::uint32_t index;
  std::uint64_t number;
  QMFResult result = QMF_OK;
  std::uint64_t asked = 0;  ///< The value that the question brings.
};

/// A film opened by the module, with title 0 selected and all of its streams active.
struct MkvFile : StartedFile {
  explicit MkvFile(const Bytes& bytes) : StartedFile(kMkvModule, bytes) {}

  void Expect(std::initializer_list<NumberRow> rows) {
    for (const NumberRow& row : rows) {
      const auto number = Number(row.qid, row.index, row.asked);
      EXPECT_EQ(number.value_or(row.number), row.number) << std::hex << row.qid << " of " << row.index;
      EXPECT_EQ(Ask(row.qid, row.index, row.asked), row.result) << std::hex << row.qid << " of " << row.index;
    }
  }

  /// The bytes of an answer; of a query that fails a lone 0xEE, which no film has.
  Bytes Answer(std::uint32_t qid, std::uint32_t index = 0) {
    Bytes buffer(4096);
    QMFQueryData data;
    data.size = static_cast<std::uint32_t>(buffer.size());
    data.pointer = buffer.data();
    return Module().GetInfo(Handle(), qid, &data, index) == QMF_OK ? Cut(buffer, data.size) : Bytes{0xEE};
  }

  /// All blocks up to the end of the stream, failures among them.
  std::string All() {
    std::string all;
    for (ReadBlock block = Next(); block.result != QMF_ERR_END_OF_STREAM; block = Next()) all += Told(block);
    return all;
  }
};

}  // namespace qmf::test
