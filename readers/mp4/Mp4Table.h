#pragma once

#include <cstdint>
#include <memory_resource>
#include <vector>

#include "readers/mp4/Mp4AtomReader.h"

namespace qmf {

/// Rows on end that say nothing, after which a table counts as over: holes of a sparse file read as such
/// rows.
inline constexpr int kMaxIdleRows = 65536;

/// A table of equally sized entries inside an atom.
struct CMP4Table {
  FileReader* file = nullptr;
  std::uint64_t begin = 0;      ///< Offset of the first entry.
  std::uint64_t count = 0;      ///< Never more than the atom has room for, whatever the file says.
  std::uint32_t entrySize = 0;  ///< Bytes, 1 to 32.

  /// The table of `declared` entries that starts `headerSize` bytes into the payload.
  static CMP4Table InAtom(const CMP4Atom& atom, std::uint64_t headerSize, std::uint64_t declared,
                          std::uint32_t entrySize);
};

/// The bytes of a whole table, in one read; for tables whose size has a limit. Fewer where the file ends.
std::pmr::vector<std::uint8_t> ReadWhole(const CMP4Table& table, std::pmr::memory_resource* memory);

/// Reads a table's entries through a small window, so that a table of any length costs the same memory.
class CMP4TableWindow {
 public:
  CMP4TableWindow(const CMP4Table& table, std::pmr::memory_resource* memory)
      : m_table(table), m_bytes(memory) {}

  std::uint64_t Count() const { return m_table.count; }
  /// The fields of entry `index`; their reads fail when the file does not hold it. Valid until the next call.
  CMP4Fields Entry(std::uint64_t index);

 private:
  static constexpr std::size_t kWindowSize = 2048;

  CMP4Table m_table;
  std::pmr::vector<std::uint8_t> m_bytes;
  std::uint64_t m_first = 0;
  std::uint64_t m_filled = 0;  ///< Whole entries in m_bytes.
};

}  // namespace qmf
