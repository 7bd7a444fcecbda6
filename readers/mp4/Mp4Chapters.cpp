#include "readers/mp4/Mp4Chapters.h"

#include <algorithm>
#include <array>

#include "readers/mp4/Mp4Blocks.h"
#include "readers/mp4/Mp4Texts.h"
#include "readers/mp4/Mp4Time.h"

namespace qmf {
namespace {

void Add(CMP4Chapters& chapters, std::int64_t start, std::span<const std::uint8_t> name) {
  CMP4Chapter chapter{start, start, std::pmr::u16string(chapters.get_allocator().resource())};
  name = name.first(std::min(name.size(), kMaxChapterName));
  AssignText(chapter.name, name);
  chapters.push_back(std::move(chapter));
}

// 'chpl': times in 100-ns units, names behind their length in bytes. Version 1 has four bytes more in front.
AtomVerdict ReadChapterList(CMP4Chapters& chapters, CMP4Atom& atom) {
  constexpr std::uint64_t kMost = 9 + 255 * (8 + 1 + 255);
  const auto bytes = ReadWhole(CMP4Table::InAtom(atom, 0, kMost, 1), chapters.get_allocator().resource());
  CMP4Fields fields(bytes);
  const bool longer = fields.U8() != 0;
  fields.Skip(longer ? 3 + 4 : 3);
  for (int left = fields.U8(); left > 0; --left) {
    const std::uint64_t start = fields.U64();
    const std::size_t size = fields.U8();
    const auto name = fields.Take(size);
    if (fields.Failed()) break;
    Add(chapters, ToTicks(start), name);
  }
  return AtomVerdict::kTaken;
}

constexpr AtomRow<CMP4Chapters> kUserDataRows[] = {{MakeFourCC("chpl"), AtomUse::kOptional, ReadChapterList}};

const CMP4TrackAtom* ChapterTrack(const CMP4MovieAtom& movie) {
  for (const std::uint32_t id : movie.chapterTracks) {
    const CMP4TrackAtom* const track = movie.FindTrack(id);
    if (track != nullptr && (track->handler == MakeFourCC("text") || track->handler == MakeFourCC("sbtl"))) {
      return track;
    }
  }
  return nullptr;
}

// A sample is a text behind its 16-bit length in bytes; style records may follow.
void ReadTextSamples(const CMP4TrackContext& context, CMP4Chapters& chapters) {
  CMP4TrackReader reader(context);
  while (chapters.size() < kMaxChapters && reader.LoadNext()) {
    const CMP4Sample& sample = reader.Current();
    std::array<std::uint8_t, 2 + kMaxChapterName> bytes;
    const std::size_t wanted = std::min<std::size_t>(sample.size, bytes.size());
    CMP4Fields fields({bytes.data(), context.file.ReadAt(sample.offset, bytes.data(), wanted)});
    const std::size_t length = fields.U16();
    Add(chapters, ToMovieTime(context.movie, context.track, sample.decodeTime),
        fields.Rest().first(std::min(length, fields.Rest().size())));
    reader.Advance();
  }
}

}  // namespace

CMP4Chapters ReadChapters(FileReader& file, const CMP4MovieAtom& movie, std::int64_t duration,
                          std::pmr::memory_resource* memory) {
  CMP4Chapters chapters(memory);
  if (const CMP4TrackAtom* const track = ChapterTrack(movie)) {
    ReadTextSamples({file, movie, *track, memory}, chapters);
  } else {
    CMP4AtomWalker walker(*movie.file);
    walker.Walk<CMP4Chapters>(chapters, kUserDataRows, movie.userData.begin,
                              movie.userData.begin + movie.userData.size);
  }
  std::int64_t end = duration;
  for (auto chapter = chapters.rbegin(); chapter != chapters.rend(); ++chapter) {
    chapter->end = std::max(end, chapter->start);
    end = chapter->start;
  }
  return chapters;
}

}  // namespace qmf
