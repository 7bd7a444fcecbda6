#pragma once

#include <memory_resource>

#include "framework/InfoRecords.h"
#include "readers/mp4/Mp4Atoms.h"

namespace qmf {

/// What the format records are made of: the file, its movie and one of the movie's tracks.
struct CMP4TrackContext {
  FileReader& file;
  const CMP4MovieAtom& movie;
  const CMP4TrackAtom& track;
  std::pmr::memory_resource* memory;
};

QMFVideoFormat VideoFormatOf(const CMP4TrackContext& context);
QMFAudioFormat AudioFormatOf(const CMP4TrackContext& context);
QMFSubtitleFormat SubtitleFormatOf(const CMP4TrackContext& context);

/// The track's decoder configuration, as decoders take it; no bytes when there is none.
std::pmr::vector<std::uint8_t> ReadCodecConfig(const CMP4TrackContext& context);

}  // namespace qmf
