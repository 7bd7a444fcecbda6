#include "readers/mkv/MkvPlayhead.h"

#include <algorithm>

#include "readers/mkv/MkvSeek.h"

namespace qmf {
namespace {

// How far behind a part's end its last blocks may stand: pictures are not stored in the order in which they
// are shown, nor streams beside each other to the tick.
constexpr std::int64_t kLongestDisorder = 20'000'000;

}  // namespace

void MkvPlayhead::MoveTo(std::uint32_t part, const Start& start) {
  m_part = part;
  m_start = start;
  m_passed.clear();
  m_reader.emplace(m_title.Segment(Part().segment), Part());
  m_reader->MoveTo(start.place);
}

std::optional<MkvStream> MkvPlayhead::FirstActive(std::uint32_t type) const {
  const auto& tracks = m_title.singleSegment->tracks.Of(type);
  const auto active = std::ranges::find(tracks, true, &MkvTrack::active);
  if (active == tracks.end()) return std::nullopt;
  return MkvStream{type, static_cast<std::uint32_t>(active - tracks.begin())};
}

// The stream that decides where a part is entered.
std::optional<MkvStream> MkvPlayhead::Lead() const {
  if (m_only) return m_only;
  for (const std::uint32_t type : {kTrackVideo, kTrackAudio, kTrackSubtitle}) {
    if (const auto stream = FirstActive(type)) return stream;
  }
  return std::nullopt;
}

void MkvPlayhead::Enter() {
  m_start.reset();
  m_passed.clear();
  m_reader.emplace(m_title.Segment(Part().segment), Part());
  if (Part().IsWhole() || Part().from == 0) return;
  const std::optional<MkvStream> lead = Lead();
  Start start;
  if (!lead || FindStart(m_title, Part(), *lead, Part().from, start) != QMF_OK) return;
  // The sound of the part's first pictures may stand before them, in a lace that begins earlier.
  const std::optional<MkvStream> sound = m_only ? std::nullopt : FirstActive(kTrackAudio);
  Start heard;
  if (sound && FindStart(m_title, Part(), *sound, Part().from, heard) == QMF_OK &&
      heard.time >= Part().from - kLongestDisorder && heard.place.at < start.place.at) {
    start.place = heard.place;
  }
  MoveTo(m_part, start);
}

// The streams' state is that of the title's own tracks.
const MkvTrack* MkvPlayhead::Wanted(MkvSegment& segment, std::uint64_t number) {
  const MkvTrack* const track = segment.tracks.FindNumber(number, m_stream.blockType, m_stream.number);
  if (track == nullptr) return nullptr;
  if (m_only) return m_stream == *m_only ? track : nullptr;
  const MkvTrack* const own = m_title.singleSegment->tracks.FindStream(m_stream.blockType, m_stream.number);
  return own != nullptr && own->active ? track : nullptr;
}

// Whether what starts at `time` (of the segment, with half a tick more) is the part's.
bool MkvPlayhead::Plays(std::int64_t time) const {
  if (Part().Holds(time)) return true;
  // Pictures before the part, from which its first ones are decoded.
  const bool leads = m_start && m_start->stream == m_stream && m_stream.blockType == kBlockVideo;
  return leads && time < Part().from && time >= m_start->time;
}

MkvCursor::Verdict MkvPlayhead::Judge(const MkvFoundBlock& block) {
  MkvSegment& segment = m_title.Segment(Part().segment);
  m_track = Wanted(segment, block.header.track);
  if (m_track == nullptr) return MkvCursor::kPass;
  if (!m_passed.empty() && std::erase(m_passed, block.element.start) != 0) return MkvCursor::kPass;
  if (Part().IsWhole()) return MkvCursor::kTake;
  const std::int64_t time = MkvBlockTime(segment, *m_track, block) / 100 + segment.HalfTick();
  if (time >= Part().to) return time - Part().to > kLongestDisorder ? MkvCursor::kEnd : MkvCursor::kPass;
  // A lace may reach into the part.
  return Plays(time) || block.header.lacing != MkvBlockHeader::kNone ? MkvCursor::kTake : MkvCursor::kPass;
}

QMFResult MkvPlayhead::LoadInPart() {
  for (;; m_reader->PassFrame()) {
    QMF_RETURN_IF_NONZERO(m_reader->Load([this](const MkvFoundBlock& block) { return Judge(block); }));
    if (Part().IsWhole()) return QMF_OK;
    const MkvSegment& segment = m_title.Segment(Part().segment);
    if (Plays(m_reader->FrameStart(*m_track) / 100 + segment.HalfTick())) return QMF_OK;
  }
}

QMFResult MkvPlayhead::Load() {
  MkvPartsBudget budget;
  for (;; ++m_part, m_reader.reset()) {
    const QMFResult result = budget.Spend(*m_title.Segment(Part().segment).file, [this] {
      if (!m_reader) Enter();
      return LoadInPart();
    });
    const bool isLast = m_part + 1 >= m_title.parts.size();
    if (result != QMF_ERR_END_OF_STREAM || isLast || budget.IsSpent()) return result;
  }
}

QMFResult FindStart(MkvTitle& title, const MkvPart& part, const MkvStream& stream, std::int64_t time,
                    MkvPlayhead::Start& start) {
  MkvSegment& segment = title.Segment(part.segment);
  const MkvTrack* const track = segment.tracks.FindStream(stream.blockType, stream.number);
  if (track == nullptr) return QMF_ERR_SEEK_FAILURE;
  if (!part.IsWhole()) time = std::min(time + segment.HalfTick(), part.Last(segment.HalfTick()));
  start.stream = stream;
  const bool isVideo = track == segment.tracks.FindStream(kBlockVideo, stream.number);
  return FindKeyFrame(segment, *track, isVideo, time, start.place, start.time);
}

}  // namespace qmf
