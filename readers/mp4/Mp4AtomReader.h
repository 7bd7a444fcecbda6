#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "framework/ByteOrder.h"
#include "framework/FileReader.h"
#include "framework/FourCC.h"

namespace qmf {

/// Reads an atom's big-endian fields front to back. A read past the end gives zeros and is remembered, so
/// that a handler asks `Failed` once.
class CMP4Fields {
 public:
  explicit CMP4Fields(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

  std::uint8_t U8() { return static_cast<std::uint8_t>(Number(1)); }
  std::uint16_t U16() { return static_cast<std::uint16_t>(Number(2)); }
  std::uint32_t U24() { return static_cast<std::uint32_t>(Number(3)); }
  std::uint32_t U32() { return static_cast<std::uint32_t>(Number(4)); }
  std::uint64_t U64() { return Number(8); }
  /// 32 bits, or 64 in atoms of version 1.
  std::uint64_t Sized(bool wide) { return Number(wide ? 8 : 4); }
  std::uint64_t Number(std::size_t width) {
    const auto bytes = Take(width);
    return bytes.empty() ? 0 : LoadBE(bytes.data(), width);
  }
  FourCC Code() {
    const auto bytes = Take(4);
    return bytes.empty() ? 0 : LoadLE32(bytes.data());
  }
  void Skip(std::size_t count) { Take(count); }
  /// The next `count` bytes; empty when fewer are left.
  std::span<const std::uint8_t> Take(std::size_t count) {
    if (count > m_bytes.size()) {
      m_failed = true;
      m_bytes = {};
      return {};
    }
    const auto taken = m_bytes.first(count);
    m_bytes = m_bytes.subspan(count);
    return taken;
  }
  std::span<const std::uint8_t> Rest() const { return m_bytes; }
  bool Failed() const { return m_failed; }

 private:
  std::span<const std::uint8_t> m_bytes;
  bool m_failed = false;
};

/// An atom (box) of a file: where it starts, where its payload lies and where it ends. The end never lies
/// beyond its parent's.
struct CMP4Atom {
  FileReader* file;
  FourCC type;
  std::uint64_t start;
  std::uint64_t payload;
  std::uint64_t end;

  std::uint64_t Size() const { return end - payload; }
  /// The payload's first bytes, at most `most`, valid until the file is read again. A table's header must not
  /// fetch the table.
  CMP4Fields Fields(std::size_t most = 256) const;
  /// As many of them as can be had at once.
  CMP4Fields AllFields() const { return Fields(FileReader::kWindowSize); }
};

/// Reads the header of the atom at `offset` within a parent that ends at `parentEnd`. False where no sane
/// header stands. Size 0 means "to the end of the file" at the top and an end mark elsewhere.
bool ReadAtomHeader(FileReader& file, std::uint64_t offset, std::uint64_t parentEnd, bool isTop,
                    CMP4Atom& atom);

enum class AtomUse : std::uint8_t {
  kOptional,  ///< The first one counts.
  kRequired,  ///< As optional, but its parent counts as absent without it.
  kRepeated,  ///< Every one counts.
};

enum class AtomVerdict : std::uint8_t {
  kTaken,
  kIgnored,  ///< As though it were not there.
  kStop,     ///< Taken, and with its children the whole walk ends.
};

/// One row of the declared structure: an atom that its parent may hold, what reads it, and its own children.
template <class Context>
struct AtomRow {
  FourCC type;
  AtomUse use = AtomUse::kOptional;
  /// Reads the payload; it may move `payload` to where the children start. Null when there is nothing to
  /// read.
  AtomVerdict (*read)(Context&, CMP4Atom&) = nullptr;
  std::span<const AtomRow> children{};
  /// Called after the children; `complete` tells whether all that are required were there.
  void (*leave)(Context&, bool complete) = nullptr;
};

/// What one of the questions of the Shell may cost. All of them, each asked once, stay below 16 MiB and
/// 250,000 elements together.
struct CMP4Budget {
  std::uint64_t bytes;
  std::uint64_t looks;

  FileReader::Limit For(FileReader& file) const { return {file, bytes, looks}; }
};
inline constexpr CMP4Budget kMovieBudget = {5U << 20, 60'000};
inline constexpr CMP4Budget kDurationBudget = {7U << 20, 80'000};
inline constexpr CMP4Budget kVideoFormatBudget = {2U << 20, 30'000};
inline constexpr CMP4Budget kAudioFormatBudget = {3U << 19, 10'000};

/// Walks atoms by their rows and skips what no row names. It owns recursion (as deep as the rows nest),
/// parent bounds, progress and the limits on what all its walks together may cost; a file past a limit reads
/// as though cut off there. A walk leaves an atom as soon as all its rows are met, so that a long table
/// behind them is never touched.
class CMP4AtomWalker {
 public:
  static constexpr std::uint32_t kMaxAtoms = 250'000;
  static constexpr std::uint64_t kMaxBytes = 16U << 20;

  explicit CMP4AtomWalker(FileReader& file) : m_file(file), m_bytesAtStart(file.BytesRead()) {}

  /// Walks the children in [begin, end) and tells whether all required ones were there.
  template <class Context>
  bool Walk(Context& context, std::type_identity_t<std::span<const AtomRow<Context>>> rows,
            std::uint64_t begin, std::uint64_t end, bool isTop = false) {
    m_stopped = false;
    return WalkLevel<Context>(context, rows, begin, end, isTop);
  }

 private:
  template <class Context>
  bool WalkLevel(Context& context, std::span<const AtomRow<Context>> rows, std::uint64_t begin,
                 std::uint64_t end, bool isTop) {
    std::uint64_t met = 0;
    CMP4Atom atom{};
    while (!m_stopped && !AllMet<Context>(rows, met) && NextAtom(begin, end, isTop, atom)) {
      begin = atom.end;
      const std::size_t row = FindRow<Context>(rows, atom.type, met);
      if (row < rows.size() && Enter(context, rows[row], atom)) met |= std::uint64_t{1} << row;
    }
    return HasRequired<Context>(rows, met);
  }

  bool NextAtom(std::uint64_t begin, std::uint64_t end, bool isTop, CMP4Atom& atom) {
    if (m_atoms == kMaxAtoms || m_file.BytesRead() - m_bytesAtStart > kMaxBytes) return false;
    ++m_atoms;
    return ReadAtomHeader(m_file, begin, end, isTop, atom);
  }

  template <class Context>
  bool Enter(Context& context, const AtomRow<Context>& row, CMP4Atom& atom) {
    const AtomVerdict verdict = row.read != nullptr ? row.read(context, atom) : AtomVerdict::kTaken;
    if (verdict == AtomVerdict::kIgnored) return false;
    const bool complete =
        row.children.empty() || WalkLevel<Context>(context, row.children, atom.payload, atom.end, false);
    if (row.leave != nullptr) row.leave(context, complete);
    if (verdict == AtomVerdict::kStop) m_stopped = true;
    return complete;
  }

  template <class Context>
  static std::size_t FindRow(std::span<const AtomRow<Context>> rows, FourCC type, std::uint64_t met) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].type == type && (rows[i].use == AtomUse::kRepeated || (met >> i & 1) == 0)) return i;
    }
    return rows.size();
  }

  template <class Context>
  static bool AllMet(std::span<const AtomRow<Context>> rows, std::uint64_t met) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].use == AtomUse::kRepeated || (met >> i & 1) == 0) return false;
    }
    return true;
  }

  template <class Context>
  static bool HasRequired(std::span<const AtomRow<Context>> rows, std::uint64_t met) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].use == AtomUse::kRequired && (met >> i & 1) == 0) return false;
    }
    return true;
  }

  FileReader& m_file;
  const std::uint64_t m_bytesAtStart;
  std::uint32_t m_atoms = 0;
  bool m_stopped = false;
};

}  // namespace qmf
