#pragma once

#include <cstdint>
#include <memory_resource>
#include <optional>

#include "readers/mp4/Mp4Title.h"
#include "readers/mp4/Mp4TrackReader.h"

namespace qmf {

/// Reads the blocks of a title. A block is a sample (access unit), of uncompressed sound a run of samples.
/// Its time is the sample's decoding time on the movie's timeline, after the edit list, so that reordered
/// frames and a decoder's run-in may come before 0; `compositionOffset` leads to the time of presentation.
class CMP4Blocks {
 public:
  explicit CMP4Blocks(const CMP4Title& title);

  QMFResult SetActive(std::uint32_t blockType, std::uint32_t stream, bool active);
  std::size_t ActiveCount() const;

  /// Moves a stream, and with it the other active ones, to the sync sample at or before `time`, and tells
  /// where it landed. QMF_ERR_END_OF_STREAM for a stream without samples.
  QMFResult SetPosition(std::uint32_t blockType, std::uint32_t stream, std::int64_t& time);

  /// The next block of the active streams in file order, or of one stream whether active or not. A sample
  /// that the file does not hold in full ends its stream.
  QMFResult ReadNext(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock& block, std::int64_t& time);
  QMFResult ReadNextOf(std::uint32_t blockType, std::uint32_t stream, QMFBlock& block, std::int64_t& time);

 private:
  struct Stream {
    QMFStreamKind kind = kStreamNone;
    std::uint32_t number = 0;
    const CMP4TrackAtom* track = nullptr;
    bool active = false;
    bool ended = false;
    std::optional<CMP4TrackReader> reader;
  };

  Stream* Find(std::uint32_t blockType, std::uint32_t stream);
  Stream* Earliest();
  void LoadAllAt(std::uint64_t position);
  CMP4TrackReader& ReaderOf(Stream& stream) const;
  bool Seek(Stream& stream, std::int64_t time, std::uint32_t most) const;
  QMFResult Deliver(Stream& stream, QMFBlock& block, std::int64_t& time) const;

  const CMP4Title& m_title;
  std::pmr::vector<Stream> m_streams;
};

/// The time, in 100-ns units, at which a media time of a track is presented, and the last media time
/// presented at or before a time.
std::int64_t ToMovieTime(const CMP4MovieAtom& movie, const CMP4TrackAtom& track, std::int64_t mediaTime);
std::int64_t ToMediaTime(const CMP4MovieAtom& movie, const CMP4TrackAtom& track, std::int64_t time);

}  // namespace qmf
