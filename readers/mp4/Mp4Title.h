#pragma once

#include <memory>
#include <optional>

#include "framework/InfoRecords.h"
#include "framework/QueryIds.h"
#include "readers/mp4/Mp4Chapters.h"
#include "readers/mp4/Mp4Formats.h"

namespace qmf {

/// The one title of a file: its movie, and its tracks as streams by kind.
class CMP4Title {
 public:
  explicit CMP4Title(std::pmr::memory_resource* memory)
      : m_memory(memory),
        m_movie(memory),
        m_streams{StreamList(memory), StreamList(memory), StreamList(memory)} {}

  /// Reads the movie header, inflating it where it is compressed. QMF_ERR_BAD_STRUCTURE without a sound one.
  QMFResult Read(std::shared_ptr<FileReader> file);

  FileReader& File() const { return *m_file; }
  const CMP4MovieAtom& Movie() const { return m_movie; }
  std::pmr::memory_resource* Memory() const { return m_memory; }

  std::size_t StreamCount(QMFStreamKind kind) const { return Streams(kind).size(); }
  /// The track of a stream, or null when `kind` has no such stream. Enabled tracks come first, so that stream
  /// 0 is what a player shows; within that the file's order holds.
  const CMP4TrackAtom* Stream(QMFStreamKind kind, std::uint32_t index) const;
  CMP4TrackContext Context(const CMP4TrackAtom& track) const { return {*m_file, m_movie, track, m_memory}; }

  /// 100-ns units; reckoned at the first call.
  std::int64_t Duration();

  /// Read at the first call.
  const CMP4Chapters& Chapters();

 private:
  using StreamList = std::pmr::vector<std::uint32_t>;

  const StreamList& Streams(QMFStreamKind kind) const { return m_streams[kind - kStreamVideo]; }
  void ListStreams();

  std::pmr::memory_resource* const m_memory;
  std::shared_ptr<FileReader> m_file;
  std::shared_ptr<FileReader> m_inflated;
  CMP4MovieAtom m_movie;
  StreamList m_streams[3];
  std::optional<std::int64_t> m_duration;
  std::optional<CMP4Chapters> m_chapters;
};

/// The kind of stream that a track is; kStreamNone for those that are none, like timecode and chapter tracks.
QMFStreamKind StreamKindOfTrack(const CMP4MovieAtom& movie, const CMP4TrackAtom& track);

}  // namespace qmf
