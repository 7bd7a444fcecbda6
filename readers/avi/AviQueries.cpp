#include "readers/avi/AviQueries.h"

#include <optional>
#include <span>

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

struct Query : QueryCall {
  AviContainer& container;
  const AviTitle& title;
};

std::span<const AviStream> Admitted(const AviTitle& title, QMFStreamKind kind) {
  if (kind == kStreamVideo) return std::span(title.streams).first(title.hasVideo ? 1 : 0);
  return kind == kStreamAudio ? title.Audio().first(title.admittedAudio)
                              : title.Subtitles().first(title.admittedSubtitles);
}

template <std::uint64_t value>
QMFResult Constant(const Query& query) {
  return query.Number(value);
}

template <auto number>
QMFResult OfContainer(const Query& query) {
  return query.Number(query.container.*number);
}

template <auto number>
QMFResult OfTitle(const Query& query) {
  return query.Number(query.title.*number);
}

QMFResult TitleCount(const Query& query) {
  return query.Number(query.container.mainTitles.table.titleCount);
}

// The version goes with the software text and is not looked at without it: tools that write a version always
// name themselves.
template <AviText AviTexts::*text, AviText AviTexts::*needed = text>
QMFResult ToolText(const Query& query) {
  const AviTexts& texts = query.container.texts;
  return (texts.*needed)[0] != 0 ? AnswerAviText(query.data, query.qid, texts.*text) : query.Bytes({});
}

QMFResult AllStreams(const Query& query) {
  return query.Number((query.title.hasVideo ? 1U : 0U) + query.title.admittedAudio +
                      query.title.admittedSubtitles);
}

template <QMFStreamKind kind>
QMFResult StreamCount(const Query& query) {
  return query.Number(Admitted(query.title, kind).size());
}

template <QMFStreamKind kind>
QMFResult StreamsMet(const Query& query) {
  return query.Number(query.title.met[kind]);
}

// 0 wherever the video stands in the file, unlike audio and subtitles: callers number the video by kind.
QMFResult VideoTrackNumber(const Query& query) {
  return query.Number(query.index == 0 ? 0 : kNoTrack);
}

template <QMFStreamKind kind>
QMFResult TrackNumber(const Query& query) {
  const auto streams = Admitted(query.title, kind);
  return query.Number(query.index < streams.size() ? streams[query.index].ordinal : kNoTrack);
}

template <QMFStreamKind kind, auto makeFormat>
QMFResult Format(const Query& query) {
  const auto streams = Admitted(query.title, kind);
  if (query.index >= streams.size()) return QMF_ERR_INVALID_STREAM;
  return AnswerRecord(query.data, makeFormat(streams[query.index]));
}

QMFResult FrameCount(const Query& query) {
  return query.Number(query.title.Video().header.Length());
}

QMFResult FrameFromTime(const Query& query) {
  const std::optional<std::uint32_t> frame = AviFrameFromTime(query.title, query.data.value);
  return frame ? query.Number(*frame) : QMF_FAILURE;
}

QMFResult Duration(const Query& query) {
  const std::optional<std::int64_t> duration = AviTitleDuration(query.title);
  return duration ? query.Number(static_cast<std::uint64_t>(*duration)) : QMF_FAILURE;
}

QMFResult SuggestedBufferSize(const Query& query) {
  const std::uint32_t ofTable = query.container.mainTitles.table.suggestedBufferSize;
  return query.Number(ofTable != 0 ? ofTable : query.title.mainHeader.SuggestedBufferSize());
}

QMFResult HasProtectionRecord(const Query& query) {
  return query.Number(query.title.protection1.empty() ? 0 : 1);
}

QMFResult HasPicture(const Query& query) {
  if (query.title.protection2.empty() && query.title.extensionsOffset != 0) {
    QMF_RETURN_IF_NONZERO(ScanAviExtensionsForMeta(query.container));
  }
  return query.Number(query.title.protection2.empty() ? 0 : 1);
}

template <QMFResult (*answer)(AviContainer&, QMFQueryData&)>
QMFResult KeyFrame(const Query& query) {
  return answer(query.container, query.data);
}

// What needs no title. The reader keeps no codec private data.
constexpr QueryRow<Query> kContainerQueries[] = {
    {QMF_QID_GET_MIN_MEM_USAGE, OfContainer<&AviContainer::minimumMemory>},
    {QMF_QID_USE_CACHELESS_INDEX, OfContainer<&AviContainer::cachelessIndex>},
    {QMF_QID_ON_THE_FLY_INDEX, OfContainer<&AviContainer::onTheFlyIndex>},
    {QMF_QID_NUM_CONTAINER_TITLE, TitleCount},
    {QMF_QID_MAX_SUPPORTED_VID_STREAMS, Constant<kMaxAviVideoStreams>},
    {QMF_QID_MAX_SUPPORTED_AUD_STREAMS, Constant<kMaxAviAudioStreams>},
    {QMF_QID_MAX_SUPPORTED_SUB_STREAMS, Constant<kMaxAviSubtitleStreams>},
    {QMF_QID_GET_CONTAINER_TYPE, OfTitle<&AviTitle::hasOpenDmlIndex>},
    {QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE, Constant<0>},
    {QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE, Constant<0>},
    {QMF_QID_SUBTITLE_CODEC_PRIVATE_DATA_SIZE, Constant<0>},
    {QMF_QID_GET_TOOL_VERSION, ToolText<&AviTexts::software>},
    {kQueryToolFileVersion, ToolText<&AviTexts::version, &AviTexts::software>},
    {kQueryToolProductName, ToolText<&AviTexts::product>},
};

constexpr QueryRow<Query> kTitleQueries[] = {
    {QMF_QID_NUM_TITLE_STREAMS, AllStreams},
    {QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA, StreamCount<kStreamVideo>},
    {QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA, StreamCount<kStreamAudio>},
    {QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA, StreamCount<kStreamSubtitle>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_VIDEOMEDIA, StreamsMet<kStreamVideo>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA, StreamsMet<kStreamAudio>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_SUBTITLEMEDIA, StreamsMet<kStreamSubtitle>},
    {QMF_QID_TITLEDATA_VIDEOFRAMECOUNT, FrameCount},
    {QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM, VideoTrackNumber},
    {QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, TrackNumber<kStreamAudio>},
    {QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, TrackNumber<kStreamSubtitle>},
    {QMF_QID_GET_SUPER_INDEX_NUM_ENTRIES, OfTitle<&AviTitle::superIndexEntries>},
    {QMF_QID_HAS_TITLE_DRM1, HasProtectionRecord},
    {QMF_QID_HAS_TITLE_DRMICP, HasPicture},
    {QMF_QID_TITLE_DURATION, Duration},
    {QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, FrameFromTime},
    {QMF_QID_TITLE_SUGGESTED_BUFFER_SIZE, SuggestedBufferSize},
    {QMF_QID_VID_STREAM_FORMAT, Format<kStreamVideo, MakeAviVideoFormat>},
    {QMF_QID_AUD_STREAM_FORMAT, Format<kStreamAudio, MakeAviAudioFormat>},
    {QMF_QID_SUB_STREAM_FORMAT, Format<kStreamSubtitle, MakeAviSubtitleFormat>},
    {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, KeyFrame<AnswerAviPrevSyncPoint>},
    {QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, KeyFrame<AnswerAviNextSyncPoint>},
    {QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, KeyFrame<AnswerAviPrevSyncTime>},
    {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, KeyFrame<AnswerAviNextSyncTime>},
};

}  // namespace

QMFResult AnswerAviQuery(AviContainer& container, const QueryCall& call) {
  const Query query = {call, container, container.title};
  if (const auto* const row = FindQueryRow(kContainerQueries, call.qid)) return row->answer(query);
  const auto* const row = FindQueryRow(kTitleQueries, call.qid);
  if (row == nullptr) return AskAviMenu(container, call.qid, call.data, call.index);
  return container.currentTitle != AviContainer::kNoTitle ? row->answer(query) : QMF_FAILURE;
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
