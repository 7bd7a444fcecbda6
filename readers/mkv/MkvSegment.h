#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "framework/FileReader.h"
#include "readers/mkv/MkvAttachments.h"
#include "readers/mkv/MkvChapters.h"
#include "readers/mkv/MkvCues.h"
#include "readers/mkv/MkvInfo.h"
#include "readers/mkv/MkvTags.h"
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

/// What reading a segment up to its tracks may cost, and its chapters.
struct MkvLimits {
  EbmlLimits header;
  EbmlLimits chapters;
};
/// Selecting a title costs one segment of the first kind, and its duration some of the second.
inline constexpr MkvLimits kMkvOwnLimits = {
    .header = {}, .chapters = {.elements = 30'000, .bytesRead = 1U << 20, .bytesKept = 2U << 20}};
inline constexpr MkvLimits kMkvLinkedLimits = {
    .header = {.elements = 5'000, .bytesRead = 256U << 10, .bytesKept = 256U << 10},
    .chapters = {.elements = 5'000, .bytesRead = 256U << 10, .bytesKept = 256U << 10}};

/// What is known of one segment, which is one file.
struct MkvSegment {
  MkvSegment(std::shared_ptr<FileReader> openedFile, QMFAllocator* allocator,
             const MkvLimits& costs = kMkvOwnLimits)
      : memory(allocator),
        file(std::move(openedFile)),
        limits(costs),
        tracks(allocator),
        editions(allocator) {}

  QMFAllocator* const memory;
  const std::shared_ptr<FileReader> file;
  const MkvLimits& limits;
  bool wasRead = false;  ///< By ReadMkvSegment.
  bool isWebm = false;
  EbmlElement element;          ///< The segment itself; its end may lie beyond the file's.
  std::uint64_t scannedTo = 0;  ///< Where the walk over the segment's children stopped.
  std::array<std::uint64_t, kSectionCount> sections{};  ///< Offsets in the file; 0 while not known.
  std::optional<MkvInfo> info;
  bool hasTracks = false;
  bool hasSeekHead = false;
  MkvTracks tracks;

  /// Nanoseconds of a tick of the segment's times.
  std::uint64_t TickLength() const { return info ? info->timecodeScale : 1'000'000; }
  /// The last tick whose TimeOf is `time` (100-ns units) or before; 0 for times before the first.
  std::uint64_t TickAt(std::int64_t time) const;
  /// The time of a tick, in 100-ns units. Absurd values wrap.
  std::int64_t TimeOf(std::uint64_t tick) const {
    return static_cast<std::int64_t>(tick * TickLength()) / 100;
  }

  /// Half a tick in 100-ns units: by so much the time of a block is in doubt.
  std::int64_t HalfTick() const {
    constexpr std::uint64_t kSecond = 1'000'000'000;
    return static_cast<std::int64_t>(std::min(TickLength(), kSecond)) / 200;
  }

  /// Where clusters begin, as far as that is known: nothing before is one.
  std::uint64_t FirstCluster() const {
    return sections[kSectionCluster] != 0 ? sections[kSectionCluster] : scannedTo;
  }

  std::optional<MkvCues> cues;                ///< Empty until first needed.
  std::optional<MkvAttachments> attachments;  ///< Empty until first needed.
  std::optional<MkvTags> tags;                ///< Empty until first needed.

  std::pmr::vector<MkvEdition> editions;
  std::uint32_t selectedPlaylist = 0;
  bool allowOrdered = true;
  std::optional<QMFResult> chaptersResult;  ///< Of reading the editions; empty until first needed.

  /// The edition that is selected, or null.
  const MkvEdition* SelectedEdition() const {
    return selectedPlaylist < editions.size() ? &editions[selectedPlaylist] : nullptr;
  }
};

/// Reads what the properties need: the EBML header, the segment's information and its tracks, through the
/// seek head where these stand behind the clusters. A file without whole EBML header is QMF_ERR_INVALID_FILE,
/// another document type QMF_ERR_UNSUPPORTED_CONTAINER, a file without segment QMF_ERR_BAD_STRUCTURE; broken
/// elements give the parse errors of their own. A file that ends early, or lacks elements, succeeds with what
/// it has.
QMFResult ReadMkvSegment(MkvSegment& segment);

/// Reads it unless that was done; what is wrong with it leaves it without tracks.
inline void EnsureMkvSegment(MkvSegment& segment) {
  if (!segment.wasRead) (void)ReadMkvSegment(segment);
}

/// Reads no further than to the segment's information, within `limits`. What it reads is not to be read on.
QMFResult ReadMkvSegmentInfo(MkvSegment& segment, const EbmlLimits& limits);

/// Finds a section of a segment that was read: before the clusters, or where a seek head says.
/// QMF_ERR_END_OF_STREAM when there is none.
QMFResult FindMkvSection(MkvSegment& segment, EbmlReader& reader, MkvSection section, EbmlElement& element);

}  // namespace qmf
