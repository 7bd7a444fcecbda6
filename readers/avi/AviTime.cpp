#include "readers/avi/AviTime.h"

#include <algorithm>
#include <cmath>

#include "framework/MediaTime.h"

namespace qmf {

std::optional<std::int64_t> AviUnitsToTime(std::uint64_t units, const AviStreamHeader& header) {
  if (header.Rate() == 0) return std::nullopt;
  return UnitsToTime(units, header.Scale(), header.Rate());
}

namespace {

// Bytes of one unit of a stream that counts bytes.
std::uint64_t CountsPerUnit(const AviStream& stream) {
  return stream.CountsBytes() ? stream.header.SampleSize() : 1;
}

// The largest number of units that last no longer than `time`.
std::uint64_t UnitsWithin(std::int64_t time, const AviStreamHeader& header) {
  if (header.Scale() == 0 || header.Rate() == 0) return UINT64_MAX;
  const std::uint64_t units = MultiplyDivide(static_cast<std::uint64_t>(time), header.Rate(),
                                             std::uint64_t{header.Scale()} * kTimeUnitsPerSecond);
  // Times are truncated: the next unit's may be this one all the same.
  const std::uint64_t next = std::min(units, UINT64_MAX - 1) + 1;
  return AviUnitsToTime(next, header) <= time ? next : next - 1;
}

}  // namespace

std::int64_t AviTimeOf(const AviStream& stream, std::uint64_t count) {
  const std::uint64_t units = stream.header.Start() + count / CountsPerUnit(stream);
  return AviUnitsToTime(units, stream.header).value_or(0);
}

std::optional<std::uint64_t> AviCountAt(const AviStream& stream, std::int64_t time) {
  const std::uint64_t units = UnitsWithin(std::max<std::int64_t>(time, 0), stream.header);
  const std::uint64_t start = stream.header.Start();
  if (units < start) return std::nullopt;
  // The last count of that unit.
  const std::uint64_t perUnit = CountsPerUnit(stream);
  std::uint64_t count = 0;
  const bool tooMany = __builtin_mul_overflow(units - start, perUnit, &count) ||
                       __builtin_add_overflow(count, perUnit - 1, &count);
  return tooMany ? UINT64_MAX : count;
}

std::optional<std::int64_t> AviTitleDuration(const AviTitle& title) {
  const auto length = [](const AviStream& stream) {
    return AviUnitsToTime(stream.header.Length(), stream.header);
  };
  // Some writers count the frames in the main header only.
  if (title.hasVideo && title.Video().header.Length() == 0) {
    return AviUnitsToTime(title.mainHeader.TotalFrames(), title.Video().header);
  }
  if (title.hasVideo) return length(title.Video());
  std::optional<std::int64_t> longest;
  for (const AviStream& stream : title.Audio().first(title.admittedAudio)) {
    longest = std::max(longest, length(stream));
  }
  return longest;
}

std::optional<std::uint32_t> AviFrameFromTime(const AviTitle& title, std::uint64_t time) {
  if (time == 0) return 0;
  const AviStreamHeader& header = title.Video().header;
  // In double precision and truncated: 23.976 frames a second give 417083 units a frame.
  const double duration = static_cast<double>(header.Scale()) * kTimeUnitsPerSecond / header.Rate();
  if (!std::isfinite(duration) || duration < 1) return std::nullopt;
  return static_cast<std::uint32_t>(time / static_cast<std::uint64_t>(duration));
}

}  // namespace qmf
