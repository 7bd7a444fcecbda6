#include "readers/mp4/Mp4Atoms.h"

#include <algorithm>

#include "readers/mp4/Mp4Time.h"

namespace qmf {
namespace {

constexpr std::uint64_t kMaxEdits = 65536;
constexpr std::uint32_t kRunSize = 8;
constexpr std::size_t kMaxChapterTracks = 64;
constexpr std::uint64_t kMaxDataReferences = 64;

CMP4Bytes PayloadOf(const CMP4Atom& atom, std::uint64_t skipped = 0) {
  skipped = std::min(skipped, atom.Size());
  return {atom.payload + skipped, atom.Size() - skipped};
}

/// A version-and-flags word in front of the fields.
struct FullHeader {
  explicit FullHeader(CMP4Fields& fields) : version(fields.U8()), flags(fields.U24()) {}
  std::uint8_t version;
  std::uint32_t flags;
  bool Wide() const { return version == 1; }
};

// All ones stand for "unknown", which 0 stands for here.
std::uint64_t Duration(CMP4Fields& fields, bool wide) {
  const std::uint64_t value = fields.Sized(wide);
  return value == (wide ? UINT64_MAX : UINT32_MAX) ? 0 : value;
}

AtomVerdict Valid(const CMP4Fields& fields) {
  return fields.Failed() ? AtomVerdict::kIgnored : AtomVerdict::kTaken;
}

AtomVerdict ReadMovieHeader(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  const FullHeader header(fields);
  fields.Skip(header.Wide() ? 16 : 8);
  movie.timescale = fields.U32();
  movie.duration = Duration(fields, header.Wide());
  return Valid(fields);
}

AtomVerdict BeginTrack(CMP4MovieAtom& movie, CMP4Atom&) {
  if (movie.tracks.size() == CMP4MovieAtom::kMaxTracks) return AtomVerdict::kIgnored;
  movie.tracks.emplace_back();
  return AtomVerdict::kTaken;
}

void EndTrack(CMP4MovieAtom& movie, bool complete) {
  if (!complete) movie.tracks.pop_back();
}

// Lengths are 16.16 fixed-point numbers.
std::uint32_t Pixels(CMP4Fields& fields) {
  return static_cast<std::uint32_t>((std::uint64_t{fields.U32()} + 0x8000) >> 16);
}

AtomVerdict ReadTrackHeader(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4TrackAtom& track = movie.tracks.back();
  CMP4Fields fields = atom.Fields();
  const FullHeader header(fields);
  track.enabled = (header.flags & 1) != 0;
  fields.Skip(header.Wide() ? 16 : 8);
  track.id = fields.U32();
  fields.Skip(4);
  track.duration = Duration(fields, header.Wide());
  fields.Skip(8 + 8 + 36);
  track.displayWidth = Pixels(fields);
  track.displayHeight = Pixels(fields);
  return Valid(fields);
}

// Empty edits in front delay the track; the first other one says where its media starts.
AtomVerdict ReadEditList(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  const FullHeader header(fields);
  const std::uint64_t declared = std::min<std::uint64_t>(fields.U32(), kMaxEdits);
  if (fields.Failed()) return AtomVerdict::kIgnored;
  CMP4TableWindow table(CMP4Table::InAtom(atom, 8, declared, header.Wide() ? 20 : 12),
                        movie.tracks.get_allocator().resource());
  CMP4EditListAtom& edits = movie.tracks.back().edits;
  for (std::uint64_t i = 0; i < table.Count(); ++i) {
    CMP4Fields entry = table.Entry(i);
    const std::uint64_t duration = entry.Sized(header.Wide());
    const std::uint64_t rawStart = entry.Sized(header.Wide());
    if (entry.Failed() || duration > INT64_MAX - edits.duration) break;
    const std::int64_t start = header.Wide()
                                   ? static_cast<std::int64_t>(rawStart)
                                   : static_cast<std::int32_t>(static_cast<std::uint32_t>(rawStart));
    edits.duration += duration;
    if (edits.present) continue;
    if (start < 0) {
      edits.delay += duration;
    } else {
      edits.present = true;
      edits.mediaStart = start;
      // Fragmented files write 0 for "to the end".
      if (duration == 0) {
        edits.duration = 0;
        break;
      }
    }
  }
  return AtomVerdict::kTaken;
}

AtomVerdict ReadChapterReference(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4Fields fields = atom.AllFields();
  for (std::uint64_t left = atom.Size() / 4; left > 0; --left) {
    if (fields.Rest().size() < 4 || movie.chapterTracks.size() == kMaxChapterTracks) break;
    movie.chapterTracks.push_back(fields.U32());
  }
  return AtomVerdict::kTaken;
}

AtomVerdict ReadMediaHeader(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4TrackAtom& track = movie.tracks.back();
  CMP4Fields fields = atom.Fields();
  const FullHeader header(fields);
  fields.Skip(header.Wide() ? 16 : 8);
  track.mediaTimescale = fields.U32();
  track.mediaDuration = Duration(fields, header.Wide());
  return track.mediaTimescale == 0 ? AtomVerdict::kIgnored : Valid(fields);
}

AtomVerdict ReadHandler(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4TrackAtom& track = movie.tracks.back();
  CMP4Fields fields = atom.Fields();
  fields.Skip(8);
  track.handler = fields.Code();
  track.handlerName = PayloadOf(atom, 24);
  return Valid(fields);
}

AtomVerdict BeginMedia(CMP4MovieAtom& movie, CMP4Atom& atom) {
  movie.tracks.back().mediaAtomEnd = atom.end;
  return AtomVerdict::kTaken;
}

// What the sample description means depends on the handler, which may stand behind it.
AtomVerdict BeginMediaInformation(CMP4MovieAtom& movie, CMP4Atom& atom) {
  static constexpr AtomRow<CMP4MovieAtom> kRows[] = {{MakeFourCC("hdlr"), AtomUse::kRequired, ReadHandler}};
  const CMP4TrackAtom& track = movie.tracks.back();
  CMP4AtomWalker walker(*atom.file);
  if (track.handler == 0) walker.Walk<CMP4MovieAtom>(movie, kRows, atom.end, track.mediaAtomEnd);
  return AtomVerdict::kTaken;
}

AtomVerdict ReadDataReferences(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4Fields fields = atom.AllFields();
  fields.Skip(4);
  const std::uint64_t count = std::min<std::uint64_t>(fields.U32(), kMaxDataReferences);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint32_t size = fields.U32();
    fields.Skip(4);
    const bool inThisFile = (fields.U32() & 1) != 0;
    if (fields.Failed() || size < 12) break;
    // Without a name there is no other file either.
    if (!inThisFile && size > 12) movie.tracks.back().externalData |= std::uint64_t{1} << i;
    fields.Skip(size - 12);
  }
  return AtomVerdict::kTaken;
}

AtomVerdict BeginSampleTable(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4SampleTableAtom& table = movie.tracks.back().sampleTable;
  table.begin = atom.payload;
  table.end = atom.end;
  return AtomVerdict::kTaken;
}

AtomVerdict ReadSampleDescriptions(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4TrackAtom& track = movie.tracks.back();
  return ReadSampleDescription(atom, track.handler, track.sampleTable.description) ? AtomVerdict::kTaken
                                                                                   : AtomVerdict::kIgnored;
}

AtomVerdict ReadTimeToSample(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(4);
  const std::uint32_t declared = fields.U32();
  CMP4SampleTableAtom& table = movie.tracks.back().sampleTable;
  table.timeToSample = CMP4Table::InAtom(atom, 8, declared, kRunSize);
  const std::uint64_t size = table.timeToSample.count * kRunSize;
  if (size <= fields.Rest().size()) table.totals = SumOfRuns(fields.Take(static_cast<std::size_t>(size)));
  return Valid(fields);
}

AtomVerdict BeginExtends(CMP4MovieAtom& movie, CMP4Atom&) {
  movie.fragmented = true;
  return AtomVerdict::kTaken;
}

AtomVerdict ReadExtendsHeader(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  const FullHeader header(fields);
  movie.fragmentDuration = Duration(fields, header.Wide());
  return Valid(fields);
}

AtomVerdict ReadTrackExtends(CMP4MovieAtom& movie, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(4);
  CMP4TrackExtendsAtom extends;
  extends.trackId = fields.U32();
  fields.Skip(4);
  extends.duration = fields.U32();
  extends.size = fields.U32();
  extends.flags = fields.U32();
  if (fields.Failed() || movie.extends.size() == CMP4MovieAtom::kMaxTracks) return AtomVerdict::kIgnored;
  const auto behind =
      std::ranges::upper_bound(movie.extends, extends.trackId, {}, &CMP4TrackExtendsAtom::trackId);
  movie.extends.insert(behind, extends);
  return AtomVerdict::kTaken;
}

// Remembers where a payload lies, for whoever asks later.
template <CMP4Bytes CMP4MovieAtom::*member>
AtomVerdict Keep(CMP4MovieAtom& movie, CMP4Atom& atom) {
  movie.*member = PayloadOf(atom);
  return AtomVerdict::kTaken;
}

AtomVerdict KeepMetadata(CMP4MovieAtom& movie, CMP4Atom& atom) {
  movie.metadata = {atom.start, atom.end - atom.start};
  return AtomVerdict::kTaken;
}

AtomVerdict KeepTrackUserData(CMP4MovieAtom& movie, CMP4Atom& atom) {
  movie.tracks.back().userData = PayloadOf(atom);
  return AtomVerdict::kTaken;
}

// Nothing stays of a movie before, which had no header.
AtomVerdict BeginMovie(CMP4MovieAtom& movie, CMP4Atom& atom) {
  movie.next = atom.end;
  movie.tracks.clear();
  movie.fragmented = false;
  movie.fragmentDuration = 0;
  movie.extends.clear();
  movie.chapterTracks.clear();
  movie.userData = movie.metadata = movie.compressed = {};
  return AtomVerdict::kTaken;
}

using Row = AtomRow<CMP4MovieAtom>;
using enum AtomUse;

constexpr Row kSampleTableRows[] = {
    {MakeFourCC("stsd"), kRequired, ReadSampleDescriptions},
    {MakeFourCC("stts"), kRequired, ReadTimeToSample},
};
constexpr Row kDataInformationRows[] = {{MakeFourCC("dref"), kOptional, ReadDataReferences}};
constexpr Row kMediaInformationRows[] = {
    {MakeFourCC("dinf"), kOptional, nullptr, kDataInformationRows},
    {MakeFourCC("stbl"), kRequired, BeginSampleTable, kSampleTableRows},
};
constexpr Row kMediaRows[] = {
    {MakeFourCC("mdhd"), kRequired, ReadMediaHeader},
    {MakeFourCC("hdlr"), kRequired, ReadHandler},
    {MakeFourCC("minf"), kRequired, BeginMediaInformation, kMediaInformationRows},
};
constexpr Row kEditRows[] = {{MakeFourCC("elst"), kOptional, ReadEditList}};
constexpr Row kReferenceRows[] = {{MakeFourCC("chap"), kOptional, ReadChapterReference}};
constexpr Row kTrackRows[] = {
    {MakeFourCC("tkhd"), kRequired, ReadTrackHeader},
    {MakeFourCC("edts"), kOptional, nullptr, kEditRows},
    {MakeFourCC("tref"), kOptional, nullptr, kReferenceRows},
    {MakeFourCC("mdia"), kRequired, BeginMedia, kMediaRows},
    {MakeFourCC("udta"), kOptional, KeepTrackUserData},
};
constexpr Row kExtendsRows[] = {
    {MakeFourCC("mehd"), kOptional, ReadExtendsHeader},
    {MakeFourCC("trex"), kRepeated, ReadTrackExtends},
};
constexpr Row kCompressedRows[] = {{MakeFourCC("cmvd"), kRequired, Keep<&CMP4MovieAtom::compressed>}};
constexpr Row kMovieRows[] = {
    {MakeFourCC("mvhd"), kRequired, ReadMovieHeader},
    {MakeFourCC("trak"), kRepeated, BeginTrack, kTrackRows, EndTrack},
    {MakeFourCC("mvex"), kOptional, BeginExtends, kExtendsRows},
    {MakeFourCC("udta"), kOptional, Keep<&CMP4MovieAtom::userData>},
    {MakeFourCC("meta"), kOptional, KeepMetadata},
    {MakeFourCC("cmov"), kOptional, nullptr, kCompressedRows},
};
constexpr Row kFileRows[] = {{MakeFourCC("moov"), kRequired, BeginMovie, kMovieRows}};

}  // namespace

CMP4SampleTotals SumOfRuns(std::span<const std::uint8_t> rows) {
  CMP4Fields fields(rows);
  CMP4SampleTotals totals;
  for (std::size_t left = rows.size() / kRunSize; left > 0; --left) {
    const std::uint32_t samples = fields.U32();
    const std::uint32_t ticks = fields.U32();
    const std::uint64_t duration = std::uint64_t{samples} * ticks;
    if (samples > UINT32_MAX - totals.samples || duration > kMaxMediaTime - totals.duration) break;
    if (totals.samples == 0) totals.first = ticks;
    totals.samples += samples;
    totals.duration += duration;
  }
  return totals;
}

const CMP4TrackAtom* CMP4MovieAtom::FindTrack(std::uint32_t id) const {
  const auto found = std::ranges::find(tracks, id, &CMP4TrackAtom::id);
  return found != tracks.end() ? &*found : nullptr;
}

CMP4TrackExtendsAtom CMP4MovieAtom::ExtendsOf(std::uint32_t trackId) const {
  const auto found = std::ranges::lower_bound(extends, trackId, {}, &CMP4TrackExtendsAtom::trackId);
  return found != extends.end() && found->trackId == trackId ? *found : CMP4TrackExtendsAtom{};
}

bool ReadMovieAtom(FileReader& file, CMP4MovieAtom& movie) {
  movie.file = &file;
  CMP4AtomWalker walker(file);
  const bool complete = walker.Walk<CMP4MovieAtom>(movie, kFileRows, 0, file.Size(), true);
  return complete || movie.compressed.size > 0;
}

}  // namespace qmf
