#pragma once

#include <algorithm>
#include <tuple>
#include <utility>

#include "tests/support/Bytes.h"

namespace qmf::test {

/// Assembles atoms (boxes) by their big-endian fields. Sizes are filled in when an atom ends.
class AtomBuilder {
 public:
  AtomBuilder& Begin(std::string_view type) {
    m_open.push_back(m_bytes.size());
    return U32(0).Code(type);
  }
  /// An atom with version and flags.
  AtomBuilder& Begin(std::string_view type, std::uint8_t version, std::uint32_t flags) {
    return Begin(type).U8(version).Number(flags, 3);
  }
  AtomBuilder& End() {
    const Bytes size = BigEndian(m_bytes.size() - m_open.back(), 4);
    std::ranges::copy(size, m_bytes.begin() + static_cast<std::ptrdiff_t>(m_open.back()));
    m_open.pop_back();
    return *this;
  }
  /// A whole atom of version 0: how many rows there are, then the number or numbers of each.
  AtomBuilder& Table(std::string_view type, const auto& rows, unsigned width = 4) {
    Begin(type, 0, 0).U32(rows.size());
    const auto add = [&](auto... numbers) { (Number(static_cast<std::uint64_t>(numbers), width), ...); };
    for (const auto& row : rows) {
      if constexpr (requires { std::get<0>(row); }) {
        std::apply(add, row);
      } else {
        add(row);
      }
    }
    return End();
  }

  AtomBuilder& U8(auto... values) { return (Number(static_cast<std::uint64_t>(values), 1), ...); }
  AtomBuilder& U16(auto... values) { return (Number(static_cast<std::uint64_t>(values), 2), ...); }
  AtomBuilder& U32(auto... values) { return (Number(static_cast<std::uint64_t>(values), 4), ...); }
  AtomBuilder& U64(auto... values) { return (Number(static_cast<std::uint64_t>(values), 8), ...); }
  AtomBuilder& Number(std::uint64_t value, unsigned width) { return Raw(BigEndian(value, width)); }
  AtomBuilder& Zeros(std::size_t count) { return Raw(Bytes(count)); }
  AtomBuilder& Code(std::string_view text) { return Raw(test::Raw(text)); }
  AtomBuilder& Raw(const Bytes& bytes) {
    m_bytes += bytes;
    return *this;
  }

  std::size_t Size() const { return m_bytes.size(); }
  /// The bytes; atoms that are open end with them.
  Bytes Take() {
    while (!m_open.empty()) End();
    return std::move(m_bytes);
  }

 private:
  Bytes m_bytes;
  std::vector<std::size_t> m_open;
};

/// One track of a movie, at first 100 frames of 25 a second.
struct TrackSpec {
  std::uint32_t id = 1;
  std::uint32_t flags = 1;  ///< Of 'tkhd'; 1 is "enabled".
  std::string_view handler = "vide";
  std::uint32_t timescale = 12800;
  std::uint64_t duration = 51200;
  std::uint32_t width = 640;  ///< Of 'tkhd'.
  std::uint32_t height = 360;
  bool wide = false;         ///< Headers of version 1.
  bool handlerLast = false;  ///< 'hdlr' at the end of 'mdia'.
  Bytes edits = {};          ///< Whole 'edts'.
  Bytes references = {};     ///< Whole 'tref'.
  Bytes entry = {};          ///< Sample entry.
  std::vector<std::pair<std::uint32_t, std::uint32_t>> times = {{100, 512}};
  std::vector<std::pair<std::uint32_t, std::int32_t>> offsets = {};
  std::vector<std::uint32_t> syncSamples = {};
  std::vector<std::uint32_t> partialSyncSamples = {};
  std::vector<std::uint32_t> sizes = {};  ///< One a sample; empty means `uniformSize`.
  std::uint32_t uniformSize = 10;
  unsigned compactBits = 0;                  ///< 4, 8 or 16 write 'stz2' instead.
  std::vector<std::uint32_t> chunks = {10};  ///< Samples of each; the last number goes on.
  std::uint32_t emptyChunkRows = 0;          ///< Rows of 'stsc' in front that hold no chunk.
  bool wideOffsets = false;                  ///< 'co64'.
  Bytes userData = {};                       ///< Whole 'udta'.

  std::uint32_t SampleCount() const;
  std::uint32_t SizeOf(std::uint32_t sample) const;
};

struct MovieSpec {
  std::uint32_t timescale = 1000;
  std::uint64_t duration = 4000;
  bool wide = false;
  std::vector<TrackSpec> tracks = {{}};
  Bytes extra = {};        ///< Atoms at the end of 'moov'.
  bool movieFirst = true;  ///< 'moov' in front of 'mdat'.
};

/// Sample entries with `children` behind their fields.
Bytes VideoEntry(std::string_view type, std::uint32_t width, std::uint32_t height,
                 const Bytes& children = {});
Bytes AudioEntry(std::string_view type, std::uint32_t channels, std::uint32_t bits, std::uint32_t rate,
                 const Bytes& children = {});
Bytes TextEntry(std::string_view type);

/// A whole file: 'ftyp', 'moov' and 'mdat'. The chunks of the tracks take turns in 'mdat'; byte n of it is
/// n % 251, so that every sample's content tells where it came from.
Bytes MakeMovie(const MovieSpec& spec);

/// 'moov' alone, its chunks placed from `mediaOffset` on.
Bytes MakeMovieAtom(const MovieSpec& spec, std::uint64_t mediaOffset);

}  // namespace qmf::test
