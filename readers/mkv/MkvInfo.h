#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "readers/mkv/EbmlReader.h"

namespace qmf {

/// A segment's UID, zero-filled where the file gives fewer bytes.
using MkvSegmentUid = std::array<std::uint8_t, 16>;

/// The segment's information.
struct MkvInfo {
  explicit MkvInfo(QMFAllocator* memory)
      : title(memory),
        fileName(memory),
        prevFileName(memory),
        nextFileName(memory),
        muxingApp(memory),
        writingApp(memory) {}

  std::uint64_t timecodeScale = 1'000'000;  ///< Nanoseconds a tick.
  double duration = 0.0;                    ///< Ticks, as the file says.
  MkvSegmentUid segmentUid{};
  MkvSegmentUid prevUid{};  ///< Of the segment that is played before this one; zeros for none.
  MkvSegmentUid nextUid{};
  std::pmr::u16string title;
  std::pmr::u16string fileName;
  std::pmr::u16string prevFileName;
  std::pmr::u16string nextFileName;
  std::pmr::u16string muxingApp;
  std::pmr::u16string writingApp;
  /// Written by an early version of a library that is known by its name.
  bool byLibmatroska081 = false;

  /// A tick in 100-ns units, truncated.
  std::uint64_t Scale100ns() const { return timecodeScale / 100; }
};

/// Reads a segment's UID of at most 16 bytes.
QMFResult ReadMkvUid(EbmlReader& reader, const EbmlElement& element, MkvSegmentUid& uid);

/// Fills `info` from a SegmentInfo element. Whatever is wrong with it is QMF_ERR_QF3_PARSE_SEGMENTINFO.
QMFResult ReadMkvInfo(EbmlReader& reader, const EbmlElement& element, MkvInfo& info);

}  // namespace qmf
