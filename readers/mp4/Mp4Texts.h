#pragma once

#include <string>

#include "readers/mp4/Mp4Formats.h"

namespace qmf {

/// Where texts about the title lie: iTunes-style or keyed metadata, or QuickTime's user data.
struct CMP4Texts {
  CMP4Bytes title;
  CMP4Bytes encoder;
};

/// Finds the texts of a movie; those it lacks have no bytes.
void FindTexts(const CMP4MovieAtom& movie, CMP4Texts& texts);

/// Reads a text up to the first zero and at most kMaxText bytes of it.
inline constexpr std::uint64_t kMaxText = 16384;
std::u16string ReadText(FileReader& file, const CMP4Bytes& bytes);

/// A text as the file has it: UTF-16 behind a byte-order mark, else UTF-8.
void AssignText(std::pmr::u16string& out, std::span<const std::uint8_t> bytes);

/// The track's name: that of its user data, else the one of its handler.
std::u16string TrackNameOf(const CMP4TrackContext& context);

}  // namespace qmf
