#include "readers/avi/AviQueries.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "framework/QueryAnswer.h"
#include "framework/QueryIds.h"
#include "framework/ReturnIf.h"
#include "readers/avi/AviFormats.h"
#include "readers/avi/AviHeaderScan.h"
#include "readers/avi/AviSyncQueries.h"
#include "readers/avi/AviTime.h"

namespace qmf {
namespace {

// Texts of the product's own tools; their identifiers have no name.
constexpr std::uint32_t kQueryToolFileVersion = 0x85770A;
constexpr std::uint32_t kQueryToolProductName = 0x85780A;

constexpr std::uint32_t kNoTrack = 0xFFFFFFFF;

using Number = std::optional<std::uint64_t>;

std::uint32_t TrackNumber(std::span<const AviStream> streams, std::uint32_t admitted, std::uint32_t index) {
  return index < admitted ? streams[index].ordinal : kNoTrack;
}

// Numbers that need no title.
Number NumberOfContainer(const AviContainer& container, std::uint32_t qid) {
  switch (qid) {
    case QMF_QID_GET_MIN_MEM_USAGE:
      return container.minimumMemory;
    case QMF_QID_USE_CACHELESS_INDEX:
      return container.cachelessIndex;
    case QMF_QID_ON_THE_FLY_INDEX:
      return container.onTheFlyIndex;
    case QMF_QID_NUM_CONTAINER_TITLE:
      return container.mainTitles.table.titleCount;
    case QMF_QID_MAX_SUPPORTED_VID_STREAMS:
      return kMaxAviVideoStreams;
    case QMF_QID_MAX_SUPPORTED_AUD_STREAMS:
      return kMaxAviAudioStreams;
    case QMF_QID_MAX_SUPPORTED_SUB_STREAMS:
      return kMaxAviSubtitleStreams;
    case QMF_QID_GET_CONTAINER_TYPE:
      return container.title.hasOpenDmlIndex;
    case QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE:
    case QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE:
    case QMF_QID_SUBTITLE_CODEC_PRIVATE_DATA_SIZE:
      return 0;  // The reader keeps none.
    default:
      return std::nullopt;
  }
}

// Numbers that the title's headers hold.
Number NumberOfTitle(const AviTitle& title, std::uint32_t qid, std::uint32_t index) {
  switch (qid) {
    case QMF_QID_NUM_TITLE_STREAMS:
      return (title.hasVideo ? 1U : 0U) + title.admittedAudio + title.admittedSubtitles;
    case QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA:
      return title.hasVideo;
    case QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA:
      return title.admittedAudio;
    case QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA:
      return title.admittedSubtitles;
    case QMF_QID_TOTAL_NUM_TITLEMEDIA_VIDEOMEDIA:
      return title.met[kStreamVideo];
    case QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA:
      return title.met[kStreamAudio];
    case QMF_QID_TOTAL_NUM_TITLEMEDIA_SUBTITLEMEDIA:
      return title.met[kStreamSubtitle];
    case QMF_QID_TITLEDATA_VIDEOFRAMECOUNT:
      return title.Video().header.Length();
    case QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM:
      // 0 wherever the video stands in the file, unlike audio and subtitles: callers number the video by
      // kind.
      return index == 0 ? 0 : kNoTrack;
    case QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM:
      return TrackNumber(title.Audio(), title.admittedAudio, index);
    case QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM:
      return TrackNumber(title.Subtitles(), title.admittedSubtitles, index);
    case QMF_QID_GET_SUPER_INDEX_NUM_ENTRIES:
      return title.superIndexEntries;
    case QMF_QID_HAS_TITLE_DRM1:
      return !title.protection1.empty();
    default:
      return std::nullopt;
  }
}

QMFResult AnswerFrameFromTime(AviContainer& container, QMFQueryData& data, std::uint32_t) {
  const std::optional<std::uint32_t> frame = AviFrameFromTime(container.title, data.value);
  if (!frame) return QMF_FAILURE;
  return AnswerNumber(data, QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, *frame);
}

QMFResult AnswerDuration(AviContainer& container, QMFQueryData& data, std::uint32_t) {
  const std::optional<std::int64_t> duration = AviTitleDuration(container.title);
  if (!duration) return QMF_FAILURE;
  return AnswerNumber(data, QMF_QID_TITLE_DURATION, static_cast<std::uint64_t>(*duration));
}

QMFResult AnswerSuggestedBufferSize(AviContainer& container, QMFQueryData& data, std::uint32_t) {
  const std::uint32_t ofTable = container.mainTitles.table.suggestedBufferSize;
  const std::uint32_t ofTitle = container.title.mainHeader.SuggestedBufferSize();
  return AnswerNumber(data, QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE, ofTable != 0 ? ofTable : ofTitle);
}

QMFResult AnswerHasPicture(AviContainer& container, QMFQueryData& data, std::uint32_t) {
  const AviTitle& title = container.title;
  if (title.protection2.empty() && title.extensionsOffset != 0) {
    QMF_RETURN_IF_NONZERO(ScanAviExtensionsForMeta(container));
  }
  return AnswerNumber(data, QMF_QID_HAS_TITLE_DRMICP, title.protection2.empty() ? 0 : 1);
}

QMFResult AnswerVideoFormat(AviContainer& container, QMFQueryData& data, std::uint32_t index) {
  const AviTitle& title = container.title;
  if (index >= (title.hasVideo ? 1U : 0U)) return QMF_ERR_INVALID_STREAM;
  return AnswerRecord(data, MakeAviVideoFormat(title.Video()));
}

QMFResult AnswerAudioFormat(AviContainer& container, QMFQueryData& data, std::uint32_t index) {
  const AviTitle& title = container.title;
  if (index >= title.admittedAudio) return QMF_ERR_INVALID_STREAM;
  return AnswerRecord(data, MakeAviAudioFormat(title.Audio()[index]));
}

QMFResult AnswerSubtitleFormat(AviContainer& container, QMFQueryData& data, std::uint32_t index) {
  const AviTitle& title = container.title;
  if (index >= title.admittedSubtitles) return QMF_ERR_INVALID_STREAM;
  return AnswerRecord(data, MakeAviSubtitleFormat(title.Subtitles()[index]));
}

// What else concerns the title.
struct TitleQuery {
  std::uint32_t qid;
  QMFResult (*answer)(AviContainer&, QMFQueryData&, std::uint32_t index);
};
constexpr TitleQuery kTitleQueries[] = {
    {QMF_QID_TITLE_DURATION, AnswerDuration},
    {QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, AnswerFrameFromTime},
    {QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE, AnswerSuggestedBufferSize},
    {QMF_QID_HAS_TITLE_DRMICP, AnswerHasPicture},
    {QMF_QID_VID_STREAM_FORMAT, AnswerVideoFormat},
    {QMF_QID_AUD_STREAM_FORMAT, AnswerAudioFormat},
    {QMF_QID_SUB_STREAM_FORMAT, AnswerSubtitleFormat},
    {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, AnswerAviPrevSyncPoint},
    {QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, AnswerAviNextSyncPoint},
    {QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, AnswerAviPrevSyncTime},
    {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, AnswerAviNextSyncTime},
};

QMFResult AnswerTitleQuery(AviContainer& container, std::uint32_t qid, QMFQueryData& data,
                           std::uint32_t index) {
  const bool hasTitle = container.currentTitle != AviContainer::kNoTitle;
  if (const Number number = NumberOfTitle(container.title, qid, index)) {
    return hasTitle ? AnswerNumber(data, qid, *number) : QMF_FAILURE;
  }
  const auto* const row = std::ranges::find(kTitleQueries, qid, &TitleQuery::qid);
  if (row == std::end(kTitleQueries)) return AskAviMenu(container, qid, data, index);
  return hasTitle ? row->answer(container, data, index) : QMF_FAILURE;
}

QMFResult AnswerNothing(QMFQueryData& data, std::uint32_t qid) {
  return AnswerBytes(data, qid, {});
}

QMFResult AnswerTextQuery(const AviTexts& texts, std::uint32_t qid, QMFQueryData& data) {
  // The version goes with the software text and is not looked at without it: tools that write a version
  // always name themselves.
  const bool hasSoftware = texts.software[0] != 0;
  switch (qid) {
    case QMF_QID_GET_TOOL_VERSION:
      return hasSoftware ? AnswerAviText(data, qid, texts.software) : AnswerNothing(data, qid);
    case kQueryToolFileVersion:
      return hasSoftware ? AnswerAviText(data, qid, texts.version) : AnswerNothing(data, qid);
    case kQueryToolProductName:
      return texts.product[0] != 0 ? AnswerAviText(data, qid, texts.product) : AnswerNothing(data, qid);
    default:
      return QMF_ERR_UNSUPPORTED_QID;
  }
}

}  // namespace

QMFResult AnswerAviQuery(AviContainer& container, std::uint32_t qid, QMFQueryData& data,
                         std::uint32_t index) {
  if (const Number number = NumberOfContainer(container, qid)) return AnswerNumber(data, qid, *number);
  const QMFResult text = AnswerTextQuery(container.texts, qid, data);
  if (text != QMF_ERR_UNSUPPORTED_QID) return text;
  return AnswerTitleQuery(container, qid, data, index);
}

QMFResult SetAviInfo(AviContainer& container, std::uint32_t qid, const QMFQueryData& data) {
  switch (qid) {
    case QMF_QID_USE_CACHELESS_INDEX:
      container.cachelessIndex = (data.value & 0xFF) != 0;
      return QMF_OK;
    case QMF_QID_SET_MIN_MEM_USAGE:
      container.minimumMemory = (data.value & 0xFF) != 0;
      return QMF_OK;
    default:
      return QMF_ERR_UNSUPPORTED_QID;
  }
}

}  // namespace qmf
