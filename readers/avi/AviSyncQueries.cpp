#include "readers/avi/AviSyncQueries.h"

#include <algorithm>
#include <optional>

#include "framework/QueryAnswer.h"
#include "framework/QueryIds.h"
#include "readers/avi/AviIndex.h"
#include "readers/avi/AviTime.h"

namespace qmf {
namespace {

std::uint32_t FrameAsked(const QMFQueryData& data) {
  return static_cast<std::uint32_t>(data.value);
}

std::optional<std::uint64_t> FrameAtTimeAsked(const AviContainer& container, const QMFQueryData& data) {
  constexpr std::uint64_t kLatest = INT64_MAX;
  return AviCountAt(container.title.Video(), static_cast<std::int64_t>(std::min(data.value, kLatest)));
}

// The seek table with what the file's index says. It speaks of the video, or else of nothing that has keys.
const AviSeekTable* LoadTable(AviContainer& container) {
  (void)container.Seeker();
  return container.title.hasVideo ? &container.seekTable : nullptr;
}

QMFResult AnswerFrame(QMFQueryData& data, std::uint32_t qid, std::optional<std::uint64_t> frame) {
  return frame ? AnswerNumber(data, qid, static_cast<std::uint32_t>(*frame)) : QMF_ERR_END_OF_STREAM;
}

QMFResult AnswerTime(const AviContainer& container, QMFQueryData& data, std::uint32_t qid,
                     std::uint64_t frame) {
  const std::int64_t time = AviTimeOf(container.title.Video(), frame);
  return AnswerNumber(data, qid, static_cast<std::uint64_t>(time));
}

QMFResult NextInOpenDmlIndex(AviContainer& container, QMFQueryData& data) {
  const AviStream& video = container.title.Video();
  if (!video.index) return QMF_FAILURE;
  const FileReader::Limit limit = LimitOfAviIndexes(*container.file);
  AviStreamIndex index(*container.file, video, 0, container.memory);
  AviIndexEntry entry;
  const std::uint32_t asked = FrameAsked(data);
  for (std::uint64_t frame = 0; index.Next(entry); ++frame) {
    if (frame > asked && entry.isKey) return AnswerFrame(data, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, frame);
  }
  return index.IsBad() ? QMF_FAILURE : QMF_ERR_END_OF_STREAM;
}

}  // namespace

QMFResult AnswerAviPrevSyncPoint(AviContainer& container, QMFQueryData& data) {
  const AviSeekTable* const table = LoadTable(container);
  if (table == nullptr) return QMF_ERR_END_OF_STREAM;
  return AnswerFrame(data, QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, table->KeyAtOrBefore(FrameAsked(data)));
}

QMFResult AnswerAviNextSyncPoint(AviContainer& container, QMFQueryData& data) {
  if (container.cachelessIndex && container.title.hasOpenDmlIndex) return NextInOpenDmlIndex(container, data);
  const AviSeekTable* const table = LoadTable(container);
  if (table == nullptr) return QMF_ERR_END_OF_STREAM;
  return AnswerFrame(data, QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT,
                     table->KeyFrom(std::uint64_t{FrameAsked(data)} + 1));
}

QMFResult AnswerAviPrevSyncTime(AviContainer& container, QMFQueryData& data) {
  const AviSeekTable* const table = LoadTable(container);
  const std::optional<std::uint64_t> frame = FrameAtTimeAsked(container, data);
  if (table == nullptr || !frame) return QMF_ERR_END_OF_STREAM;
  const std::optional<std::uint64_t> key = table->KeyAtOrBefore(*frame);
  if (key) return AnswerTime(container, data, QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, *key);
  return container.Seeker().HasBadIndex() ? QMF_ERR_PROCESS_INDEX_FAILED : QMF_ERR_END_OF_STREAM;
}

QMFResult AnswerAviNextSyncTime(AviContainer& container, QMFQueryData& data) {
  const AviSeekTable* const table = LoadTable(container);
  if (table == nullptr) return QMF_ERR_END_OF_STREAM;
  const std::optional<std::uint64_t> frame = FrameAtTimeAsked(container, data);
  const std::optional<std::uint64_t> key =
      table->KeyFrom(frame ? std::min(*frame, table->FrameCount()) + 1 : 0);
  if (key) return AnswerTime(container, data, QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, *key);
  if (container.Seeker().HasBadIndex()) return QMF_ERR_PROCESS_INDEX_FAILED;
  return container.Seeker().IsComplete() ? QMF_ERR_END_OF_STREAM : QMF_ERR_INDEX_INCOMPLETE;
}

}  // namespace qmf
