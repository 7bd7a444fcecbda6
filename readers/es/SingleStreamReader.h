#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "framework/FileReader.h"
#include "framework/InfoRecords.h"
#include "framework/QueryIds.h"
#include "framework/ResultCodes.h"

namespace qmf {

/// What the readers of elementary streams share: a file of one title with one stream.
class SingleStreamReader {
 public:
  /// Title 0 only: QMF_ERR_INVALID_TITLE_INDEX. Reading starts over.
  QMFResult SetTitle(std::uint32_t titleIndex);
  QMFResult SetTitleActiveStream(std::uint32_t blockType, std::uint32_t stream, std::uint32_t active);
  /// The next block while the stream is active, else QMF_ERR_END_OF_STREAM.
  QMFResult ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                          std::int64_t& time);
  QMFResult ReadNextBlockByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block,
                                  std::int64_t& time);
  /// To the last block at or before `time` from which reading can start, or to the first block.
  QMFResult SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time);

 protected:
  SingleStreamReader(QMFStreamKind kind, QMFAllocator* memory) : m_memory(memory), m_kind(kind) {}
  virtual ~SingleStreamReader() = default;

  QMFResult OpenFile(const char16_t* path) { return FileReader::Open(path, m_memory, m_file); }
  FileReader& File() { return *m_file; }

  /// Counts of titles and streams; nothing for any other query.
  std::optional<QMFResult> AnswerCounts(std::uint32_t qid, QMFQueryData& data) const;

  /// Copies `size` bytes of the file into the block, or says what it needs.
  QMFResult DeliverFromFile(std::uint64_t offset, std::uint64_t size, QMFBlock& block);

 private:
  /// Fills `block`, its times included, and steps on; a block that does not fit stays the next one.
  virtual QMFResult ReadBlock(QMFBlock& block) = 0;
  virtual QMFResult Seek(std::int64_t& time) = 0;
  virtual void Rewind() = 0;

  bool IsOurs(std::uint32_t blockType, std::uint32_t stream) const;

  QMFAllocator* const m_memory;
  const QMFStreamKind m_kind;
  bool m_active = false;
  std::shared_ptr<FileReader> m_file;
};

}  // namespace qmf
