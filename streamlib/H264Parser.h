#pragma once

#include "streamlib/H264HdrAccessUD.h"
#include "streamlib/H264HdrFiller.h"
#include "streamlib/H264HdrPictParSet.h"
#include "streamlib/H264HdrSEI.h"
#include "streamlib/H264HdrSeqParSet.h"
#include "streamlib/H264HdrSlice.h"
#include "streamlib/H264NalUnit.h"
#include "streamlib/ParserProcessor.h"

namespace SPL_H264 {

/// Chooses the header parser of a NAL unit and keeps what later units need. The parser of ParserProcessor for
/// H.264.
class H264Parser {
 public:
  template <class Consumer>
  bool Process(const std::uint8_t* unit, std::int32_t size, H264Stream& stream, Consumer& consumer) {
    if (size < 1) return false;
    switch (NalHeader(unit[0]).type) {
      case kNalNonIdrSlice:
      case kNalPartitionA:
      case kNalIdrSlice:
        if (!m_slice.Parse(unit, size, stream, consumer)) return false;
        stream.Activate(m_slice.GetHeader().pic_parameter_set_id);
        return true;
      case kNalSei:
        return m_sei.Parse(unit, size, stream, consumer);
      case kNalSps:
        if (!m_sps.Parse(unit, size, stream, consumer)) return false;
        stream.Keep(m_sps.GetHeader());
        return true;
      case kNalPps:
        if (!m_pps.Parse(unit, size, stream, consumer)) return false;
        stream.Keep(m_pps.GetHeader());
        return true;
      case kNalAccessUnitDelimiter:
        return m_delimiter.Parse(unit, size, stream, consumer);
      case kNalFiller:
        return m_filler.Parse(unit, size, stream, consumer);
      default:
        return false;
    }
  }

  /// The slice header that the latest slice unit gave, sound or not.
  const H264HdrSlice& LatestSlice() const { return m_slice.GetHeader(); }

 private:
  SPL::BaseEventParser<H264HdrSeqParSet> m_sps;
  SPL::BaseEventParser<H264HdrPictParSet> m_pps;
  SPL::BaseEventParser<H264HdrSEI> m_sei;
  SPL::BaseEventParser<H264HdrSlice> m_slice;
  SPL::BaseEventParser<H264HdrAccessUD> m_delimiter;
  SPL::BaseEventParser<H264HdrFiller> m_filler;
};

}  // namespace SPL_H264
