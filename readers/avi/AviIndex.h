#pragma once

#include <cstdint>
#include <memory_resource>
#include <vector>

#include "framework/FileReader.h"
#include "readers/avi/AviMovi.h"
#include "readers/avi/AviTitle.h"

namespace qmf {

/// What an index says of one block.
struct AviIndexEntry {
  AviMediaChunk chunk;
  bool isKey = false;
};

/// The legacy index, 'idx1' or '1idx': 16-byte entries for all streams, in file order.
class AviLegacyIndex {
 public:
  AviLegacyIndex(FileReader& file, const AviTitle& title, AviMovi& movi);

  /// The next entry of an admitted stream; false at the end and where the index cannot be read.
  bool Next(AviIndexEntry& entry);

 private:
  FileReader& m_file;
  const AviMovi& m_movi;
  std::uint64_t m_at;
  std::uint64_t m_end = 0;
  std::uint64_t m_base = 0;
};

/// While it lives, reading OpenDML indexes brings little more than the file is long. Standard indexes can be
/// empty or the same one thousands of times, and each is fetched from another place.
inline FileReader::Limit LimitOfAviIndexes(FileReader& file) {
  constexpr std::uint64_t kAnyLooks = std::uint64_t{1} << 62;
  constexpr std::uint64_t kMore = 16U << 20;
  return {file, file.Size() + kMore, kAnyLooks};
}

/// One stream's OpenDML index: a super index of standard indexes, or a standard index in its place. Entries
/// of two fields count once, as the chunk that holds both.
class AviStreamIndex {
 public:
  AviStreamIndex(FileReader& file, const AviStream& stream, std::uint8_t place, QMFAllocator* memory);

  bool Next(AviIndexEntry& entry);
  /// Whether the end came because the index cannot be read.
  bool IsBad() const { return m_bad; }

 private:
  const std::uint8_t* Fetch(std::uint64_t offset, std::size_t count);
  bool OpenStandard();
  bool ReadStandardHeader(std::uint64_t offset);

  FileReader& m_file;
  const std::uint8_t m_place;
  std::uint64_t m_super;          ///< Of the next entry of the super index.
  std::uint64_t m_superLeft = 0;  ///< Entries from there on.
  std::uint64_t m_standard = 0;   ///< Of the next entry of the standard index.
  std::uint64_t m_standardLeft = 0;
  std::uint32_t m_entrySize = 0;
  std::uint64_t m_base = 0;
  std::uint64_t m_atLeast = 0;  ///< Where the next block may start.
  bool m_bad = false;
  std::uint64_t m_bufferAt = 0;
  std::size_t m_bufferFilled = 0;
  std::pmr::vector<std::uint8_t> m_buffer;
};

/// The OpenDML indexes of all admitted streams, merged into file order.
class AviOpenDmlIndex {
 public:
  AviOpenDmlIndex(FileReader& file, const AviTitle& title, QMFAllocator* memory);

  /// Whether every admitted stream has an index: a part of them cannot tell how many blocks of the others
  /// come before a frame.
  static bool IsWhole(const AviTitle& title);

  bool Next(AviIndexEntry& entry);
  bool IsBad() const;

 private:
  struct Stream {
    AviStreamIndex index;
    AviIndexEntry next;
    bool has = false;
  };
  std::pmr::vector<Stream> m_streams;
};

}  // namespace qmf
