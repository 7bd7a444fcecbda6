#pragma once

#include <cstdint>

#include "readers/es/AnnexBUnits.h"
#include "streamlib/H264AccessUnits.h"

namespace qmf {

/// Walks the access units of an H.264 byte stream in a file. Copies walk on by themselves.
class AvcAccessUnits {
 public:
  struct AccessUnit {
    std::uint64_t offset = 0;  ///< In the file; start codes belong to what follows them.
    std::uint64_t size = 0;    ///< Bytes.
    std::uint64_t ticks = 0;   ///< Fields of all pictures in front of it.
    bool isRecovery = false;   ///< Decoding can start here.
  };

  explicit AvcAccessUnits(const AnnexBUnits& units) : m_units(units) {}

  /// A walk over `units` that knows the parameter sets that `other` came past.
  AvcAccessUnits(const AnnexBUnits& units, const AvcAccessUnits& other) : AvcAccessUnits(other) {
    m_units = units;
  }

  /// The next access unit; false at the end of the stream.
  bool Next(AccessUnit& unit);

  /// Goes on at `offset`, in front of which there are `ticks` fields.
  void Restart(std::uint64_t offset, std::uint64_t ticks);

  /// Fields of the pictures passed so far.
  std::uint64_t Ticks() const { return m_ticks; }

 private:
  bool FindUnit(std::uint64_t from);
  bool AddUnit();

  AnnexBUnits m_units;
  AnnexBUnits::Unit m_unit;  // Found and added, but not yet part of a delivered access unit.
  bool m_hasUnit = false;
  bool m_isPrefix = false;
  std::uint64_t m_position = 0;  // Of the unit and the prefix units in front of it, or where to look for one.
  std::uint64_t m_ticks = 0;
  SPL_H264::H264AccessUnits m_grouping;
};

}  // namespace qmf
