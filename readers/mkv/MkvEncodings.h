#pragma once

#include <cstdint>
#include <memory_resource>
#include <vector>

#include "framework/ResultCodes.h"
#include "readers/mkv/MkvTracks.h"

namespace qmf {

/// What an encoding applies to: bits of MkvContentEncoding::scope.
enum MkvEncodingScope : std::uint64_t { kScopeBlocks = 1, kScopeCodecPrivate = 2 };

/// Whether the track's data of this scope were transformed.
bool IsEncoded(const MkvTrack& track, MkvEncodingScope scope);

/// Undoes the track's encodings of `scope` on `bytes`: zlib compression and stripped headers. Other methods
/// give QMF_ERR_CODEC_UNSUPPORTED; data that do not inflate, or to more than `left` bytes, give
/// QMF_ERR_BLOCK_READ_FAILURE. What each encoding brings forth, even when it fails, is taken off `left`.
QMFResult UndoEncodings(const MkvTrack& track, MkvEncodingScope scope, std::size_t& left,
                        std::pmr::vector<std::uint8_t>& bytes);

}  // namespace qmf
