#include "readers/es/AvcAccessUnits.h"

#include "streamlib/H264NalUnit.h"

namespace qmf {

void AvcAccessUnits::Restart(std::uint64_t offset, std::uint64_t ticks) {
  m_position = offset;
  m_ticks = ticks;
  m_hasUnit = false;
  m_grouping.Reset();
}

bool AvcAccessUnits::FindUnit(std::uint64_t from) {
  const bool behindPrefix = m_hasUnit && m_isPrefix;
  m_hasUnit = m_units.Find(from, m_unit);
  if (!m_hasUnit || !behindPrefix) m_position = m_unit.start;
  return m_hasUnit;
}

bool AvcAccessUnits::AddUnit() {
  const std::span<const std::uint8_t> front = m_units.Front(m_unit);
  m_isPrefix = !front.empty() && SPL_H264::NalHeader(front[0]).type == SPL_H264::kNalPrefix;
  return m_grouping.Add(front.data(), static_cast<std::int32_t>(front.size()));
}

bool AvcAccessUnits::Next(AccessUnit& unit) {
  if (!m_hasUnit) {
    if (!FindUnit(m_position)) return false;
    (void)AddUnit();
  }
  unit.offset = m_position;
  unit.ticks = m_ticks;
  SPL_H264::H264AccessUnits::Facts facts;
  do {
    facts = m_grouping.Current();
  } while (FindUnit(m_unit.header) && !AddUnit());
  unit.size = m_position - unit.offset;
  unit.isRecovery = facts.isRecovery;
  if (facts.hasPicture) m_ticks += facts.isField ? 1 : 2;
  return true;
}

}  // namespace qmf
