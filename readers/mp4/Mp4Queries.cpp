#include "readers/mp4/Mp4Queries.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "framework/QueryTable.h"
#include "framework/ReturnIf.h"
#include "framework/Text.h"
#include "framework/WideArithmetic.h"
#include "readers/mp4/Mp4CodecTable.h"
#include "readers/mp4/Mp4Texts.h"
#include "readers/mp4/Mp4Timing.h"
#include "streamlib/AvcConfiguration.h"

namespace qmf {
namespace {

struct Query : QueryCall {
  CMP4Title& title;
  CMP4Blocks& blocks;
};

template <std::uint64_t value>
QMFResult Constant(const Query& query) {
  return query.Number(value);
}

template <QMFStreamKind kind>
QMFResult StreamCount(const Query& query) {
  return query.Number(query.title.StreamCount(kind));
}

QMFResult AllStreams(const Query& query) {
  std::size_t count = 0;
  for (const auto kind : {kStreamVideo, kStreamAudio, kStreamSubtitle})
    count += query.title.StreamCount(kind);
  return query.Number(count);
}

QMFResult ActiveStreams(const Query& query) {
  return query.Number(query.blocks.ActiveCount());
}

QMFResult ContainerType(const Query& query) {
  return query.Number(query.title.Movie().fragmented ? 1 : 0);
}

QMFResult FileSize(const Query& query) {
  return query.Number(query.title.File().Size());
}

QMFResult Duration(const Query& query) {
  return query.Number(static_cast<std::uint64_t>(query.title.Duration()));
}

QMFResult TitleMediaProp(const Query& query) {
  QMFTitleMediaProp prop{};
  prop.counts[0] = static_cast<std::uint16_t>(query.title.StreamCount(kStreamVideo));
  prop.counts[1] = static_cast<std::uint16_t>(query.title.StreamCount(kStreamAudio));
  prop.counts[2] = static_cast<std::uint16_t>(query.title.StreamCount(kStreamSubtitle));
  return AnswerRecord(query.data, prop);
}

template <QMFStreamKind kind, QMFResult (*answer)(const Query&, const CMP4TrackAtom&)>
QMFResult OfStream(const Query& query) {
  const CMP4TrackAtom* const track = query.title.Stream(kind, query.index);
  return track != nullptr ? answer(query, *track) : QMF_ERR_INVALID_STREAM;
}

template <QMFResult (*answer)(const Query&, const CMP4TrackAtom&)>
QMFResult OfFirstVideo(const Query& query) {
  const CMP4TrackAtom* const track = query.title.Stream(kStreamVideo, 0);
  return track != nullptr ? answer(query, *track) : QMF_ERR_INVALID_STREAM;
}

template <auto formatOf>
QMFResult Format(const Query& query, const CMP4TrackAtom& track) {
  return AnswerRecord(query.data, formatOf(query.title.Context(track)));
}

QMFResult TrackId(const Query& query, const CMP4TrackAtom& track) {
  return query.Number(track.id);
}

QMFResult TrackName(const Query& query, const CMP4TrackAtom& track) {
  return query.Text(TrackNameOf(query.title.Context(track)));
}

QMFResult CodecId(const Query& query, const CMP4TrackAtom& track) {
  std::u16string text;
  for (FourCC code = track.sampleTable.description.format; code != 0; code >>= 8) {
    text.push_back(static_cast<char16_t>(code & 0xFF));
  }
  return query.Text(text);
}

template <QMFStreamKind kind>
QMFResult CodecName(const Query& query, const CMP4TrackAtom& track) {
  const CMP4SampleDescription& description = track.sampleTable.description;
  switch (kind) {
    case kStreamVideo:
      return query.Text(ToUtf16(VideoCodecOf(description).name));
    case kStreamAudio:
      return query.Text(ToUtf16(AudioCodecOf(description).name));
    case kStreamSubtitle:
    case kStreamNone:
      break;
  }
  return query.Text(ToUtf16(TextCodecName(description.format)));
}

QMFResult MimeType(const Query& query, const CMP4TrackAtom& track) {
  return query.Text(ToUtf16(AudioCodecOf(track.sampleTable.description).mime));
}

QMFResult ConfigSize(const Query& query, const CMP4TrackAtom& track) {
  return query.Number(ReadCodecConfig(query.title.Context(track)).size());
}

QMFResult Config(const Query& query, const CMP4TrackAtom& track) {
  return query.Bytes(ReadCodecConfig(query.title.Context(track)));
}

// Only an AVC configuration has parameter sets; for other tracks the answer has no bytes.
template <auto find, bool sizeOnly>
QMFResult ParameterSet(const Query& query, const CMP4TrackAtom& track) {
  std::pmr::vector<std::uint8_t> config(query.title.Memory());
  if (track.sampleTable.description.config.type == MakeFourCC("avcC")) {
    config = ReadCodecConfig(query.title.Context(track));
  }
  const std::span<const std::uint8_t> set = find(config);
  return sizeOnly ? query.Number(set.size()) : query.Bytes(set);
}

Fraction RateOf(const Query& query, const CMP4TrackAtom& track) {
  return AverageRate(query.title.File(), query.title.Movie(), track, query.title.Memory());
}

// How many frames a time holds; `rounding` of a frame, in parts of the rate, is added.
QMFResult Frames(const Query& query, std::uint64_t time, const Fraction& rate, std::uint64_t rounding) {
  const std::uint64_t frameUnits = std::uint64_t{rate.denominator} * kTimeUnitsPerSecond;
  const std::uint64_t frames = MultiplyDivide(time, rate.numerator, frameUnits, rounding);
  return query.Number(std::min<std::uint64_t>(frames, UINT32_MAX));
}

// In a fragmented file the movie header counts no samples; the average rate does.
QMFResult FrameCount(const Query& query, const CMP4TrackAtom& track) {
  const std::uint64_t counted = TotalsOf(track, query.title.Memory()).samples;
  if (!query.title.Movie().fragmented) return query.Number(counted);
  const Fraction rate = RateOf(query, track);
  if (rate.denominator == 0) return query.Number(counted);
  const std::uint64_t halfFrame = std::uint64_t{rate.denominator} * kTimeUnitsPerSecond / 2;
  return Frames(query, static_cast<std::uint64_t>(query.title.Duration()), rate, halfFrame);
}

// The frame at a time of constant rate; -1 and the record as it was when there is no rate. Blocks have
// rounded times: a frame begins up to half a unit early.
QMFResult FrameFromTime(const Query& query, const CMP4TrackAtom& track) {
  const Fraction rate = RateOf(query, track);
  if (rate.denominator == 0) return QMF_FAILURE;
  return Frames(query, query.data.value, rate, rate.numerator / 2);
}

QMFResult IsInterlaced(const Query& query, const CMP4TrackAtom& track) {
  return query.Number(VideoFormatOf(query.title.Context(track)).interlaced);
}

template <CMP4Bytes CMP4Texts::*member>
QMFResult TitleText(const Query& query) {
  CMP4Texts texts;
  FindTexts(query.title.Movie(), texts);
  return query.Text(ReadText(*query.title.Movie().file, texts.*member));
}

// Sync samples are those of the first video stream. Its tables number the frames; fragments do not.
template <std::uint64_t (CMP4SampleCursor::*find)(std::uint64_t)>
QMFResult SyncPoint(const Query& query, const CMP4TrackAtom& track) {
  CMP4TrackReader reader(query.title.Context(track));
  const std::uint64_t sample = (reader.Tables().*find)(query.data.value);
  return sample == CMP4SampleCursor::kNone ? QMF_ERR_END_OF_STREAM : query.Number(sample);
}

template <bool (CMP4TrackReader::*find)(std::int64_t)>
QMFResult SyncTime(const Query& query, const CMP4TrackAtom& track) {
  const CMP4MovieAtom& movie = query.title.Movie();
  CMP4TrackReader reader(query.title.Context(track));
  const std::int64_t asked = ToMediaTime(movie, track, static_cast<std::int64_t>(query.data.value));
  if (!(reader.*find)(asked)) return QMF_ERR_END_OF_STREAM;
  return query.Number(static_cast<std::uint64_t>(ToMovieTime(movie, track, reader.Current().decodeTime)));
}

QMFResult ChapterCount(const Query& query) {
  return query.Number(query.title.Chapters().size());
}

// Chapters are asked for by their index.
template <QMFResult (*answer)(const Query&, const CMP4Chapter&)>
QMFResult OfChapter(const Query& query) {
  const CMP4Chapters& chapters = query.title.Chapters();
  return query.index < chapters.size() ? answer(query, chapters[query.index]) : QMF_ERR_INDEX_OUT_OF_RANGE;
}

template <std::int64_t CMP4Chapter::*time>
QMFResult ChapterTime(const Query& query, const CMP4Chapter& chapter) {
  return query.Number(static_cast<std::uint64_t>(chapter.*time));
}

QMFResult ChapterName(const Query& query, const CMP4Chapter& chapter) {
  return query.Text(chapter.name);
}

constexpr QueryRow<Query> kRows[] = {
    {QMF_QID_NUM_CONTAINER_TITLE, Constant<1>},
    {QMF_QID_CONTAINER_TITLE_NAME, TitleText<&CMP4Texts::title>},
    {QMF_QID_CONTAINER_MUX_APP, TitleText<&CMP4Texts::encoder>},
    {QMF_QID_CONTAINER_WRITE_APP, TitleText<&CMP4Texts::encoder>},
    {QMF_QID_GET_TOOL_VERSION, TitleText<&CMP4Texts::encoder>},
    {QMF_QID_GET_CONTAINER_TYPE, ContainerType},
    {QMF_QID_GET_FILE_SIZE, FileSize},
    {QMF_QID_TITLE_DURATION, Duration},
    {QMF_QID_GET_TITLE_MEDIA_PROP, TitleMediaProp},
    {QMF_QID_NUM_TITLE_STREAMS, AllStreams},
    {QMF_QID_NUM_ACTIVE_TITLE_STREAMS, ActiveStreams},
    {QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA, StreamCount<kStreamVideo>},
    {QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA, StreamCount<kStreamAudio>},
    {QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA, StreamCount<kStreamSubtitle>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_VIDEOMEDIA, StreamCount<kStreamVideo>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_AUDIOMEDIA, StreamCount<kStreamAudio>},
    {QMF_QID_TOTAL_NUM_TITLEMEDIA_SUBTITLEMEDIA, StreamCount<kStreamSubtitle>},
    {QMF_QID_MAX_SUPPORTED_VID_STREAMS, Constant<CMP4MovieAtom::kMaxTracks>},
    {QMF_QID_MAX_SUPPORTED_AUD_STREAMS, Constant<CMP4MovieAtom::kMaxTracks>},
    {QMF_QID_MAX_SUPPORTED_SUB_STREAMS, Constant<CMP4MovieAtom::kMaxTracks>},
    {QMF_QID_VID_STREAM_FORMAT, OfStream<kStreamVideo, Format<VideoFormatOf>>},
    {QMF_QID_AUD_STREAM_FORMAT, OfStream<kStreamAudio, Format<AudioFormatOf>>},
    {QMF_QID_SUB_STREAM_FORMAT, OfStream<kStreamSubtitle, Format<SubtitleFormatOf>>},
    {QMF_QID_TITLEMEDIA_VID_ABSOLUTE_TRACK_NUM, OfStream<kStreamVideo, TrackId>},
    {QMF_QID_TITLEMEDIA_AUD_ABSOLUTE_TRACK_NUM, OfStream<kStreamAudio, TrackId>},
    {QMF_QID_TITLEMEDIA_SUB_ABSOLUTE_TRACK_NUM, OfStream<kStreamSubtitle, TrackId>},
    {QMF_QID_VID_STREAM_NAME, OfStream<kStreamVideo, TrackName>},
    {QMF_QID_AUD_STREAM_NAME, OfStream<kStreamAudio, TrackName>},
    {QMF_QID_SUB_STREAM_NAME, OfStream<kStreamSubtitle, TrackName>},
    {QMF_QID_VID_CODEC_ID, OfStream<kStreamVideo, CodecId>},
    {QMF_QID_AUD_CODEC_ID, OfStream<kStreamAudio, CodecId>},
    {QMF_QID_SUB_CODEC_ID, OfStream<kStreamSubtitle, CodecId>},
    {QMF_QID_VID_CODEC_NAME, OfStream<kStreamVideo, CodecName<kStreamVideo>>},
    {QMF_QID_AUD_CODEC_NAME, OfStream<kStreamAudio, CodecName<kStreamAudio>>},
    {QMF_QID_SUB_CODEC_NAME, OfStream<kStreamSubtitle, CodecName<kStreamSubtitle>>},
    {QMF_QID_AUD_MIME_TYPE, OfStream<kStreamAudio, MimeType>},
    {QMF_QID_VIDEO_CODEC_PRIVATE_DATA_SIZE, OfStream<kStreamVideo, ConfigSize>},
    {QMF_QID_AUDIO_CODEC_PRIVATE_DATA_SIZE, OfStream<kStreamAudio, ConfigSize>},
    {QMF_QID_SUBTITLE_CODEC_PRIVATE_DATA_SIZE, OfStream<kStreamSubtitle, ConfigSize>},
    {QMF_QID_VIDEO_CODEC_PRIVATE_DATA, OfStream<kStreamVideo, Config>},
    {QMF_QID_AUDIO_CODEC_PRIVATE_DATA, OfStream<kStreamAudio, Config>},
    {QMF_QID_SUBTITLE_CODEC_PRIVATE_DATA, OfStream<kStreamSubtitle, Config>},
    {QMF_QID_SPS_SIZE, OfStream<kStreamVideo, ParameterSet<SPL::FirstSequenceParameterSet, true>>},
    {QMF_QID_SPS_DATA, OfStream<kStreamVideo, ParameterSet<SPL::FirstSequenceParameterSet, false>>},
    {QMF_QID_PPS_SIZE, OfStream<kStreamVideo, ParameterSet<SPL::FirstPictureParameterSet, true>>},
    {QMF_QID_PPS_DATA, OfStream<kStreamVideo, ParameterSet<SPL::FirstPictureParameterSet, false>>},
    {QMF_QID_MKV_IS_INTERLACED, OfStream<kStreamVideo, IsInterlaced>},
    {QMF_QID_CHAPTERS_BEGIN, ChapterCount},
    {QMF_QID_CHAPTERS_CHAPTER_NAME, OfChapter<ChapterName>},
    {QMF_QID_CHAPTERS_CHAPTER_STARTTIME, OfChapter<ChapterTime<&CMP4Chapter::start>>},
    {QMF_QID_CHAPTERS_CHAPTER_ENDTIME, OfChapter<ChapterTime<&CMP4Chapter::end>>},
    {QMF_QID_TITLEMEDIA_PREV_SYNC_POINT, OfFirstVideo<SyncPoint<&CMP4SampleCursor::SyncBefore>>},
    {QMF_QID_TITLEMEDIA_NEXT_SYNC_POINT, OfFirstVideo<SyncPoint<&CMP4SampleCursor::SyncAfter>>},
    {QMF_QID_TITLEMEDIA_PREV_SYNC_TIME, OfFirstVideo<SyncTime<&CMP4TrackReader::SeekBefore>>},
    {QMF_QID_TITLEMEDIA_NEXT_SYNC_TIME, OfFirstVideo<SyncTime<&CMP4TrackReader::SeekAfter>>},
    {QMF_QID_TITLEDATA_VIDEOFRAMECOUNT, OfStream<kStreamVideo, FrameCount>},
    {QMF_QID_TITLEDATA_VIDEO_FRAME_FROM_TIME, OfStream<kStreamVideo, FrameFromTime>},
};

}  // namespace

QMFResult AnswerMp4Query(CMP4Title* title, CMP4Blocks* blocks, std::uint32_t qid, QMFQueryData& data,
                         std::uint32_t index) {
  const auto* const row = FindQueryRow(kRows, qid);
  if (row == nullptr) return QMF_ERR_UNSUPPORTED_QID;
  if (title == nullptr || blocks == nullptr) return QMF_FAILURE;
  return row->answer({{qid, data, index}, *title, *blocks});
}

}  // namespace qmf
