#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "framework/FileReader.h"
#include "readers/mkv/MkvInfo.h"
#include "readers/mkv/MkvTracks.h"

namespace qmf {

/// The elements of a segment that are looked up by their position.
enum MkvSection : std::size_t {
  kSectionInfo,
  kSectionTracks,
  kSectionSeekHead,  ///< A further seek head.
  kSectionCues,
  kSectionHierarchicalIndex,
  kSectionChapters,
  kSectionTags,
  kSectionAttachments,
  kSectionCluster,  ///< The first one.
  kSectionCount,
};

/// One edition: a playlist over chapters.
struct MkvEdition {
  static constexpr std::uint8_t kOrdered = 0x08;

  std::uint8_t flags = 0;
};

/// What is known of one segment, which is one file.
struct MkvSegment {
  MkvSegment(std::shared_ptr<FileReader> openedFile, QMFAllocator* allocator)
      : memory(allocator), file(std::move(openedFile)), tracks(allocator), editions(allocator) {}

  QMFAllocator* const memory;
  const std::shared_ptr<FileReader> file;
  bool isWebm = false;
  std::uint32_t maxSizeLength = 8;  ///< Bytes that an element's size may take in this file.
  EbmlElement element;              ///< The segment itself; its end may lie beyond the file's.
  std::uint64_t scannedTo = 0;      ///< Where the walk over the segment's children stopped.
  std::array<std::uint64_t, kSectionCount> sections{};  ///< Offsets in the file; 0 while not known.
  std::optional<MkvInfo> info;
  bool hasTracks = false;
  MkvTracks tracks;

  std::pmr::vector<MkvEdition> editions;
  std::uint32_t selectedPlaylist = 0;
  bool allowOrdered = true;
  double playlistDuration = 0.0;  ///< Ticks; of the selected edition when it is ordered.
};

/// Reads what the properties need: the EBML header, the segment's information and its tracks, through the
/// seek head where these stand behind the clusters. A file without EBML header or of another version is
/// QMF_ERR_INVALID_FILE, another document type QMF_ERR_UNSUPPORTED_CONTAINER, a file without segment
/// QMF_ERR_BAD_STRUCTURE; broken elements give the parse errors of their own. A file that ends early, or
/// lacks elements, succeeds with what it has.
QMFResult ReadMkvSegment(MkvSegment& segment);

}  // namespace qmf
