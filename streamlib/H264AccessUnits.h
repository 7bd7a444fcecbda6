#pragma once

#include <cstdint>

#include "streamlib/H264Parser.h"

namespace SPL_H264 {

/// Groups the NAL units of a byte stream into access units, ITU-T H.264 clause 7.4.1.2.3.
class H264AccessUnits {
 public:
  /// What is known of an access unit once its last NAL unit has been added.
  struct Facts {
    bool hasPicture = false;
    bool isField = false;     ///< The picture is one field.
    bool isRecovery = false;  ///< Decoding can start here: an IDR picture or a recovery point message.
    /// Bits of the colour planes whose first macroblock is in the primary picture, which has each once.
    std::uint8_t planesBegun = 0;

    template <class Header>
    void On(const Header&) {}
    void On(const H264HdrSlice& slice);
    void On(const H264HdrSEI& sei) { isRecovery |= sei.recovery_point_present; }
  };

  /// Takes the next unit, of which the first `size` bytes are given: all of it, or for slices its front. True
  /// when the unit begins another access unit than the one before it; the facts then start afresh with it.
  /// Prefix units never do: they belong to the slice behind them.
  bool Add(const std::uint8_t* unit, std::int32_t size);

  const Facts& Current() const { return m_facts; }

  /// Forgets the current access unit, but not the parameter sets: for going on elsewhere in the stream.
  void Reset() { m_facts = {}; }

 private:
  bool Starts(std::uint8_t type, const Facts& own) const;

  SPL::ParserProcessor<H264Parser, Facts, H264Stream> m_processor;
  H264HdrSlice m_slice;  // The latest of the current access unit.
  Facts m_facts;
};

}  // namespace SPL_H264
