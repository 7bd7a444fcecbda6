#pragma once

#include <optional>

#include "framework/ModuleInterface.h"
#include "readers/es/SingleStreamReader.h"
#include "readers/es/SrtReader.h"

namespace qmf {

/// SubRip subtitles. Blocks are the texts of cues, in file order and without terminator; their end time is in
/// the block's record.
class SrtReader : public SingleStreamReader {
 public:
  explicit SrtReader(QMFAllocator* memory) : SingleStreamReader(kStreamSubtitle, memory) {}

  static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory);
  /// QMF_ERR_BAD_SUB_ENCODING for a file that is neither UTF-8 nor UTF-16.
  QMFResult Open(const char16_t* path);
  QMFResult GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index);
  /// Texts are all there is: asking for them succeeds, asking for anything else is QMF_ERR_OUTSIDE_RANGE.
  QMFResult SetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index);

 private:
  QMFResult ReadBlock(QMFBlock& block) override;
  QMFResult Seek(std::int64_t& time) override;
  void Rewind() override;

  CSRTReader Start() { return {File(), m_encoding, m_textOffset}; }
  std::uint64_t FindDuration();

  SrtEncoding m_encoding = SrtEncoding::kUtf8;
  std::uint64_t m_textOffset = 0;
  std::optional<CSRTReader> m_reader;
  std::optional<SrtCue> m_next;
  std::optional<std::uint64_t> m_duration;
};

extern const QMFModuleDescriptor kSrtModule;

}  // namespace qmf
