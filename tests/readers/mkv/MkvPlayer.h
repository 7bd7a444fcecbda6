#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/readers/mkv/MkvFile.h"

namespace qmf::test {

/// One delivered block, as tests compare it.
struct Got {
  std::uint32_t type = 0;
  std::uint32_t stream = 0;
  std::int64_t time = 0;
  std::int64_t endTime = 0;
  bool key = false;
  std::string bytes;
  QMFResult result = QMF_OK;
};

/// A film whose first streams are all active.
class MkvPlayer {
 public:
  explicit MkvPlayer(const EbmlBuilder& file) : m_file(file) {
    for (const std::uint32_t type : {kBlockVideo, kBlockAudio, kBlockSubtitle}) {
      for (std::uint32_t stream = 0; stream < 3; ++stream) (void)Activate(type, stream, 1);
    }
  }

  MkvFile& File() { return m_file; }
  QMFResult Activate(std::uint32_t type, std::uint32_t stream, std::uint32_t active) {
    return Module().SetTitleActiveStream(m_file.Handle(), type, stream, active);
  }
  QMFResult Seek(std::uint32_t type, std::int64_t& time) {
    return Module().SetPosition(m_file.Handle(), type, 0, &time);
  }
  QMFResult Set(std::uint32_t qid, std::uint64_t value) { return m_file.Set(qid, value); }

  Got Next(std::uint32_t capacity = 4096) {
    Got got;
    std::string buffer(capacity, '\0');
    QMFBlock block = Into(buffer);
    got.result = Module().ReadNextBlock(m_file.Handle(), &got.type, &got.stream, &block, &got.time);
    return Filled(got, block, buffer);
  }

  Got NextOf(std::uint32_t type, std::uint32_t stream) {
    Got got;
    got.type = type;
    got.stream = stream;
    std::string buffer(4096, '\0');
    QMFBlock block = Into(buffer);
    got.result = Module().ReadNextBlockByStream(m_file.Handle(), type, stream, &block, &got.time);
    return Filled(got, block, buffer);
  }

  std::vector<Got> All() {
    std::vector<Got> all;
    for (Got got = Next(); got.result == QMF_OK; got = Next()) all.push_back(got);
    return all;
  }

  std::string AllBytes() {
    std::string text;
    for (const Got& got : All()) text += got.bytes + " ";
    return text;
  }

 private:
  static const QMFModuleEntryPoints& Module() { return *kMkvModule.entryPoints; }
  static QMFBlock Into(std::string& buffer) {
    QMFBlock block;
    block.data = reinterpret_cast<std::uint8_t*>(buffer.data());
    block.capacity = static_cast<std::uint32_t>(buffer.size());
    return block;
  }
  static Got Filled(Got got, const QMFBlock& block, const std::string& buffer) {
    EXPECT_LE(block.size, block.capacity);
    got.bytes = buffer.substr(0, block.size);
    got.key = block.key == QMFBlock::kKey;
    got.endTime = block.endTime;
    return got;
  }

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
