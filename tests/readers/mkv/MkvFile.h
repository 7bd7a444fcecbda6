#pragma once

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
Bytes Header(std::string_view docType = "matroska");

/// Segment information: 5,400,000 ticks of a millisecond.
Bytes Info();

/// A track entry of Matroska's type `type` with the elements `more`.
Bytes Track(std::uint64_t number, std::uint64_t type, std::string_view codecId, const Bytes& more = {});
inline constexpr std::uint64_t kMatroskaVideo = 1;
inline constexpr std::uint64_t kMatroskaAudio = 2;
inline constexpr std::uint64_t kMatroskaSubtitle = 17;

/// The Video group of a picture size, with the elements of `more` in it.
Bytes Picture(std::uint64_t width, std::uint64_t height, const Bytes& more = {});

/// Header and a segment of these elements.
Bytes Segment(const Bytes& children);

/// A whole file: header, information and one Tracks element with the entries given.
Bytes Film(const Bytes& trackEntries);

/// A film of one track.
Bytes OneTrack(std::uint64_t type, std::string_view codecId, const Bytes& more = {});

/// The payload of a block.
Bytes BlockBytes(std::uint8_t track, std::int16_t ticks, std::uint8_t flags, std::string_view data);

/// A SimpleBlock, of a key frame unless the flags say otherwise.
Bytes Simple(std::uint8_t track, std::int16_t ticks, std::string_view data, std::uint8_t flags = 0x80);

/// A BlockGroup with the elements of `more` behind the block.
Bytes Group(std::uint8_t track, std::int16_t ticks, std::string_view data, const Bytes& more = {});

Bytes Cluster(std::uint64_t time, const Bytes& blocks);

/// Track 1 is video, track 2 audio, with the elements of `audio` and `video` in their entries.
Bytes Tracks(const Bytes& audio = {}, const Bytes& video = {});

/// A whole file of these tracks.
Bytes WithClusters(const Bytes& clusters, const Bytes& audio = {});

/// A cue point that leads to the cluster at `cluster` in the segment.
Bytes CuePoint(std::uint64_t time, std::uint64_t cluster);

/// A film opened by the module, with title 0 selected.
class MkvFile : public OpenedFile {
 public:
  explicit MkvFile(const Bytes& bytes) : OpenedFile(kMkvModule, bytes), m_selected(SetTitle()) {}

  QMFResult Selected() const { return m_selected; }

  QMFResult Ask(std::uint32_t qid, QMFQueryData& data, std::uint32_t index = 0) {
    return Module().GetInfo(Handle(), qid, &data, index);
  }
  /// Asks with `size` bytes of room at `pointer`.
  QMFResult AskInto(std::uint32_t qid, void* pointer, std::uint32_t size, std::uint32_t index = 0);
  QMFResult Set(std::uint32_t qid, std::uint64_t value, std::uint32_t index = 0) {
    return Tell(qid, value, index);
  }
  /// The answers of queries that must succeed; else what no file has: ~0, "(failed)", or a lone 0xEE.
  std::uint64_t Number(std::uint32_t qid, std::uint32_t index = 0, std::uint64_t value = 0) {
    return OpenedFile::Number(qid, index, value).value_or(~std::uint64_t{0});
  }
  std::u16string Text(std::uint32_t qid, std::uint32_t index = 0) {
    return OpenedFile::Text(qid, index).value_or(u"");
  }
  Bytes Answer(std::uint32_t qid, std::uint32_t index = 0);
  /// The result of a query with a large buffer.
  QMFResult ResultOf(std::uint32_t qid, std::uint32_t index = 0);

  /// The record, filled with 0xEE beforehand.
  QMFResult Video(QMFVideoFormat& format, std::uint32_t index = 0);
  QMFResult Audio(QMFAudioFormat& format, std::uint32_t index = 0);

 private:
  const QMFResult m_selected;
};

/// One delivered block, as tests compare it.
struct Got {
  explicit Got(const ReadBlock& block);

  std::uint32_t type;
  std::uint32_t stream;
  std::int64_t time;
  std::int64_t endTime;
  bool key;
  std::string bytes;
  QMFResult result;
};

/// A film all of whose streams are active.
class MkvPlayer : public MkvFile {
 public:
  explicit MkvPlayer(const Bytes& bytes) : MkvFile(bytes) { (void)Start(); }

  Got Next(std::uint32_t capacity = 4096) { return Got(OpenedFile::Next(capacity)); }
  Got NextOf(std::uint32_t type, std::uint32_t stream = 0) { return Got(OpenedFile::NextOf(type, stream)); }
  std::vector<Got> All();
  /// Each with a blank behind it.
  std::string AllBytes();
};

}  // namespace qmf::test
