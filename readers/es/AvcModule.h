#pragma once

#include <optional>

#include "framework/ModuleInterface.h"
#include "readers/es/AvcAccessUnits.h"
#include "readers/es/AvcPicture.h"
#include "readers/es/SeekIndex.h"
#include "readers/es/SingleStreamReader.h"

namespace qmf {

/// H.264 byte streams (ITU-T H.264 annex B). Blocks are access units with their start codes, in decoding
/// order.
class AvcReader : public SingleStreamReader {
 public:
  explicit AvcReader(QMFAllocator* memory) : SingleStreamReader(kStreamVideo, memory), m_index(memory) {}

  static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory);
  /// QMF_ERR_INVALID_FILE without a sequence parameter set, QMF_FAILURE when none is sound or the first one
  /// that is gives no frame rate, QMF_ERR_UNSUPPORTED_SPS_DATA when it has scaling matrices,
  /// QMF_ERR_AVC_STREAM_NOT_SUPPORTED without a picture parameter set for it, or when that has several slice
  /// groups.
  QMFResult Open(const char16_t* path);
  QMFResult GetInfo(std::uint32_t qid, QMFQueryData& data, std::uint32_t index);

 private:
  struct ParameterSet {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
  };

  QMFResult ReadBlock(QMFBlock& block) override;
  QMFResult Seek(std::int64_t& time) override;
  void Rewind() override;

  QMFResult FindSequence(AnnexBUnits& units, AnnexBUnits::Unit& unit);
  QMFResult FindPicture(AnnexBUnits& units, AnnexBUnits::Unit unit);
  void WalkPastSets(AvcAccessUnits& walk) const;
  void Learn(const AvcAccessUnits::AccessUnit& unit);
  bool NextAccessUnit(AvcAccessUnits& walk, AvcAccessUnits::AccessUnit& unit);
  std::uint64_t CountFields();
  std::int64_t TimeOf(std::uint64_t fields) const;
  QMFResult AnswerFormat(QMFQueryData& data) const;
  QMFResult AnswerParameterSet(const ParameterSet& set, std::uint32_t qid, QMFQueryData& data);

  AvcPicture m_picture;
  std::uint32_t m_sequenceId = 0;
  ParameterSet m_sequence;
  ParameterSet m_pictureSet;
  std::optional<AvcAccessUnits> m_walk;
  std::optional<AvcAccessUnits::AccessUnit> m_next;
  std::optional<std::uint64_t> m_fieldCount;
  SeekIndex m_index;
  bool m_knowsSets = false;  ///< Whether m_walk has come past the sets at the beginning.
};

extern const QMFModuleDescriptor kAvcModule;

}  // namespace qmf
