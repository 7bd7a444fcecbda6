#include "readers/mkv/MkvQueries.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

#include "framework/QueryTable.h"
#include "framework/ReturnIf.h"
#include "readers/mkv/CodecTable.h"
#include "readers/mkv/MkvBlocks.h"
#include "readers/mkv/MkvChapterQueries.h"
#include "readers/mkv/MkvFormats.h"
#include "readers/mkv/MkvFrames.h"
#include "readers/mkv/MkvLinkQueries.h"
#include "readers/mkv/MkvSync.h"
#include "readers/mkv/MkvTagQueries.h"
#include "streamlib/AvcConfiguration.h"

namespace qmf {
namespace {

// One question to a title, and one to its current segment.
struct TitleQuery : QueryCall {
  MkvTitle& title;
};

struct Query : QueryCall {
  MkvTitle& title;
  const MkvSegment& segment;

  std::size_t Count(MkvTrackType type) const { return segment.tracks.Of(type).size(); }
};

// Turns an answer about a track into an answer about stream `index` of its kind.
template <MkvTrackType type, auto answer>
QMFResult OfTrack(const Query& query) {
  if (query.index >= query.Count(type)) return QMF_ERR_INVALID_STREAM;
  return answer(query, query.segment.tracks.Of(type)[query.index]);
}

template <MkvTrackType type>
QMFResult TrackCount(const Query& query) {
  return query.Number(query.Count(type));
}

QMFResult StreamCount(const Query& query) {
  return query.Number(query.Count(kTrackVideo) + query.Count(kTrackAudio) + query.Count(kTrackSubtitle));
}

QMFResult ActiveStreamCount(const Query& query) {
  std::ptrdiff_t count = 0;
  for (const auto type : {kTrackVideo, kTrackAudio, kTrackSubtitle}) {
    count += std::ranges::count(query.segment.tracks.Of(type), true, &MkvTrack::active);
  }
  return query.Number(static_cast<std::uint64_t>(count));
}

template <std::pmr::u16string MkvInfo::*member>
QMFResult InfoText(const Query& query) {
  return query.segment.info ? query.Text((*query.segment.info).*member) : query.Text({});
}

QMFResult ContainerType(const Query& query) {
  return query.Number(query.segment.isWebm ? 1 : 0);
}

QMFResult FileSize(const Query& query) {
  return query.Number(query.segment.file->Size());
}

// The title's protection data are those of the first track that has some.
template <std::pmr::vector<std::uint8_t> MkvTrack::*member>
std::span<const std::uint8_t> Protection(const Query& query) {
  for (const auto type : {kTrackVideo, kTrackAudio, kTrackSubtitle}) {
    for (const MkvTrack& track : query.segment.tracks.Of(type)) {
      if (!(track.*member).empty()) return track.*member;
    }
  }
  return {};
}

template <std::pmr::vector<std::uint8_t> MkvTrack::*member>
QMFResult HasProtection(const Query& query) {
  return query.Number(Protection<member>(query).empty() ? 0 : 1);
}

template <std::pmr::vector<std::uint8_t> MkvTrack::*member>
QMFResult ProtectionSize(const Query& query) {
  return query.Number(Protection<member>(query).size());
}

template <std::pmr::vector<std::uint8_t> MkvTrack::*member>
QMFResult ProtectionData(const Query& query) {
  const auto data = Protection<member>(query);
  return data.empty() ? QMF_ERR_NO_DRM_PRESENT : query.Bytes(data);
}

QMFResult TrackNumber(const Query& query, const MkvTrack& track) {
  return query.Number(track.number);
}

QMFResult TrackName(const Query& query, const MkvTrack& track) {
  return query.Text(track.name);
}

QMFResult CodecId(const Query& query, const MkvTrack& track) {
  return query.Text(CodecIdOf(track.codecIndex));
}

QMFResult CodecName(const Query& query, const MkvTrack& track) {
  return query.Text(track.codecName);
}

QMFResult CodecPrivateSize(const Query& query, const MkvTrack& track) {
  return query.Number(track.codecPrivate.size());
}

QMFResult CodecPrivate(const Query& query, const MkvTrack& track) {
  return query.Bytes(track.codecPrivate);
}

QMFResult IsInterlaced(const Query& query, const MkvTrack& track) {
  return query.Number(track.interlaced ? 1 : 0);
}

QMFResult CombinesFields(const Query& query, const MkvTrack& track) {
  return query.Number(track.combineFields ? 1 : 0);
}

// Only an AVC configuration record has parameter sets; for other tracks the answer has no bytes.
template <auto find>
std::span<const std::uint8_t> ParameterSet(const MkvTrack& track) {
  return track.codecIndex == kCodecAvc ? find(track.codecPrivate) : std::span<const std::uint8_t>();
}

template <auto find>
QMFResult ParameterSetSize(const Query& query, const MkvTrack& track) {
  return query.Number(ParameterSet<find>(track).size());
}

template <auto find>
QMFResult ParameterSetData(const Query& query, const MkvTrack& track) {
  return query.Bytes(ParameterSet<find>(track));
}

QMFResult FrameCount(const Query& query, const MkvTrack& track) {
  return query.Number(MkvFrameCount(track, MkvTitleDuration(query.title)));
}

QMFResult FrameFromTime(const Query& query, const MkvTrack& track) {
  std::uint32_t frame = 0;
  QMF_RETURN_IF_NONZERO(MkvFrameFromTime(track, query.data.value, frame));
  return query.Number(frame);
}

QMFResult TitleMediaProp(const Query& query) {
  QMFTitleMediaProp prop{};
  prop.counts[0] = static_cast<std::uint16_t>(query.Count(kTrackVideo));
  prop.counts[1] = static_cast<std::uint16_t>(query.Count(kTrackAudio));
  prop.counts[2] = static_cast<std::uint16_t>(query.Count(kTrackSubtitle));
  return AnswerRecord(query.data, prop);
}

// The index is compared signed: a negative one gets as far as the fill, which refuses it in its own way.
QMFResult VideoFormat(const Query& query) {
  if (static_cast<std::int32_t>(query.index) >= static_cast<std::int32_t>(query.Count(kTrackVideo))) {
    return QMF_ERR_INVALID_STREAM;
  }
  if (!HasRoomFor(query.data, sizeof(QMFVideoFormat))) return QMF_ERR_BUFFER_TOO_SMALL;
  QMFVideoFormat format{};
  const QMFResult result = FillVideoFormat(&query.segment, query.index, format);
  query.data.size = sizeof(format);
  QMF_RETURN_IF_NONZERO(AnswerRecord(query.data, format));
  return result;
}

QMFResult SubtitleFormat(const Query& query) {
  if (query.index >= query.Count(kTrackSubtitle)) return QMF_ERR_INVALID_STREAM;
  QMFSubtitleFormat format{};
  QMF_RETURN_IF_NONZERO(FillSubtitleFormat(query.segment, query.index, format));
  return AnswerRecord(query.data, format);
}

// Unlike video, the index is checked by the fill alone. The bytes behind a WAVEFORMATEX may go past the
// record where the caller's buffer does.
QMFResult AudioFormat(const TitleQuery& query) {
  QMFQueryData& data = query.data;
  if (!HasRoomFor(data, sizeof(QMFAudioFormat))) return QMF_ERR_BUFFER_TOO_SMALL;
  data.type = kValueRecord;
  QMFAudioFormat format{};
  const MkvSegment* const segment = query.title.Current();
  QMF_RETURN_IF_NONZERO(FillAudioFormat(segment, query.index, format));
  QMF_RETURN_IF_NONZERO(AnswerRecord(data, format));
  const auto extra = MkvAcmExtra(segment->tracks.Of(kTrackAudio)[query.index]);
  constexpr std::size_t kExtraOffset = offsetof(QMFAudioFormat, extra);
  if (extra.empty()) return QMF_OK;
  std::memcpy(static_cast<std::uint8_t*>(data.pointer) + kExtraOffset, extra.data(),
              std::min<std::size_t>(extra.size(), data.size - kExtraOffset));
  return QMF_OK;
}

template <std::uint64_t value>
QMFResult Constant(const TitleQuery& query) {
  return query.Number(value);
}

QMFResult Duration(const TitleQuery& query) {
  return query.Number(MkvTitleDuration(query.title));
}

QMFResult Delaces(const TitleQuery& query) {
  return query.Number(query.title.delace ? 1 : 0);
}

// The sizes in bytes of the frames in the stream's last delivered block, 32 bits each.
QMFResult LaceInfo(const TitleQuery& query) {
  MkvSegment* const segment = query.title.Current();
  if (segment == nullptr) return QMF_FAILURE;
  if (query.index >= segment->tracks.Of(kTrackAudio).size()) return QMF_ERR_INVALID_STREAM;
  const auto sizes = std::as_bytes(query.title.Blocks().LaceOf(kBlockAudio, query.index));
  return query.Bytes({reinterpret_cast<const std::uint8_t*>(sizes.data()), sizes.size()});
}

template <auto find>
QMFResult SyncTime(const TitleQuery& query) {
  std::uint64_t time = query.data.value;
  QMF_RETURN_IF_NONZERO(find(query.title, query.index, time));
  return query.Number(time);
}

// The same by frame numbers of the video stream. Times in the file are rounded to ticks, so frames are
// compared by their middles and found again as the nearest.
template <auto find>
QMFResult SyncPoint(const TitleQuery& query) {
  MkvSegment* const segment = query.title.Current();
  if (segment == nullptr) return QMF_FAILURE;
  if (query.index >= segment->tracks.Of(kTrackVideo).size()) return QMF_ERR_INVALID_STREAM;
  const MkvTrack& track = segment->tracks.Of(kTrackVideo)[query.index];
  if (track.defaultDuration == 0) return QMF_FAILURE;
  std::uint64_t time = MkvMiddleOfFrame(track, static_cast<std::uint32_t>(query.data.value));
  QMF_RETURN_IF_NONZERO(find(query.title, query.index, time));
  return query.Number(MkvFrameCount(track, time));
}

// Answered before a title is selected as well.
constexpr QueryRow<TitleQuery> kTitleQueries[] = {
    {QMF_QID_TITLE_DURATION, Duration},
    {QMF_QID_AUD_STREAM_FORMAT, AudioFormat},
    {QMF_QID_NUM_CONTAINER_TITLE, Constant<1>},
    {QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, SyncTime<PreviousSyncTime>},
    {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, SyncTime<NextSyncTime>},
    {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, SyncPoint<PreviousSyncTime>},
    {QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, SyncPoint<NextSyncTime>},
    {QMF_QID_LACEINFO, LaceInfo},
    {QMF_QID_DELACE_BLOCKS, Delaces},
    {QMF_QID_MAX_SUPPORTED_VID_STREAMS, Constant<MkvTracks::kMaxTracks>},
    {QMF_QID_MAX_SUPPORTED_AUD_STREAMS, Constant<MkvTracks::kMaxTracks>},
    {QMF_QID_MAX_SUPPORTED_SUB_STREAMS, Constant<MkvTracks::kMaxTracks>},
};

constexpr QueryRow<Query> kSegmentQueries[] = {
    {QMF_QID_CONTAINER_TITLE_NAME, InfoText<&MkvInfo::title>},
    {QMF_QID_CONTAINER_FILE_NAME, InfoText<&MkvInfo::fileName>},
    {QMF_QID_CONTAINER_MUX_APP, InfoText<&MkvInfo::muxingApp>},
    {QMF_QID_CONTAINER_WRITE_APP, InfoText<&MkvInfo::writingApp>},
    {QMF_QID_GET_CONTAINER_TYPE, ContainerType},
    {QMF_QID_NUM_TITLE_STREAMS, StreamCount},
    {QMF_QID_NUM_ACTIVE_TITLE_STREAMS, ActiveStreamCount},
    {QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA, TrackCount<kTrackVideo>},
    {QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA, TrackCount<kTrackAudio>},
    {QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA, TrackCount<kTrackSubtitle>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_VIDEOMEDIA, TrackCount<kTrackVideo>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA, TrackCount<kTrackAudio>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_SUBTITLEMEDIA, TrackCount<kTrackSubtitle>},
    {QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM, OfTrack<kTrackVideo, TrackNumber>},
    {QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, OfTrack<kTrackAudio, TrackNumber>},
    {QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, OfTrack<kTrackSubtitle, TrackNumber>},
    {QMF_QID_VID_STREAM_NAME, OfTrack<kTrackVideo, TrackName>},
    {QMF_QID_AUD_STREAM_NAME, OfTrack<kTrackAudio, TrackName>},
    {QMF_QID_SUB_STREAM_NAME, OfTrack<kTrackSubtitle, TrackName>},
    {QMF_QID_VID_CODEC_ID, OfTrack<kTrackVideo, CodecId>},
    {QMF_QID_AUD_CODEC_ID, OfTrack<kTrackAudio, CodecId>},
    {QMF_QID_SUB_CODEC_ID, OfTrack<kTrackSubtitle, CodecId>},
    {QMF_QID_VID_CODEC_NAME, OfTrack<kTrackVideo, CodecName>},
    {QMF_QID_AUD_CODEC_NAME, OfTrack<kTrackAudio, CodecName>},
    {QMF_QID_SUB_CODEC_NAME, OfTrack<kTrackSubtitle, CodecName>},
    {QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE, OfTrack<kTrackVideo, CodecPrivateSize>},
    {QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE, OfTrack<kTrackAudio, CodecPrivateSize>},
    {QMF_QID_SUBTITLE_CODEC_PRIVATE_DATA_SIZE, OfTrack<kTrackSubtitle, CodecPrivateSize>},
    {QMF_QID_VIDEO_CODEC_PRIVATE_DATA, OfTrack<kTrackVideo, CodecPrivate>},
    {QMF_QID_AUDIO_CODEC_PRIVATE_DATA, OfTrack<kTrackAudio, CodecPrivate>},
    {QMF_QID_SUBTITLE_CODEC_PRIVATE_DATA, OfTrack<kTrackSubtitle, CodecPrivate>},
    {QMF_QID_MKV_IS_INTERLACED, OfTrack<kTrackVideo, IsInterlaced>},
    {QMF_QID_MKV_COMBINE_FIELDS, OfTrack<kTrackVideo, CombinesFields>},
    {QMF_QID_SPS_SIZE, OfTrack<kTrackVideo, ParameterSetSize<SPL::FirstSequenceParameterSet>>},
    {QMF_QID_SPS_DATA, OfTrack<kTrackVideo, ParameterSetData<SPL::FirstSequenceParameterSet>>},
    {QMF_QID_PPS_SIZE, OfTrack<kTrackVideo, ParameterSetSize<SPL::FirstPictureParameterSet>>},
    {QMF_QID_PPS_DATA, OfTrack<kTrackVideo, ParameterSetData<SPL::FirstPictureParameterSet>>},
    {QMF_QID_TITLEDATA_VIDEOFRAMECOUNT, OfTrack<kTrackVideo, FrameCount>},
    {QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, OfTrack<kTrackVideo, FrameFromTime>},
    {QMF_QID_GET_TITLE_MEDIA_PROP, TitleMediaProp},
    {QMF_QID_GET_FILE_SIZE, FileSize},
    {QMF_QID_HAS_TITLE_DRM1, HasProtection<&MkvTrack::drmOld>},
    {QMF_QID_GET_TITLE_DRM1_DATA_SIZE, ProtectionSize<&MkvTrack::drmOld>},
    {QMF_QID_GET_TITLE_DRM1, ProtectionData<&MkvTrack::drmOld>},
    {QMF_QID_HAS_TITLE_DRMICP, HasProtection<&MkvTrack::drmIcp>},
    {QMF_QID_GET_TITLE_DRMICP_DATA_SIZE, ProtectionSize<&MkvTrack::drmIcp>},
    {QMF_QID_GET_TITLE_DRMICP, ProtectionData<&MkvTrack::drmIcp>},
    {QMF_QID_VID_STREAM_FORMAT, VideoFormat},
    {QMF_QID_SUB_STREAM_FORMAT, SubtitleFormat},
};

// Fields can be combined where the stream stores each of them as a block of its own, which of the codecs read
// here only interlaced AVC does.
QMFResult CombineFields(const MkvTitle& title, const QMFQueryData& data, std::uint32_t index) {
  if (title.singleSegment == nullptr) return QMF_FAILURE;
  auto& tracks = title.singleSegment->tracks.Of(kTrackVideo);
  if (index >= tracks.size()) return QMF_ERR_INVALID_STREAM;
  MkvTrack& track = tracks[index];
  const bool combine = static_cast<std::uint8_t>(data.value) != 0;
  track.fieldsCombinable = track.codecIndex == kCodecAvc && track.interlaced;
  if (combine && !track.fieldsCombinable) return QMF_ERR_COMBINE_FIELDS_UNSUPPORTED;
  track.combineFields = combine;
  return QMF_OK;
}

}  // namespace

QMFResult AnswerMkvQuery(MkvTitle& title, std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  const QueryCall call{qid, data, index};
  if (const auto* const row = FindQueryRow(kTitleQueries, qid)) return row->answer({call, title});
  MkvSegment* const segment = title.Current();
  if (segment == nullptr) return QMF_FAILURE;
  if (const auto* const row = FindQueryRow(kSegmentQueries, qid)) return row->answer({call, title, *segment});
  if (const QMFResult result = AnswerMkvLinkQuery(title, *segment, call); result != QMF_ERR_UNSUPPORTED_QID) {
    return result;
  }
  for (const auto answer : {AnswerMkvChapterQuery, AnswerMkvAttachmentQuery, AnswerMkvTagQuery}) {
    const QMFResult result = answer(*segment, call);
    if (result != QMF_ERR_UNSUPPORTED_QID) return result;
  }
  return QMF_ERR_UNSUPPORTED_QID;
}

QMFResult SetMkvInfo(MkvTitle& title, std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  switch (qid) {
    case QMF_QID_MKV_COMBINE_FIELDS:
      return CombineFields(title, data, index);
    case QMF_QID_DELACE_BLOCKS:
      title.delace = static_cast<std::uint32_t>(data.value) != 0;
      return QMF_OK;
    default:
      break;
  }
  if (title.Current() == nullptr) return QMF_FAILURE;
  const QMFResult result = SetMkvChapterInfo(*title.singleSegment, qid, data);
  if (result == QMF_ERR_UNSUPPORTED_QID) return SetMkvTagInfo(*title.Current(), qid, data);
  if (result == QMF_OK) title.Rearrange();
  return result;
}

}  // namespace qmf
