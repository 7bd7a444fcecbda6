#pragma once

#include <cstdint>
#include <span>

#include "framework/FileReader.h"
#include "streamlib/AACHdrADTS.h"

namespace qmf {

/// Walks the frames of an ADTS stream in a file. Copies walk on by themselves.
class AdtsFrames {
 public:
  struct Frame {
    std::uint64_t offset = 0;
    std::uint64_t ticks = 0;  ///< In front of it, of those that Next gives.
    SPL_AAC::AACHdrADTS header;
    std::uint64_t End() const { return offset + header.frame_length; }
  };

  /// Without another frame in so many bytes the stream counts as ended.
  static constexpr std::uint64_t kMaxResync = 1U << 20;
  /// Without one among so many places that look like one, too.
  static constexpr std::uint32_t kMaxFalseStarts = 16384;
  /// Without one in so many bytes read, too: to see what follows a false start takes reading far ahead.
  static constexpr std::uint64_t kMaxResyncRead = 2 * kMaxResync;

  explicit AdtsFrames(FileReader& file) : m_file(&file) {}

  /// The next frame that is in the file whole; false at the end. Where a frame should stand but does not, the
  /// next place is taken at which a frame is followed by another one of the same stream or by the end.
  bool Next(Frame& frame);

  /// Goes on at `offset`, in front of which there are `ticks` samples.
  void Restart(std::uint64_t offset, std::uint64_t ticks);

  /// Samples a channel of the frames passed so far, by the clock of the first frame's sampling frequency.
  std::uint64_t Ticks() const { return m_ticks; }

  /// Whether a whole frame stands at `offset`.
  bool At(std::uint64_t offset, Frame& frame);

  /// How many frames, at most `most` and beginning before `limit`, follow each other from `offset` on without
  /// a gap; `end` is where the last of them ends.
  std::uint32_t CountChain(std::uint64_t offset, std::uint32_t most, std::uint64_t& end,
                           std::uint64_t limit = ~std::uint64_t{0});

 private:
  static std::size_t FindHeader(std::span<const std::uint8_t> bytes, SPL_AAC::AACHdrADTS& header);
  bool Resync(Frame& frame);
  bool HasSuccessor(const Frame& frame);

  FileReader* m_file;  // Not a reference: walkers are copied.
  std::uint64_t m_position = 0;
  std::uint64_t m_ticks = 0;
  std::uint32_t m_rate = 0;
};

/// Where the stream of a file begins: behind the ID3v2 tags in front.
std::uint64_t SkipId3v2(FileReader& file);

/// Where the stream of a file ends at the latest: in front of an ID3v1 tag, else at the end of the file.
std::uint64_t EndBeforeId3v1(FileReader& file);

}  // namespace qmf
