#include "readers/avi/AviBlocks.h"

#include <algorithm>
#include <optional>

#include "framework/ReturnIf.h"
#include "readers/avi/AviTime.h"

namespace qmf {
namespace {

std::span<AviStream> StreamsOf(AviTitle& title, std::uint32_t blockType) {
  switch (blockType) {
    case kBlockVideo:
    case kBlockVideoAlternate:
      return {&title.Video(), title.hasVideo ? 1U : 0U};
    case kBlockAudio:
      return title.Audio().first(title.admittedAudio);
    case kBlockSubtitle:
    case kBlockSubtitleAlternate:
      return title.Subtitles().first(title.admittedSubtitles);
    default:
      return {};
  }
}

// The place of a stream among all of the title's.
QMFResult FindStream(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                     std::size_t& place) {
  if (container.currentTitle == AviContainer::kNoTitle) return QMF_FAILURE;
  const std::span<AviStream> streams = StreamsOf(container.title, blockType);
  if (stream >= streams.size()) return QMF_ERR_INVALID_STREAM;
  place = static_cast<std::size_t>(&streams[stream] - container.title.streams.data());
  return QMF_OK;
}

void NameStream(std::size_t place, std::uint32_t& blockType, std::uint32_t& stream) {
  constexpr std::size_t kFirstSubtitle = kMaxAviVideoStreams + kMaxAviAudioStreams;
  if (place >= kFirstSubtitle) {
    blockType = kBlockSubtitle;
    stream = static_cast<std::uint32_t>(place - kFirstSubtitle);
  } else if (place >= kMaxAviVideoStreams) {
    blockType = kBlockAudio;
    stream = static_cast<std::uint32_t>(place - kMaxAviVideoStreams);
  } else {
    blockType = kBlockVideo;
    stream = 0;
  }
}

// Fills `block`; the stream's position stays.
QMFResult Deliver(AviContainer& container, const AviMediaChunk& chunk, QMFBlock& block, std::int64_t& time) {
  const AviStream& stream = container.title.streams[chunk.place];
  block.required = chunk.size;
  if (chunk.size > block.capacity) return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  block.key = container.Seeker().KeyStateOf(chunk, stream.read.count);
  if (container.file->ReadAt(chunk.Payload(), block.data, chunk.size) != chunk.size) {
    return QMF_ERR_BLOCK_READ_FAILURE;
  }
  block.size = chunk.size;
  block.time = time = AviTimeOf(stream, stream.read.count);
  block.endTime = AviTimeOf(stream, stream.read.count + stream.CountOf(chunk.size));
  block.compositionOffset = 0;
  return QMF_OK;
}

void Pass(AviStream& stream, const AviMediaChunk& chunk) {
  stream.read.count += stream.CountOf(chunk.size);
  stream.read.position = chunk.Next();
}

// Where the earliest active stream stands.
std::optional<std::uint64_t> ActivePosition(const AviTitle& title) {
  std::optional<std::uint64_t> earliest;
  for (const AviStream& stream : title.streams) {
    if (!stream.read.active) continue;
    earliest = std::min(earliest.value_or(UINT64_MAX), stream.read.position);
  }
  return earliest;
}

// Streams that stood between `from` and a passed block have nothing left before that block's end.
void TakeAlong(AviTitle& title, std::uint64_t from, const AviMediaChunk& chunk) {
  for (AviStream& stream : title.streams) {
    const std::uint64_t position = stream.read.position;
    if (position >= from && position < chunk.Next()) stream.read.position = chunk.Next();
  }
}

}  // namespace

QMFResult SetAviStreamActive(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                             bool active) {
  std::size_t place = 0;
  QMF_RETURN_IF_NONZERO(FindStream(container, blockType, stream, place));
  container.title.streams[place].read.active = active;
  return QMF_OK;
}

QMFResult SetAviPosition(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                         std::int64_t& time) {
  std::size_t place = 0;
  QMF_RETURN_IF_NONZERO(FindStream(container, blockType, stream, place));
  AviSeeker& seeker = container.Seeker();
  AviPosition landing;
  if (!seeker.Locate(place, time, landing)) return QMF_ERR_END_OF_STREAM;
  const std::span<AviStream> streams = container.title.streams;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    if (i != place && place != seeker.Leader()) continue;
    streams[i].read.position = landing.offset;
    streams[i].read.count = landing.counts[i];
  }
  time = AviTimeOf(streams[place], landing.counts[place]);
  return QMF_OK;
}

QMFResult ReadAviBlock(AviContainer& container, std::uint32_t& blockType, std::uint32_t& stream,
                       QMFBlock& block, std::int64_t& time) {
  if (container.currentTitle == AviContainer::kNoTitle) return QMF_FAILURE;
  AviSeeker& seeker = container.Seeker();
  AviTitle& title = container.title;
  const std::optional<std::uint64_t> from = ActivePosition(title);
  if (!from) return QMF_ERR_END_OF_STREAM;
  AviMediaChunk chunk;
  for (std::uint64_t at = *from; seeker.Find(at, chunk); at = chunk.Next()) {
    AviStream& found = title.streams[chunk.place];
    if (chunk.Next() <= found.read.position) continue;
    if (found.read.active && chunk.size > 0) {
      QMF_RETURN_IF_NONZERO(Deliver(container, chunk, block, time));
      NameStream(chunk.place, blockType, stream);
      Pass(found, chunk);
      TakeAlong(title, *from, chunk);
      return QMF_OK;
    }
    if (found.read.position >= *from) Pass(found, chunk);
  }
  return QMF_ERR_END_OF_STREAM;
}

QMFResult ReadAviBlockOf(AviContainer& container, std::uint32_t blockType, std::uint32_t stream,
                         QMFBlock& block, std::int64_t& time) {
  std::size_t place = 0;
  QMF_RETURN_IF_NONZERO(FindStream(container, blockType, stream, place));
  AviSeeker& seeker = container.Seeker();
  AviStream& wanted = container.title.streams[place];
  AviMediaChunk chunk;
  for (std::uint64_t at = wanted.read.position; seeker.Find(at, chunk); at = chunk.Next()) {
    if (chunk.place != place) continue;
    if (chunk.size > 0) QMF_RETURN_IF_NONZERO(Deliver(container, chunk, block, time));
    Pass(wanted, chunk);
    if (chunk.size > 0) return QMF_OK;
  }
  return QMF_ERR_END_OF_STREAM;
}

}  // namespace qmf
