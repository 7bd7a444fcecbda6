#include "readers/mkv/MkvLinkQueries.h"

#include <algorithm>
#include <optional>

#include "readers/mkv/MkvRecords.h"

namespace qmf {
namespace {

constexpr std::uint32_t kInSameFile = 1;
constexpr std::uint32_t kInOtherFile = 2;

struct Query : QueryCall {
  MkvTitle& title;
  const MkvSegment& segment;
};

// The name that the file gives, else that of the file which has the UID.
template <auto name, auto uid>
QMFResult NeighbourName(const Query& query) {
  if (!query.segment.info) return query.Text({});
  const MkvInfo& info = *query.segment.info;
  if (!(info.*name).empty()) return query.Text(info.*name);
  if (info.*uid == MkvSegmentUid{}) return query.Text({});
  const MkvNeighbours::File* const file = query.title.Neighbours().FindUid(info.*uid);
  return query.Text(file != nullptr ? std::u16string_view(file->name) : std::u16string_view());
}

void NoteStream(const MkvSegment& segment, std::uint32_t flag, QMFTrackLink& answer) {
  const auto& tracks = segment.tracks.Of(kTrackVideo);
  const auto track = std::ranges::find(tracks, answer.trackUid, &MkvTrack::uid);
  if (track == tracks.end()) return;
  answer.flags = flag;
  answer.stream = static_cast<std::uint32_t>(track - tracks.begin());
}

bool IsInSameFile(const MkvSegment& segment, const MkvTrackLink& link) {
  if (link.segmentUid == MkvSegmentUid{}) return link.fileName.empty();
  return segment.info && link.segmentUid == segment.info->segmentUid;
}

// The file that the UID or, where that leads nowhere, the name says.
const MkvNeighbours::File* FindFile(MkvNeighbours& neighbours, const MkvTrackLink& link) {
  const MkvNeighbours::File* const file = neighbours.FindUid(link.segmentUid);
  return file != nullptr || link.fileName.empty() ? file : neighbours.FindName(link.fileName);
}

void FindInOtherFile(MkvTitle& title, const MkvTrackLink& link, QMFTrackLink& answer) {
  CopyText(answer.fileName, link.fileName);
  const MkvNeighbours::File* const file = FindFile(title.Neighbours(), link);
  const auto opened = file != nullptr ? title.Neighbours().Open(*file) : nullptr;
  if (opened == nullptr) return;
  std::ranges::fill(answer.fileName, u'\0');
  CopyText(answer.fileName, file->name);
  MkvSegment other(opened, title.singleSegment->memory, kMkvLinkedLimits);
  EnsureMkvSegment(other);
  NoteStream(other, kInOtherFile, answer);
}

template <MkvTrackLink MkvTrack::*member>
QMFResult LinkedTrack(const Query& query) {
  const auto& tracks = query.segment.tracks.Of(kTrackVideo);
  if (query.index >= tracks.size()) return QMF_ERR_INVALID_STREAM;
  const MkvTrackLink& link = tracks[query.index].*member;
  if (link.trackUid == 0) return QMF_ERR_STREAM_DNE;
  QMFTrackLink answer{};
  answer.trackUid = link.trackUid;
  std::ranges::copy(link.segmentUid, answer.segmentUid);
  if (IsInSameFile(query.segment, link)) {
    NoteStream(query.segment, kInSameFile, answer);
  } else {
    FindInOtherFile(query.title, link, answer);
  }
  return AnswerRecord(query.data, answer);
}

constexpr QueryRow<Query> kQueries[] = {
    {QMF_QID_CONTAINER_PREV_NAME, NeighbourName<&MkvInfo::prevFileName, &MkvInfo::prevUid>},
    {QMF_QID_CONTAINER_NEXT_NAME, NeighbourName<&MkvInfo::nextFileName, &MkvInfo::nextUid>},
    {QMF_QID_ENHANCEDTRACK, LinkedTrack<&MkvTrack::enhanced>},
    {QMF_QID_GET_TRICK_TRACK_PROP, LinkedTrack<&MkvTrack::enhanced>},
    {QMF_QID_MASTERTRACK, LinkedTrack<&MkvTrack::master>},
    {QMF_QID_GET_MASTER_TRACK_PROP, LinkedTrack<&MkvTrack::master>},
};

}  // namespace

QMFResult AnswerMkvLinkQuery(MkvTitle& title, const MkvSegment& segment, const QueryCall& call) {
  const auto* const row = FindQueryRow(kQueries, call.qid);
  return row == nullptr ? QMF_ERR_UNSUPPORTED_QID : row->answer({call, title, segment});
}

}  // namespace qmf
