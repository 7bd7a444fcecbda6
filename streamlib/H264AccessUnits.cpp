#include "streamlib/H264AccessUnits.h"

namespace SPL_H264 {
namespace {

// Behind a picture these begin the next access unit. Prefix units stand in front of each slice, also of
// further ones of the same picture: the slice decides.
bool PrecedesPicture(std::uint8_t type) {
  return (type >= kNalSei && type <= kNalAccessUnitDelimiter) ||
         (type > kNalPrefix && type <= kNalReserved18);
}

}  // namespace

void H264AccessUnits::Facts::On(const H264HdrSlice& slice) {
  isField = slice.field_pic_flag != 0;
  isRecovery |= slice.IsIdr();
  if (slice.first_mb_in_slice == 0 && slice.redundant_pic_cnt == 0) {
    planesBegun = static_cast<std::uint8_t>(planesBegun | 1U << slice.colour_plane_id);
  }
}

bool H264AccessUnits::Starts(std::uint8_t type, const Facts& own) const {
  if (!m_facts.hasPicture) return false;
  if (!IsSlice(type)) return PrecedesPicture(type);
  // Some encoders number all their IDR pictures alike.
  if ((own.planesBegun & m_facts.planesBegun) != 0) return true;
  return m_processor.GetParser().LatestSlice().StartsPictureAfter(m_slice);
}

bool H264AccessUnits::Add(const std::uint8_t* unit, std::int32_t size) {
  if (size < 1) return false;
  const std::uint8_t type = NalHeader(unit[0]).type;
  Facts own;
  (void)m_processor.Process(unit, size, own);
  const bool starts = Starts(type, own);
  if (starts) m_facts = {};
  m_facts.isRecovery |= own.isRecovery;
  if (!IsSlice(type)) return starts;
  m_facts.hasPicture = true;
  m_facts.isField = own.isField;
  m_facts.planesBegun |= own.planesBegun;
  m_slice = m_processor.GetParser().LatestSlice();
  return starts;
}

}  // namespace SPL_H264
