#pragma once

#include <memory>

#include "readers/mp4/Mp4Atoms.h"

namespace qmf {

/// Inflates a compressed movie ('cmvd': its size, then zlib data) into a file of its own. At most
/// kMaxInflatedMovie bytes come out; more, or data that zlib refuses, give QMF_ERR_BAD_STRUCTURE.
inline constexpr std::uint64_t kMaxInflatedMovie = 8U << 20;
QMFResult InflateMovie(FileReader& file, const CMP4Bytes& compressed, std::pmr::memory_resource* memory,
                       std::shared_ptr<FileReader>& inflated);

}  // namespace qmf
