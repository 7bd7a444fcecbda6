#pragma once

#include <array>
#include <cstdint>

#include "streamlib/H264HdrPictParSet.h"
#include "streamlib/H264HdrSeqParSet.h"

namespace SPL_H264 {

/// What slice headers and messages need of the parameter sets that came before them.
class H264Stream {
 public:
  /// The part of a sequence parameter set that decides how slice headers and timing messages are read.
  struct Sequence {
    bool known = false;
    bool separateColourPlanes = false;
    bool frameMbsOnly = false;
    bool deltaPicOrderAlwaysZero = false;
    bool delaysPresent = false;
    bool picStructPresent = false;
    std::uint8_t frameNumBits = 0;
    std::uint8_t picOrderType = 0;
    std::uint8_t picOrderLsbBits = 0;
    std::uint8_t cpbRemovalDelayBits = 0;
    std::uint8_t dpbOutputDelayBits = 0;
  };

  struct Picture {
    bool known = false;
    bool picOrderInFramePresent = false;
    bool redundantCountPresent = false;
    std::uint8_t sequenceId = 0;
  };

  void Keep(const H264HdrSeqParSet& sps);
  void Keep(const H264HdrPictParSet& pps);
  /// Remembers which sequence a slice with picture parameter set `id` made the active one.
  void Activate(std::uint32_t pictureId);

  /// The sets of an id, or null for one that has not come.
  const Picture* FindPicture(std::uint32_t id) const;
  const Sequence* FindSequence(std::uint32_t id) const;

  /// The sequence that the latest slice used, before any slice the latest to arrive; null before any.
  const Sequence* ActiveSequence() const { return FindSequence(m_activeSequence); }

 private:
  std::array<Sequence, H264HdrSeqParSet::kMaxId + 1> m_sequences;
  std::array<Picture, H264HdrPictParSet::kMaxId + 1> m_pictures;
  std::uint32_t m_activeSequence = H264HdrSeqParSet::kMaxId + 1;
};

}  // namespace SPL_H264
