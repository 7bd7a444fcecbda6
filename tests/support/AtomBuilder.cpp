#include "tests/support/AtomBuilder.h"

#include <algorithm>
#include <array>

namespace qmf::test {
namespace {

struct Chunk {
  std::uint64_t offset;
  std::uint32_t samples;
};

// Every track's chunks when they take turns from `at` on; `at` ends behind the last.
std::vector<std::vector<Chunk>> PlaceChunks(const MovieSpec& spec, std::uint64_t& at) {
  std::vector<std::vector<Chunk>> placed(spec.tracks.size());
  std::vector<std::uint32_t> next(spec.tracks.size());
  std::vector<std::uint32_t> left;
  for (const TrackSpec& track : spec.tracks) left.push_back(track.SampleCount());
  while (std::ranges::any_of(left, [](std::uint32_t samples) { return samples > 0; })) {
    for (std::size_t i = 0; i < left.size(); ++i) {
      const TrackSpec& track = spec.tracks[i];
      const std::size_t number = std::min(placed[i].size(), track.chunks.size() - 1);
      const std::uint32_t samples = std::min(track.chunks[number], left[i]);
      if (samples == 0) continue;
      placed[i].push_back({at, samples});
      left[i] -= samples;
      for (std::uint32_t n = 0; n < samples; ++n) at += track.SizeOf(next[i]++);
    }
  }
  return placed;
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

void AddSampleTable(AtomBuilder& atoms, const TrackSpec& track, const std::vector<Chunk>& chunks) {
  std::vector<std::array<std::uint32_t, 3>> runs(track.emptyChunkRows, {1, 4, 1});
  std::vector<std::uint64_t> offsets;
  for (const auto& [offset, samples] : chunks) {
    offsets.push_back(offset);
    if (offsets.size() > 1 && runs.back()[1] == samples) continue;
    runs.push_back({static_cast<std::uint32_t>(offsets.size()), samples, 1});
  }
  atoms.Begin("stbl").Begin("stsd", 0, 0).U32(1).Raw(track.entry).End().Table("stts", track.times);
  if (!track.offsets.empty()) atoms.Table("ctts", track.offsets);
  if (!track.syncSamples.empty()) atoms.Table("stss", track.syncSamples);
  if (!track.partialSyncSamples.empty()) atoms.Table("stps", track.partialSyncSamples);
  atoms.Table("stsc", runs);
  AddSizes(atoms, track);
  atoms.Table(track.wideOffsets ? "co64" : "stco", offsets, track.wideOffsets ? 8 : 4).End();
}

void AddTrack(AtomBuilder& atoms, const TrackSpec& track, const MovieSpec& movie,
              const std::vector<Chunk>& chunks) {
  const unsigned width = track.wide ? 8 : 4;
  const std::uint8_t version = track.wide ? 1 : 0;
  atoms.Begin("trak").Begin("tkhd", version, track.flags).Zeros(2 * width).U32(track.id, 0);
  atoms.Number(movie.duration, width).Zeros(8 + 8 + 36).U32(track.width << 16, track.height << 16).End();
  atoms.Raw(track.edits).Raw(track.references).Begin("mdia");
  atoms.Begin("mdhd", version, 0).Zeros(2 * width).U32(track.timescale);
  atoms.Number(track.duration, width).U32(0).End();
  AtomBuilder handler;
  handler.Begin("hdlr", 0, 0).U32(0).Code(track.handler).Zeros(12).Code("Handler").U8(0);
  const Bytes hdlr = handler.Take();
  atoms.Raw(track.handlerLast ? Bytes{} : hdlr);
  atoms.Begin("minf").Begin("dinf").Begin("dref", 0, 0).U32(1).Begin("url ", 0, 1).End().End().End();
  AddSampleTable(atoms, track, chunks);
  atoms.End().Raw(track.handlerLast ? hdlr : Bytes{}).End().Raw(track.userData).End();
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
  atoms.Begin(type).Zeros(6).U16(1).Zeros(16).U16(width, height).Zeros(12).U16(1).Zeros(32);
  return atoms.U16(32, 0xFFFF).Raw(children).Take();
}

Bytes AudioEntry(std::string_view type, std::uint32_t channels, std::uint32_t bits, std::uint32_t rate,
                 const Bytes& children) {
  AtomBuilder atoms;
  atoms.Begin(type).Zeros(6).U16(1).Zeros(8).U16(channels, bits).Zeros(4).U32(rate << 16);
  return atoms.Raw(children).Take();
}

Bytes TextEntry(std::string_view type) {
  return AtomBuilder().Begin(type).Zeros(6).U16(1).Zeros(38).Take();
}

Bytes MakeMovieAtom(const MovieSpec& spec, std::uint64_t mediaOffset) {
  const auto chunks = PlaceChunks(spec, mediaOffset);
  const unsigned width = spec.wide ? 8 : 4;
  AtomBuilder atoms;
  atoms.Begin("moov").Begin("mvhd", spec.wide ? 1 : 0, 0).Zeros(2 * width).U32(spec.timescale);
  atoms.Number(spec.duration, width).Zeros(80).End();
  for (std::size_t i = 0; i < spec.tracks.size(); ++i) AddTrack(atoms, spec.tracks[i], spec, chunks[i]);
  return atoms.Raw(spec.extra).Take();
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
