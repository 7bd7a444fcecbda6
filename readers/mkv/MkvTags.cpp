#include "readers/mkv/MkvTags.h"

#include <algorithm>
#include <utility>

#include "readers/mkv/MkvSections.h"

namespace qmf {
namespace {

constexpr EbmlLimits kLimits = {.elements = 100'000, .bytesRead = 8U << 20, .bytesKept = 4U << 20};

// The simple tags of a tag, or those inside another one.
struct Level {
  MkvTags& tags;
  std::uint32_t parent;
};

QMFResult ReadSimpleTag(Level& level, EbmlReader& reader, const EbmlElement& element);

QMFResult NoteBinary(MkvSimpleTag& simple, EbmlReader&, const EbmlElement& element) {
  simple.binaryOffset = element.payload;
  simple.binarySize = element.Size();
  return QMF_OK;
}

constexpr EbmlRule<MkvSimpleTag> kSimpleTagRules[] = {
    {Element::TagName, ReadInto<&MkvSimpleTag::name>},
    {Element::TagString, ReadInto<&MkvSimpleTag::text>},
    {Element::TagLanguage, ReadInto<&MkvSimpleTag::language>},
    {Element::TagOriginal, ReadInto<&MkvSimpleTag::original>},
    {Element::TagBinaryValue, NoteBinary},
};

constexpr EbmlRule<Level> kLevelRules[] = {
    {Element::SimpleTag, ReadSimpleTag},
};

// Its own children first, then the simple tags among them: both walks are short.
QMFResult ReadSimpleTag(Level& level, EbmlReader& reader, const EbmlElement& element) {
  QMF_RETURN_IF_NONZERO(reader.Keep(sizeof(MkvSimpleTag)));
  MkvSimpleTag simple(reader.Memory());
  simple.tag = static_cast<std::uint32_t>(level.tags.tags.size() - 1);
  simple.parent = level.parent;
  QMF_RETURN_IF_NONZERO(WalkInto<kSimpleTagRules>(simple, reader, element));
  Level inside{level.tags, static_cast<std::uint32_t>(level.tags.simpleTags.size())};
  level.tags.simpleTags.push_back(std::move(simple));
  return WalkInto<kLevelRules>(inside, reader, element);
}

constexpr EbmlRule<MkvTag> kTargetsRules[] = {
    {Element::TargetTypeValue, ReadInto<&MkvTag::targetTypeValue>},
    {Element::TagTrackUid, ReadInto<&MkvTag::tracks>},
    {Element::EditionUid, ReadInto<&MkvTag::editions>},
    {Element::ChapterUid, ReadInto<&MkvTag::chapters>},
    {Element::AttachmentUid, ReadInto<&MkvTag::attachments>},
};

constexpr EbmlRule<MkvTag> kTagRules[] = {
    {Element::Targets, WalkInto<kTargetsRules>},
};

QMFResult ReadTag(MkvTags& tags, EbmlReader& reader, const EbmlElement& element) {
  QMF_RETURN_IF_NONZERO(reader.Keep(sizeof(MkvTag)));
  MkvTag tag(reader.Memory());
  QMF_RETURN_IF_NONZERO(WalkInto<kTagRules>(tag, reader, element));
  tags.tags.push_back(std::move(tag));
  Level level{tags, MkvSimpleTag::kNone};
  return WalkInto<kLevelRules>(level, reader, element);
}

constexpr EbmlRule<MkvTags> kTagsRules[] = {
    {Element::Tag, ReadTag},
};

}  // namespace

std::uint32_t MkvTags::FindChild(std::uint32_t tag, std::uint32_t parent, std::uint32_t index) const {
  for (std::uint32_t id = 0; id < simpleTags.size(); ++id) {
    if (simpleTags[id].tag == tag && simpleTags[id].parent == parent && index-- == 0) return id;
  }
  return MkvSimpleTag::kNone;
}

std::uint32_t MkvTags::ChildCount(std::uint32_t simpleTag) const {
  return static_cast<std::uint32_t>(std::ranges::count(simpleTags, simpleTag, &MkvSimpleTag::parent));
}

MkvTags& MkvTagsOf(MkvSegment& segment) {
  if (!segment.tags) {
    MkvTags& tags = segment.tags.emplace(segment.memory);
    tags.result = ReadMkvSection<kTagsRules>(segment, kSectionTags, kLimits, QMF_ERR_QF3_PARSE_TAGS, tags);
  }
  return *segment.tags;
}

}  // namespace qmf
