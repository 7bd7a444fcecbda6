#include "tests/support/AtomBuilder.h"

#include <algorithm>

namespace qmf::test {
namespace {

std::uint64_t ChunkSize(const TrackSpec& track, std::uint32_t first, std::uint32_t samples) {
  std::uint64_t size = 0;
  const std::uint32_t end = std::min(first + track.samplesPerChunk, samples);
  for (std::uint32_t sample = first; sample < end; ++sample) size += track.SizeOf(sample);
  return size;
}

// Offsets of every track's chunks when they take turns from `at` on; `at` ends behind the last.
std::vector<std::vector<std::uint64_t>> PlaceChunks(const MovieSpec& spec, std::uint64_t& at) {
  std::vector<std::vector<std::uint64_t>> offsets(spec.tracks.size());
  std::vector<std::uint32_t> samples;
  for (const TrackSpec& track : spec.tracks) samples.push_back(track.SampleCount());
  for (std::uint32_t chunk = 0;; ++chunk) {
    bool placed = false;
    for (std::size_t i = 0; i < spec.tracks.size(); ++i) {
      const std::uint32_t first = chunk * spec.tracks[i].samplesPerChunk;
      if (first >= samples[i]) continue;
      offsets[i].push_back(at);
      at += ChunkSize(spec.tracks[i], first, samples[i]);
      placed = true;
    }
    if (!placed) return offsets;
  }
}

void AddSizes(AtomBuilder& atoms, const TrackSpec& track) {
  const std::uint32_t count = track.SampleCount();
  if (track.compactBits != 0) {
    atoms.Begin("stz2", 0, 0).U32(track.compactBits).U32(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      if (track.compactBits != 4) {
        atoms.Number(track.SizeOf(i), track.compactBits / 8);
      } else if (i % 2 == 0) {
        atoms.U8(track.SizeOf(i) << 4 | (i + 1 < count ? track.SizeOf(i + 1) : 0));
      }
    }
  } else {
    atoms.Begin("stsz", 0, 0).U32(track.sizes.empty() ? track.uniformSize : 0).U32(count);
    for (const std::uint32_t size : track.sizes) atoms.U32(size);
  }
  atoms.End();
}

void AddSampleTable(AtomBuilder& atoms, const TrackSpec& track, const std::vector<std::uint64_t>& chunks) {
  atoms.Begin("stbl").Begin("stsd", 0, 0).U32(1).Raw(track.entry).End();
  atoms.Begin("stts", 0, 0).U32(static_cast<std::uint32_t>(track.times.size()));
  for (const auto& [count, delta] : track.times) atoms.U32(count).U32(delta);
  atoms.End();
  if (!track.offsets.empty()) {
    atoms.Begin("ctts", 0, 0).U32(static_cast<std::uint32_t>(track.offsets.size()));
    for (const auto& [count, offset] : track.offsets)
      atoms.U32(count).U32(static_cast<std::uint32_t>(offset));
    atoms.End();
  }
  if (!track.syncSamples.empty()) {
    atoms.Begin("stss", 0, 0).U32(static_cast<std::uint32_t>(track.syncSamples.size()));
    for (const std::uint32_t sample : track.syncSamples) atoms.U32(sample);
    atoms.End();
  }
  // A shorter last chunk is a run of its own.
  const std::uint32_t rest = track.SampleCount() % track.samplesPerChunk;
  const bool twoRuns = rest != 0 && chunks.size() > 1;
  atoms.Begin("stsc", 0, 0).U32(track.emptyChunkRows + (chunks.empty() ? 0 : twoRuns ? 2 : 1));
  for (std::uint32_t i = 0; i < track.emptyChunkRows; ++i) atoms.U32(1).U32(4).U32(1);
  if (!chunks.empty()) atoms.U32(1).U32(rest != 0 && !twoRuns ? rest : track.samplesPerChunk).U32(1);
  if (twoRuns) atoms.U32(static_cast<std::uint32_t>(chunks.size())).U32(rest).U32(1);
  atoms.End();
  AddSizes(atoms, track);
  atoms.Begin(track.wideOffsets ? "co64" : "stco", 0, 0).U32(static_cast<std::uint32_t>(chunks.size()));
  for (const std::uint64_t offset : chunks) atoms.Number(offset, track.wideOffsets ? 8 : 4);
  atoms.End().End();
}

void AddTrackHeader(AtomBuilder& atoms, const TrackSpec& track, const MovieSpec& movie) {
  const unsigned width = track.wide ? 8 : 4;
  atoms.Begin("tkhd", track.wide ? 1 : 0, track.flags).Zeros(width).Zeros(width).U32(track.id).Zeros(4);
  atoms.Number(movie.duration, width).Zeros(8 + 8 + 36);
  atoms.U32(track.width << 16).U32(track.height << 16).End();
}

void AddTrack(AtomBuilder& atoms, const TrackSpec& track, const MovieSpec& movie,
              const std::vector<std::uint64_t>& chunks) {
  const unsigned width = track.wide ? 8 : 4;
  atoms.Begin("trak");
  AddTrackHeader(atoms, track, movie);
  atoms.Raw(track.edits).Raw(track.references).Begin("mdia");
  atoms.Begin("mdhd", track.wide ? 1 : 0, 0).Zeros(width).Zeros(width).U32(track.timescale);
  atoms.Number(track.duration, width).U32(0).End();
  atoms.Begin("hdlr", 0, 0).U32(0).Code(track.handler).Zeros(12).Code("Handler").U8(0).End();
  atoms.Begin("minf").Begin("dinf").Begin("dref", 0, 0).U32(1).Begin("url ", 0, 1).End().End().End();
  AddSampleTable(atoms, track, chunks);
  atoms.End().End().Raw(track.userData).End();
}

Bytes Media(std::uint64_t size) {
  Bytes bytes(static_cast<std::size_t>(size));
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i % 251);
  return bytes;
}

}  // namespace

std::uint32_t TrackSpec::SampleCount() const {
  std::uint32_t count = 0;
  for (const auto& [samples, delta] : times) count += samples;
  return sizes.empty() ? count : static_cast<std::uint32_t>(sizes.size());
}

std::uint32_t TrackSpec::SizeOf(std::uint32_t sample) const {
  return sizes.empty() ? uniformSize : sizes[sample];
}

Bytes VideoEntry(std::string_view type, std::uint32_t width, std::uint32_t height, const Bytes& children) {
  AtomBuilder atoms;
  atoms.Begin(type).Zeros(6).U16(1).Zeros(16).U16(width).U16(height).Zeros(12).U16(1).Zeros(32);
  return atoms.U16(24).U16(0xFFFF).Raw(children).End().Take();
}

Bytes AudioEntry(std::string_view type, std::uint32_t channels, std::uint32_t bits, std::uint32_t rate,
                 const Bytes& children) {
  AtomBuilder atoms;
  atoms.Begin(type).Zeros(6).U16(1).Zeros(8).U16(channels).U16(bits).Zeros(4).U32(rate << 16);
  return atoms.Raw(children).End().Take();
}

Bytes TextEntry(std::string_view type) {
  return AtomBuilder().Begin(type).Zeros(6).U16(1).Zeros(38).End().Take();
}

Bytes MakeMovieAtom(const MovieSpec& spec, std::uint64_t mediaOffset) {
  const auto chunks = PlaceChunks(spec, mediaOffset);
  const unsigned width = spec.wide ? 8 : 4;
  AtomBuilder atoms;
  atoms.Begin("moov").Begin("mvhd", spec.wide ? 1 : 0, 0).Zeros(width).Zeros(width).U32(spec.timescale);
  atoms.Number(spec.duration, width).Zeros(80).End();
  for (std::size_t i = 0; i < spec.tracks.size(); ++i) AddTrack(atoms, spec.tracks[i], spec, chunks[i]);
  return atoms.Raw(spec.extra).End().Take();
}

Bytes MakeMovie(const MovieSpec& spec) {
  AtomBuilder atoms;
  atoms.Begin("ftyp").Code("isom").U32(0).Code("isom").End();
  const std::uint64_t start = atoms.Size() + 8;
  const std::uint64_t moved = spec.movieFirst ? MakeMovieAtom(spec, 0).size() : 0;
  std::uint64_t end = 0;
  PlaceChunks(spec, end);
  const Bytes movie = MakeMovieAtom(spec, start + moved);
  if (spec.movieFirst) atoms.Raw(movie);
  atoms.Begin("mdat").Raw(Media(end)).End();
  if (!spec.movieFirst) atoms.Raw(movie);
  return atoms.Take();
}

}  // namespace qmf::test
