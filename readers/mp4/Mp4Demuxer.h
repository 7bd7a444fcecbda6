#pragma once

#include <memory>
#include <optional>

#include "framework/Allocator.h"
#include "readers/mp4/Mp4Blocks.h"
#include "readers/mp4/Mp4Title.h"

namespace qmf {

/// An opened MP4 or QuickTime file (ISO/IEC 14496-12, -14, -15 and the QuickTime file format). What needs a
/// title gives QMF_FAILURE before one is selected.
class CMP4Demuxer {
 public:
  explicit CMP4Demuxer(QMFAllocator* memory) : m_memory(memory) {}

  static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory);

  /// Opens the file; nothing is read before a title is selected.
  QMFResult Open(const char16_t* path) { return FileReader::Open(path, m_memory, m_file); }

  /// Reads the movie header. A file has one title: others give QMF_ERR_INVALID_TITLE_INDEX.
  QMFResult SetTitle(std::uint32_t titleIndex);

  QMFResult GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index);
  QMFResult SetInfo(std::uint32_t, QMFQueryData&, std::uint32_t) { return QMF_ERR_UNSUPPORTED_QID; }

  QMFResult SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time);
  QMFResult SetTitleActiveStream(std::uint32_t blockType, std::uint32_t stream, std::uint32_t active);
  QMFResult ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                          std::int64_t& time);
  QMFResult ReadNextBlockByStream(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block,
                                  std::int64_t& time);

 private:
  QMFAllocator* const m_memory;
  std::shared_ptr<FileReader> m_file;
  // Both or neither: the blocks are those of the title.
  std::optional<CMP4Title> m_title;
  std::optional<CMP4Blocks> m_blocks;
};

}  // namespace qmf
