#pragma once

#include <cstdint>
#include <span>

#include "framework/FileReader.h"

namespace qmf {

/// Finds the NAL units of a byte stream, ITU-T H.264 annex B, in a file.
class AnnexBUnits {
 public:
  struct Unit {
    std::uint64_t start = 0;   ///< Of the start code, the zero byte in front of it included.
    std::uint64_t header = 0;  ///< Of the NAL header byte.
  };

  /// Without another start code in so many bytes the stream counts as ended.
  static constexpr std::uint64_t kMaxUnitSize = 64U << 20;
  /// As much of a unit as its header parser sees: more than any parameter set has.
  static constexpr std::size_t kMaxParsedSize = FileReader::kWindowSize;

  /// Parameter sets that a search of limited units hands out: each of their bits can be a number to parse. A
  /// set in front of every picture of a short film takes less.
  static constexpr std::uint64_t kMaxSets = 2U << 20;

  /// Units that begin at or after `end`, or behind the first `most`, count as not there.
  explicit AnnexBUnits(FileReader& file, std::uint64_t end = UINT64_MAX, std::uint32_t most = UINT32_MAX)
      : m_file(&file),
        m_end(end),
        m_left(most),
        m_setsLeft(most == UINT32_MAX ? std::uint64_t{UINT64_MAX} : kMaxSets) {}

  /// The first unit whose start code begins at or after `from`. False when there is none; `unit.start` is
  /// then where the search ended: the end of the file, or kMaxUnitSize or the end given farther on.
  bool Find(std::uint64_t from, Unit& unit);

  /// The bytes of a unit from its NAL header on, as far as its parser needs them; of parameter sets behind
  /// kMaxSets that header alone. Valid until the next call.
  std::span<const std::uint8_t> Front(const Unit& unit);

  /// The size of a unit from its NAL header to the next start code, zero bytes between them left out; at most
  /// kMaxParsedSize.
  std::uint64_t SizeOf(const Unit& unit);

 private:
  std::span<const std::uint8_t> WholeFront(const Unit& unit);

  FileReader* m_file;  // Not a reference: walkers over units are copied.
  std::uint64_t m_end;
  std::uint32_t m_left;
  std::uint64_t m_setsLeft;
};

}  // namespace qmf
