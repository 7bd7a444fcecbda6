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

// The stream that decides where a part is entered.
std::optional<MkvStream> MkvPlayhead::Lead() const {
  if (m_only) return m_only;
  for (const std::uint32_t type : {kTrackVideo, kTrackAudio, kTrackSubtitle}) {
    const auto& tracks = m_title.singleSegment->tracks.Of(type);
    const auto active = std::ranges::find(tracks, true, &MkvTrack::active);
    if (active != tracks.end()) return MkvStream{type, static_cast<std::uint32_t>(active - tracks.begin())};
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
  if (lead && FindStart(m_title, Part(), *lead, Part().from, start) == QMF_OK) MoveTo(m_part, start);
}

// The streams' state is that of the title's own tracks.
const MkvTrack* MkvPlayhead::Wanted(MkvSegment& segment, std::uint64_t number) {
  const MkvTrack* const track = segment.tracks.FindNumber(number, m_stream.blockType, m_stream.number);
  if (track == nullptr) return nullptr;
  if (m_only) return m_stream == *m_only ? track : nullptr;
  const MkvTrack* const own = m_title.singleSegment->tracks.FindStream(m_stream.blockType, m_stream.number);
  return own != nullptr && own->active ? track : nullptr;
}

MkvCursor::Verdict MkvPlayhead::Judge(const MkvFoundBlock& block) {
  MkvSegment& segment = m_title.Segment(Part().segment);
  m_track = Wanted(segment, block.header.track);
  if (m_track == nullptr) return MkvCursor::kPass;
  if (!m_passed.empty() && std::erase(m_passed, block.element.start) != 0) return MkvCursor::kPass;
  if (Part().IsWhole()) return MkvCursor::kTake;
  const std::int64_t time = MkvBlockTime(segment, *m_track, block) / 100 + segment.HalfTick();
  if (Part().Holds(time)) return MkvCursor::kTake;
  if (time >= Part().to) return time - Part().to > kLongestDisorder ? MkvCursor::kEnd : MkvCursor::kPass;
  // Pictures before the part, from which its first ones are decoded.
  const bool leads = m_start && m_start->stream == m_stream && m_stream.blockType == kBlockVideo;
  return leads && time >= m_start->time ? MkvCursor::kTake : MkvCursor::kPass;
}

QMFResult MkvPlayhead::Load() {
  for (;; ++m_part, m_reader.reset()) {
    if (!m_reader) Enter();
    const QMFResult result = m_reader->Load([this](const MkvFoundBlock& block) { return Judge(block); });
    if (result != QMF_ERR_END_OF_STREAM || m_part + 1 >= m_title.parts.size()) return result;
  }
}

QMFResult FindStart(MkvTitle& title, const MkvPart& part, const MkvStream& stream, std::int64_t time,
                    MkvPlayhead::Start& start) {
  MkvSegment& segment = title.Segment(part.segment);
  const MkvTrack* const track = segment.tracks.FindStream(stream.blockType, stream.number);
  if (track == nullptr) return QMF_ERR_SEEK_FAILURE;
  if (!part.IsWhole()) time += segment.HalfTick();
  start.stream = stream;
  const bool isVideo = track == segment.tracks.FindStream(kBlockVideo, stream.number);
  return FindKeyFrame(segment, *track, isVideo, time, start.place, start.time);
}

}  // namespace qmf
