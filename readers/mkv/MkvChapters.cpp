#include "readers/mkv/MkvChapters.h"

#include <algorithm>
#include <utility>

#include "readers/mkv/MkvSections.h"

namespace qmf {
namespace {

struct Display {
  explicit Display(QMFAllocator* memory) : name(memory), language(memory), country(memory) {}

  std::pmr::u16string name;
  std::pmr::u16string language;
  std::pmr::u16string country;
};

constexpr EbmlRule<Display> kDisplayRules[] = {
    {Element::ChapString, ReadInto<&Display::name>},
    {Element::ChapLanguage, ReadInto<&Display::language>},
    {Element::ChapCountry, ReadInto<&Display::country>},
};

// Of several displays the first is kept.
QMFResult ReadDisplay(MkvChapter& chapter, EbmlReader& reader, const EbmlElement& element) {
  Display display(reader.Memory());
  QMF_RETURN_IF_NONZERO(WalkInto<kDisplayRules>(display, reader, element));
  if (!chapter.name.empty()) return QMF_OK;
  chapter.name = std::move(display.name);
  chapter.language = std::move(display.language);
  chapter.country = std::move(display.country);
  return QMF_OK;
}

QMFResult ReadSegmentUid(MkvChapter& chapter, EbmlReader& reader, const EbmlElement& element) {
  return ReadMkvUid(reader, element, chapter.segmentUid.emplace());
}

constexpr EbmlRule<MkvChapter> kChapterRules[] = {
    {Element::ChapterUid2, ReadInto<&MkvChapter::uid>},
    {Element::ChapterTimeStart, ReadInto<&MkvChapter::start>},
    {Element::ChapterTimeEnd, ReadInto<&MkvChapter::end>},
    {Element::ChapterFlagHidden, ReadInto<&MkvChapter::hidden>},
    {Element::ChapterFlagEnabled, ReadInto<&MkvChapter::enabled>},
    {Element::ChapterSegmentUid, ReadSegmentUid},
    {Element::ChapterSegmentEditionUid, ReadInto<&MkvChapter::segmentEdition>},
    {Element::ChapterDisplay, ReadDisplay},
};

// An edition, or a chapter, into which chapters are read.
struct Level {
  MkvEdition& edition;
  std::uint32_t number;
};

QMFResult ReadAtom(Level& level, EbmlReader& reader, const EbmlElement& element);

constexpr EbmlRule<Level> kAtomRules[] = {
    {Element::ChapterAtom, ReadAtom},
};

// The chapter's own children first, then those that are chapters: both walks are short.
QMFResult ReadAtom(Level& level, EbmlReader& reader, const EbmlElement& element) {
  QMF_RETURN_IF_NONZERO(reader.Keep(sizeof(MkvChapter)));
  MkvChapter chapter(reader.Memory());
  chapter.level = level.number;
  QMF_RETURN_IF_NONZERO(WalkInto<kChapterRules>(chapter, reader, element));
  level.edition.chapters.push_back(std::move(chapter));
  Level inside{level.edition, level.number + 1};
  return WalkInto<kAtomRules>(inside, reader, element);
}

QMFResult ReadEditionAtom(MkvEdition& edition, EbmlReader& reader, const EbmlElement& element) {
  Level level{edition, 0};
  return ReadAtom(level, reader, element);
}

template <std::uint8_t flag>
QMFResult ReadFlag(MkvEdition& edition, EbmlReader& reader, const EbmlElement& element) {
  bool set = false;
  QMF_RETURN_IF_NONZERO(reader.Read(element, set));
  edition.flags = static_cast<std::uint8_t>(set ? edition.flags | flag : edition.flags & ~flag);
  return QMF_OK;
}

constexpr EbmlRule<MkvEdition> kEditionRules[] = {
    {Element::EditionUid2, ReadInto<&MkvEdition::uid>},
    {Element::EditionFlagHidden, ReadFlag<MkvEdition::kHidden>},
    {Element::EditionFlagDefault, ReadFlag<MkvEdition::kDefault>},
    {Element::EditionFlagOrdered, ReadFlag<MkvEdition::kOrdered>},
    {Element::ChapterAtom, ReadEditionAtom},
};

QMFResult ReadEdition(MkvSegment& segment, EbmlReader& reader, const EbmlElement& element) {
  QMF_RETURN_IF_NONZERO(reader.Keep(sizeof(MkvEdition)));
  MkvEdition edition(reader.Memory());
  QMF_RETURN_IF_NONZERO(WalkInto<kEditionRules>(edition, reader, element));
  segment.editions.push_back(std::move(edition));
  return QMF_OK;
}

constexpr EbmlRule<MkvSegment> kChaptersRules[] = {
    {Element::EditionEntry, ReadEdition},
};

std::uint32_t DefaultEdition(const MkvSegment& segment) {
  const auto found = std::ranges::find_if(segment.editions, [](const MkvEdition& edition) {
    return (edition.flags & MkvEdition::kDefault) != 0;
  });
  return found == segment.editions.end() ? 0 : static_cast<std::uint32_t>(found - segment.editions.begin());
}

QMFResult ReadEditions(MkvSegment& segment) {
  const QMFResult result = ReadMkvSection<kChaptersRules>(segment, kSectionChapters, segment.limits.chapters,
                                                          QMF_ERR_QF3_PARSE_CHAPTERS, segment);
  if (result != QMF_OK) segment.editions.clear();
  return result;
}

}  // namespace

std::uint64_t MkvEdition::OrderedDuration() const {
  std::uint64_t duration = 0;
  for (const MkvChapter& chapter : chapters) {
    if (chapter.level == 0 && chapter.enabled && chapter.end && *chapter.end > chapter.start) {
      duration += *chapter.end - chapter.start;
    }
  }
  return duration;
}

QMFResult ReadMkvChapters(MkvSegment& segment) {
  if (!segment.chaptersResult) {
    segment.chaptersResult = ReadEditions(segment);
    segment.selectedPlaylist = DefaultEdition(segment);
  }
  return *segment.chaptersResult;
}

}  // namespace qmf
