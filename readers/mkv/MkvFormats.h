#pragma once

#include <cstdint>

#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {

/// Fills `format` for video track `index`, from zero. A segment without information or an index that no track
/// has gives QMF_FAILURE, as do a track without picture size and an H.264 profile that is not decodable; a
/// codec whose row is not flagged gives QMF_ERR_CODEC_UNSUPPORTED.
QMFResult FillVideoFormat(const MkvSegment* segment, std::uint32_t index, QMFVideoFormat& format);

/// Fills `format` for audio track `index`, from zero. QMF_NULL_ARGUMENT without a segment, QMF_FAILURE as
/// above. `extraSize` may exceed the record's own room; MkvAcmExtra then has all the bytes.
QMFResult FillAudioFormat(const MkvSegment* segment, std::uint32_t index, QMFAudioFormat& format);

/// The codec-specific bytes behind the WAVEFORMATEX of an A_MS/ACM track; empty for other tracks, and when
/// the header claims more than there is.
std::span<const std::uint8_t> MkvAcmExtra(const MkvTrack& track);

/// Fills `format` for subtitle track `index`: the kind 0x21 and the times; Matroska says no more.
QMFResult FillSubtitleFormat(const MkvSegment& segment, std::uint32_t index, QMFSubtitleFormat& format);

}  // namespace qmf
