#include "readers/es/AvcAccessUnits.h"

namespace qmf {

void AvcAccessUnits::Restart(std::uint64_t offset, std::uint64_t ticks) {
  m_position = offset;
  m_ticks = ticks;
  m_hasUnit = false;
  m_grouping.Reset();
}

bool AvcAccessUnits::FindUnit(std::uint64_t from) {
  m_hasUnit = m_units.Find(from, m_unit);
  m_position = m_unit.start;
  return m_hasUnit;
}

bool AvcAccessUnits::AddUnit() {
  const std::span<const std::uint8_t> front = m_units.Front(m_unit);
  return m_grouping.Add(front.data(), static_cast<std::int32_t>(front.size()));
}

bool AvcAccessUnits::Next(AccessUnit& unit) {
  if (!m_hasUnit) {
    if (!FindUnit(m_position)) return false;
    (void)AddUnit();
  }
  unit.offset = m_unit.start;
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
