#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {

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
class MkvPlayer {
 public:
  explicit MkvPlayer(const EbmlBuilder& file) : m_file(file) { (void)m_file.Start(); }

  MkvFile& File() { return m_file; }
  QMFResult Activate(std::uint32_t type, std::uint32_t stream, std::uint32_t active) {
    return m_file.Activate(type, stream, active != 0);
  }
  QMFResult Seek(std::uint32_t type, std::int64_t& time) {
    return m_file.Module().SetPosition(m_file.Handle(), type, 0, &time);
  }
  QMFResult Set(std::uint32_t qid, std::uint64_t value) { return m_file.Set(qid, value); }

  Got Next(std::uint32_t capacity = 4096) { return Got(m_file.Next(capacity)); }
  Got NextOf(std::uint32_t type, std::uint32_t stream) { return Got(m_file.NextOf(type, stream)); }
  std::vector<Got> All();
  /// Each with a blank behind it.
  std::string AllBytes();

 private:
  MkvFile m_file;
};

/// The payload of a block.
EbmlBuilder::Bytes BlockBytes(std::uint8_t track, std::int16_t ticks, std::uint8_t flags,
                              std::string_view data);

/// A SimpleBlock, of a key frame unless the flags say otherwise.
EbmlBuilder Simple(std::uint8_t track, std::int16_t ticks, std::string_view data, std::uint8_t flags = 0x80);

/// A BlockGroup with the elements of `more` behind the block.
EbmlBuilder Group(std::uint8_t track, std::int16_t ticks, std::string_view data,
                  const EbmlBuilder& more = {});

EbmlBuilder ClusterChildren(std::uint64_t time, const std::vector<EbmlBuilder>& blocks);
EbmlBuilder Cluster(std::uint64_t time, const std::vector<EbmlBuilder>& blocks);

/// Track 1 is video, track 2 audio, with the elements of `audio` and `video` in their entries.
EbmlBuilder Tracks(const EbmlBuilder& audio = {}, const EbmlBuilder& video = {});

/// A whole file of these tracks.
EbmlBuilder WithClusters(const EbmlBuilder& clusters, const EbmlBuilder& audio = {});

}  // namespace qmf::test
