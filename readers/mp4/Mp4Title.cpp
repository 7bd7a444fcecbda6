#include "readers/mp4/Mp4Title.h"

#include <algorithm>

#include "framework/ReturnIf.h"
#include "readers/mp4/Mp4CompressedMovie.h"
#include "readers/mp4/Mp4Timing.h"

namespace qmf {
namespace {

struct HandlerRow {
  FourCC handler;
  QMFStreamKind kind;
};
constexpr HandlerRow kHandlers[] = {
    {MakeFourCC("vide"), kStreamVideo},    {MakeFourCC("soun"), kStreamAudio},
    {MakeFourCC("sbtl"), kStreamSubtitle}, {MakeFourCC("subt"), kStreamSubtitle},
    {MakeFourCC("text"), kStreamSubtitle}, {MakeFourCC("clcp"), kStreamSubtitle},
    {MakeFourCC("subp"), kStreamSubtitle},
};

}  // namespace

QMFStreamKind StreamKindOfTrack(const CMP4MovieAtom& movie, const CMP4TrackAtom& track) {
  const auto* const row = std::ranges::find(kHandlers, track.handler, &HandlerRow::handler);
  const bool namesChapters = std::ranges::find(movie.chapterTracks, track.id) != movie.chapterTracks.end();
  return row == std::end(kHandlers) || namesChapters ? kStreamNone : row->kind;
}

QMFResult CMP4Title::Read(std::shared_ptr<FileReader> file) {
  m_file = std::move(file);
  const FileReader::Limit limit = kMovieBudget.For(*m_file);
  if (!ReadMovieAtom(*m_file, m_movie)) return QMF_ERR_BAD_STRUCTURE;
  if (m_movie.compressed.size > 0) {
    QMF_RETURN_IF_NONZERO(InflateMovie(*m_file, m_movie.compressed, m_memory, m_inflated));
    const FileReader::Limit limitOfMovie = kMovieBudget.For(*m_inflated);
    const std::uint64_t next = m_movie.next;
    // A compressed movie inside a compressed movie is nothing that anybody writes.
    if (!ReadMovieAtom(*m_inflated, m_movie) || m_movie.compressed.size > 0) return QMF_ERR_BAD_STRUCTURE;
    m_movie.next = next;
  }
  ListStreams();
  return QMF_OK;
}

void CMP4Title::ListStreams() {
  for (const bool enabled : {true, false}) {
    for (std::uint32_t i = 0; i < m_movie.tracks.size(); ++i) {
      const CMP4TrackAtom& track = m_movie.tracks[i];
      const QMFStreamKind kind = StreamKindOfTrack(m_movie, track);
      if (kind != kStreamNone && track.enabled == enabled) m_streams[kind - kStreamVideo].push_back(i);
    }
  }
}

const CMP4TrackAtom* CMP4Title::Stream(QMFStreamKind kind, std::uint32_t index) const {
  const StreamList& streams = Streams(kind);
  return index < streams.size() ? &m_movie.tracks[streams[index]] : nullptr;
}

std::int64_t CMP4Title::Duration() {
  if (!m_duration) m_duration = TitleDuration(*m_file, m_movie, m_memory);
  return *m_duration;
}

const CMP4Chapters& CMP4Title::Chapters() {
  if (!m_chapters) m_chapters.emplace(ReadChapters(*m_file, m_movie, Duration(), m_memory));
  return *m_chapters;
}

}  // namespace qmf
