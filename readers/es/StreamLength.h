#pragma once

#include <algorithm>
#include <cstdint>

#include "framework/FileReader.h"
#include "readers/es/SeekIndex.h"

namespace qmf {

/// How a stream without index tells its length: files up to kWalkedWhole are walked, of longer ones so many
/// places, evenly over the file, stand for the rest. Answering stays within 16 MiB of reading.
struct StreamLength {
  static constexpr std::uint64_t kWalkedWhole = 12U << 20;
  static constexpr std::uint64_t kPlaces = 16;
  static constexpr std::uint64_t kPlaceBytes = 384U << 10;

  /// Bytes that walking may still read; what it begins with the last of them may cost 3 MiB more.
  static std::uint64_t BytesLeft(const FileReader& file) {
    constexpr std::uint64_t kMost = 13U << 20;
    return kMost - std::min(kMost, file.BytesRead());
  }

  /// Whether walking may go on. A stream of nothing but headers ends it by their number.
  static bool MayGoOn(const FileReader& file) { return BytesLeft(file) > 0 && file.Looks() < 300'000; }

  /// The ticks of the stream from `begin` to the end of the file, whose units are evenly spread.
  /// `walkFrom(offset, end)` gives a walk from there on with 0 ticks, which need not go beyond `end`; `learn`
  /// is told the units that are met in a walk from the beginning.
  template <class Unit, class WalkFrom, class Learn>
  static std::uint64_t Count(const FileReader& file, std::uint64_t begin, WalkFrom&& walkFrom,
                             Learn&& learn) {
    if (file.Size() - begin > kWalkedWhole) return Estimate<Unit>(file, begin, walkFrom);
    auto walk = walkFrom(begin, UINT64_MAX);
    for (Unit unit; MayGoOn(file) && walk.Next(unit);) learn(unit);
    return walk.Ticks();
  }

 private:
  // The first unit of a place may begin in the middle. A walk that ends before its place does has met the end
  // of the stream.
  template <class Unit, class WalkFrom>
  static std::uint64_t Estimate(const FileReader& file, std::uint64_t begin, WalkFrom&& walkFrom) {
    std::uint64_t end = file.Size();
    const std::uint64_t stride = (end - begin - kPlaceBytes) / (kPlaces - 1);
    double ticks = 0;
    double bytes = 0;
    for (std::uint64_t place = 0; place < kPlaces && MayGoOn(file); ++place) {
      const std::uint64_t from = begin + place * stride;
      auto walk = walkFrom(from, from + kPlaceBytes);
      const auto next = [&walk](SeekIndex::Point& point) {
        Unit unit;
        const bool found = walk.Next(unit);
        if (found) point = {unit.offset, unit.ticks};
        return found;
      };
      SeekIndex::Point point{from, 0};
      SeekIndex::Point first = point;
      bool more = next(point) && next(first);
      for (point = first; more && point.offset < from + kPlaceBytes && MayGoOn(file);) more = next(point);
      ticks += static_cast<double>(point.ticks - first.ticks);
      bytes += static_cast<double>(point.offset - first.offset);
      if (more) continue;
      if (place == 0) return walk.Ticks();
      end = std::max(point.offset, from);
      break;
    }
    if (bytes == 0) return 0;
    constexpr double kMost = 0x1p63;  // More than any time holds, and still an integer of 64 bits.
    return static_cast<std::uint64_t>(
        std::min(ticks / bytes * static_cast<double>(end - begin) + 0.5, kMost));
  }
};

}  // namespace qmf
