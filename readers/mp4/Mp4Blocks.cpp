#include "readers/mp4/Mp4Blocks.h"

#include <algorithm>

#include "readers/mp4/Mp4Time.h"

namespace qmf {
namespace {

QMFStreamKind KindOf(std::uint32_t blockType) {
  switch (blockType) {
    case kBlockAudio:
      return kStreamAudio;
    case kBlockVideo:
    case kBlockVideoAlternate:
      return kStreamVideo;
    case kBlockSubtitle:
    case kBlockSubtitleAlternate:
      return kStreamSubtitle;
    default:
      return kStreamNone;
  }
}

QMFBlockType BlockTypeOf(QMFStreamKind kind) {
  if (kind == kStreamVideo) return kBlockVideo;
  return kind == kStreamAudio ? kBlockAudio : kBlockSubtitle;
}

constexpr std::uint32_t kMostSamplesSought = 8 * CMP4TrackReader::kMaxSamplesSought;

// Every stream walks the fragments by itself. This bounds what all of them cost in one call: a thousand
// tracks and a million fragments of nothing fit into a small file, while real ones, with media behind each,
// are walked by dozens of streams within it.
FileReader::Limit WorkOfOneCall(FileReader& file) {
  constexpr std::uint64_t kAnyBytes = std::uint64_t{1} << 62;
  constexpr std::uint64_t kFewLooks = 1U << 20;
  constexpr std::uint64_t kBytesALook = 4;
  return {file, kAnyBytes, kFewLooks + file.Size() / kBytesALook};
}

bool IsElsewhere(const CMP4TrackAtom& track) {
  const std::uint16_t reference = track.sampleTable.description.dataReference;
  return reference > 0 && reference <= 64 && (track.externalData >> (reference - 1) & 1) != 0;
}

void FillTimes(const CMP4MovieAtom& movie, const CMP4TrackAtom& track, const CMP4Sample& sample,
               QMFBlock& block) {
  const std::int64_t shown = AddTimes(sample.decodeTime, sample.compositionOffset);
  const std::int64_t start = ToMovieTime(movie, track, shown);
  block.time = ToMovieTime(movie, track, sample.decodeTime);
  block.compositionOffset = AddTimes(start, -block.time);
  block.endTime = ToMovieTime(movie, track, AddTimes(shown, sample.duration));
}

}  // namespace

std::int64_t ToMovieTime(const CMP4MovieAtom& movie, const CMP4TrackAtom& track, std::int64_t mediaTime) {
  const std::int64_t shown = AddTimes(mediaTime, -track.edits.mediaStart);
  return AddTimes(ToTimeUnits(shown, track.mediaTimescale),
                  ToTimeUnits(ToTicks(track.edits.delay), movie.timescale));
}

std::int64_t ToMediaTime(const CMP4MovieAtom& movie, const CMP4TrackAtom& track, std::int64_t time) {
  const std::int64_t delay = ToTimeUnits(ToTicks(track.edits.delay), movie.timescale);
  const std::int64_t ticks = Rescale(AddTimes(time, -delay), kTimeUnitsPerSecond, track.mediaTimescale);
  const std::int64_t nearest = AddTimes(ticks, track.edits.mediaStart);
  return ToMovieTime(movie, track, nearest) > time ? AddTimes(nearest, -1) : nearest;
}

CMP4Blocks::CMP4Blocks(const CMP4Title& title)
    : m_title(title),
      m_streams(title.StreamCount(kStreamVideo) + title.StreamCount(kStreamAudio) +
                    title.StreamCount(kStreamSubtitle),
                title.Memory()) {
  std::size_t next = 0;
  for (const auto kind : {kStreamVideo, kStreamAudio, kStreamSubtitle}) {
    for (std::uint32_t number = 0; number < title.StreamCount(kind); ++number) {
      Stream& stream = m_streams[next++];
      stream.kind = kind;
      stream.number = number;
      stream.track = title.Stream(kind, number);
      stream.ended = IsElsewhere(*stream.track);
    }
  }
}

CMP4Blocks::Stream* CMP4Blocks::Find(std::uint32_t blockType, std::uint32_t stream) {
  const QMFStreamKind kind = KindOf(blockType);
  const auto found = std::ranges::find_if(
      m_streams, [&](const Stream& other) { return other.kind == kind && other.number == stream; });
  return found != m_streams.end() ? &*found : nullptr;
}

CMP4TrackReader& CMP4Blocks::ReaderOf(Stream& stream) const {
  if (!stream.reader) stream.reader.emplace(m_title.Context(*stream.track));
  return *stream.reader;
}

QMFResult CMP4Blocks::SetActive(std::uint32_t blockType, std::uint32_t stream, bool active) {
  Stream* const found = Find(blockType, stream);
  if (found == nullptr) return QMF_ERR_INVALID_STREAM;
  found->active = active;
  return QMF_OK;
}

std::size_t CMP4Blocks::ActiveCount() const {
  return static_cast<std::size_t>(std::ranges::count(m_streams, true, &Stream::active));
}

bool CMP4Blocks::Seek(Stream& stream, std::int64_t time, std::uint32_t most) const {
  stream.ended = IsElsewhere(*stream.track);
  return !stream.ended && ReaderOf(stream).Seek(ToMediaTime(m_title.Movie(), *stream.track, time), most);
}

QMFResult CMP4Blocks::SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time) {
  Stream* const found = Find(blockType, stream);
  if (found == nullptr) return QMF_ERR_INVALID_STREAM;
  const FileReader::Limit limit = WorkOfOneCall(m_title.File());
  const auto most = static_cast<std::uint32_t>(kMostSamplesSought / (ActiveCount() + 1));
  if (!Seek(*found, time, most)) return QMF_ERR_END_OF_STREAM;
  time = ToMovieTime(m_title.Movie(), *found->track, found->reader->Current().decodeTime);
  for (Stream& other : m_streams) {
    if (other.active && &other != found) Seek(other, time, most);
  }
  return QMF_OK;
}

// A stream whose next sample is not known yet is looked into only when nothing known lies before it, so that
// a stream of few samples does not make the whole file be walked for its next one.
CMP4Blocks::Stream* CMP4Blocks::Earliest() {
  for (;;) {
    Stream* earliest = nullptr;
    for (Stream& stream : m_streams) {
      if (!stream.active || stream.ended) continue;
      CMP4TrackReader& reader = ReaderOf(stream);
      if (reader.GetState() == CMP4TrackReader::State::kUnknown && reader.IsInTables()) reader.Load();
      if (reader.GetState() == CMP4TrackReader::State::kEnded) continue;
      if (earliest == nullptr || reader.Position() < earliest->reader->Position()) earliest = &stream;
    }
    if (earliest == nullptr || earliest->reader->GetState() == CMP4TrackReader::State::kLoaded)
      return earliest;
    LoadAllAt(earliest->reader->Position());
  }
}

// The fragment at which one stream is, the others usually are at, too.
void CMP4Blocks::LoadAllAt(std::uint64_t position) {
  for (Stream& stream : m_streams) {
    if (!stream.active || stream.ended || stream.reader->Position() != position) continue;
    if (stream.reader->GetState() == CMP4TrackReader::State::kUnknown) stream.reader->Load();
  }
}

QMFResult CMP4Blocks::Deliver(Stream& stream, QMFBlock& block, std::int64_t& time) const {
  CMP4TrackReader& reader = *stream.reader;
  const CMP4Sample& sample = reader.Current();
  FileReader& file = m_title.File();
  const std::uint64_t size = file.Size();
  if (sample.offset > size || sample.size > size - sample.offset) {
    stream.ended = true;
    return QMF_ERR_END_OF_STREAM;
  }
  block.required = sample.size;
  if (sample.size > block.capacity) return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  if (file.ReadAt(sample.offset, block.data, sample.size) != sample.size) return QMF_ERR_BLOCK_READ_FAILURE;
  block.size = sample.size;
  block.key = sample.sync ? QMFBlock::kKey : QMFBlock::kNotKey;
  FillTimes(m_title.Movie(), *stream.track, sample, block);
  time = block.time;
  reader.Advance();
  return QMF_OK;
}

QMFResult CMP4Blocks::ReadNext(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block,
                               std::int64_t& time) {
  const FileReader::Limit limit = WorkOfOneCall(m_title.File());
  while (Stream* const earliest = Earliest()) {
    const QMFResult result = Deliver(*earliest, block, time);
    if (earliest->ended) continue;
    blockType = BlockTypeOf(earliest->kind);
    stream = earliest->number;
    return result;
  }
  return QMF_ERR_END_OF_STREAM;
}

QMFResult CMP4Blocks::ReadNextOf(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block,
                                 std::int64_t& time) {
  Stream* const found = Find(blockType, stream);
  if (found == nullptr) return QMF_ERR_INVALID_STREAM;
  if (found->ended || !ReaderOf(*found).LoadNext()) return QMF_ERR_END_OF_STREAM;
  return Deliver(*found, block, time);
}

}  // namespace qmf
