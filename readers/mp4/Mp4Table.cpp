#include "readers/mp4/Mp4Table.h"

#include <algorithm>

namespace qmf {

CMP4Table CMP4Table::InAtom(const CMP4Atom& atom, std::uint64_t headerSize, std::uint64_t declared,
                            std::uint32_t entrySize) {
  const std::uint64_t room = atom.Size() > headerSize ? atom.Size() - headerSize : 0;
  return {atom.file, atom.payload + headerSize, std::min(declared, room / entrySize), entrySize};
}

std::pmr::vector<std::uint8_t> ReadWhole(const CMP4Table& table, std::pmr::memory_resource* memory) {
  std::pmr::vector<std::uint8_t> bytes(static_cast<std::size_t>(table.count * table.entrySize), memory);
  if (!bytes.empty()) bytes.resize(table.file->ReadAt(table.begin, bytes.data(), bytes.size()));
  return bytes;
}

CMP4Fields CMP4TableWindow::Entry(std::uint64_t index) {
  if (index >= m_table.count) return CMP4Fields({});
  if (index < m_first || index - m_first >= m_filled) {
    m_bytes.resize(kWindowSize);
    const std::uint64_t wanted =
        std::min<std::uint64_t>(kWindowSize / m_table.entrySize, m_table.count - index);
    const std::size_t arrived =
        m_table.file->ReadAt(m_table.begin + index * m_table.entrySize, m_bytes.data(),
                             static_cast<std::size_t>(wanted * m_table.entrySize));
    m_first = index;
    m_filled = arrived / m_table.entrySize;
    if (m_filled == 0) return CMP4Fields({});
  }
  const auto skipped = static_cast<std::size_t>((index - m_first) * m_table.entrySize);
  return CMP4Fields(std::span(m_bytes).subspan(skipped, m_table.entrySize));
}

}  // namespace qmf
