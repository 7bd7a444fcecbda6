#pragma once

#include <optional>

#include "framework/ModuleInterface.h"
#include "readers/es/AdtsFrames.h"
#include "readers/es/SeekIndex.h"
#include "readers/es/SingleStreamReader.h"

namespace qmf {

/// AAC in ADTS (ISO/IEC 13818-7, 14496-3), ID3v2 tags in front allowed. Blocks are ADTS frames with their
/// headers.
class AacReader : public SingleStreamReader {
 public:
  explicit AacReader(QMFAllocator* memory) : SingleStreamReader(kStreamAudio, memory), m_index(memory) {}

  /// A file that can be opened is judged by its content: 100 when frames follow each other from the start (or
  /// from the end of its tags) on, three of them or up to the end of the file; 50 for two; 25 when four or
  /// more do behind some other bytes. Any other name is judged by its extension.
  static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory);
  /// QMF_ERR_INVALID_FILE when no frame is found.
  QMFResult Open(const char16_t* path);
  QMFResult GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index);
  /// There is nothing to set: QMF_ERR_UNSUPPORTED_QID.
  QMFResult SetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index);

 private:
  QMFResult ReadBlock(QMFBlock& block) override;
  QMFResult Seek(std::int64_t& time) override;
  void Rewind() override;

  bool NextFrame(AdtsFrames& walk, AdtsFrames::Frame& frame);
  std::int64_t TimeOf(std::uint64_t samples) const;
  std::uint64_t CountSamples();
  bool IsConstantFrom(std::uint64_t offset, std::uint64_t count);
  std::optional<std::uint64_t> SamplesOfConstantFrames();

  QMFAudioFormat m_format{};
  AdtsFrames::Frame m_first;
  std::optional<AdtsFrames> m_walk;
  std::optional<AdtsFrames::Frame> m_next;
  std::optional<std::uint64_t> m_sampleCount;
  SeekIndex m_index;
};

extern const QMFModuleDescriptor kAacModule;

}  // namespace qmf
