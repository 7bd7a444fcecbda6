#pragma once

#include <cstdint>

#include "framework/ResultCodes.h"

namespace qmf {

/// Asks the segments of a title for a sync time, from the current one on, backward or forward. `ask()` asks
/// whatever segment `current` says and answers 0 when it has one; its answer to the same question from the
/// same segment must not change. `current` stays where the walk ended. Without any answer
/// QMF_ERR_END_OF_STREAM.
///
/// Backward the walk also passes the index before the first segment, where the current segment is asked
/// again.
template <class Ask>
QMFResult WalkSyncBackward(std::uint32_t segmentCount, std::uint32_t& current, Ask&& ask) {
  if (ask() == QMF_OK) return QMF_OK;
  for (auto index = static_cast<std::int32_t>(current); index >= 0;) {
    --index;
    if (static_cast<std::uint32_t>(index) < segmentCount) current = static_cast<std::uint32_t>(index);
    if (ask() == QMF_OK) return QMF_OK;
  }
  return QMF_ERR_END_OF_STREAM;
}

/// Forward the bound wraps for a title without segment list, whose one segment would then be asked four
/// billion times. It cannot come to another answer, so that one repetition stands for all.
template <class Ask>
QMFResult WalkSyncForward(std::uint32_t segmentCount, std::uint32_t& current, Ask&& ask) {
  if (ask() == QMF_OK) return QMF_OK;
  const std::uint32_t last = segmentCount - 1;
  for (std::uint32_t index = current; index < last;) {
    ++index;
    const bool moved = index < segmentCount;
    if (moved) current = index;
    if (ask() == QMF_OK) return QMF_OK;
    if (!moved) index = last;
  }
  return QMF_ERR_END_OF_STREAM;
}

}  // namespace qmf
