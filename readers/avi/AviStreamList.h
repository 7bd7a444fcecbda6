#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "framework/FileReader.h"
#include "framework/ResultCodes.h"
#include "readers/avi/AviChunks.h"
#include "readers/avi/AviContainer.h"

namespace qmf {

/// What the stream lists read so far took.
struct AviStreamCounts {
  std::uint16_t lists = 0;
  std::uint16_t audio = 0;
  std::uint16_t subtitles = 0;
};

/// Reads one 'strl', whose children end at `end`, into the stream that it belongs to.
QMFResult ReadAviStreamList(AviContainer& container, AviChunkReader& chunks, const AviChunk& list,
                            std::uint64_t end, AviStreamCounts& counts);

/// Reads a structure of at most `available` bytes into a record; what a short chunk lacks is zero. A failed
/// read leaves the record as it was.
template <std::size_t size>
QMFResult ReadAviRecord(FileReader& file, std::uint64_t offset, std::uint64_t available,
                        std::array<std::uint8_t, size>& record) {
  std::array<std::uint8_t, size> read{};
  const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, available));
  if (file.ReadAt(offset, read.data(), wanted) != wanted) return QMF_ERR_FILE_CORRUPT;
  record = read;
  return QMF_OK;
}

/// Keeps the payload of `chunk` in memory. More than the file holds is QMF_ERR_FILE_CORRUPT, more than
/// `limit` counts as memory that cannot be had.
QMFResult KeepAviBytes(FileReader& file, const AviChunk& chunk, std::uint32_t limit,
                       std::pmr::vector<std::uint8_t>& kept);

}  // namespace qmf
