#pragma once

#include <cstdint>
#include <memory_resource>
#include <string>
#include <vector>

#include "framework/Allocator.h"
#include "framework/ResultCodes.h"

namespace qmf {

struct MkvSegment;

/// One name with its value. Binary values stay in the file; only where they stand is kept.
struct MkvSimpleTag {
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  explicit MkvSimpleTag(QMFAllocator* memory) : name(memory), text(memory), language(u"und", memory) {}

  std::uint32_t tag = 0;         ///< The tag it belongs to.
  std::uint32_t parent = kNone;  ///< The simple tag around it.
  std::pmr::u16string name;
  std::pmr::u16string text;
  std::pmr::u16string language;
  bool original = true;  ///< In the original language.
  std::uint64_t binaryOffset = 0;
  std::uint64_t binarySize = 0;  ///< Bytes.
};

/// What a tag speaks of: the UIDs named, or the whole segment where there are none.
struct MkvTag {
  static constexpr std::uint64_t kAlbum = 50;

  explicit MkvTag(QMFAllocator* memory)
      : tracks(memory), editions(memory), chapters(memory), attachments(memory) {}

  std::uint64_t targetTypeValue = kAlbum;  ///< The level spoken of, from 10 (shot) to 70 (collection).
  std::pmr::vector<std::uint64_t> tracks;
  std::pmr::vector<std::uint64_t> editions;
  std::pmr::vector<std::uint64_t> chapters;
  std::pmr::vector<std::uint64_t> attachments;
};

/// A segment's tags, and the ones that queries speak of.
struct MkvTags {
  explicit MkvTags(QMFAllocator* memory) : tags(memory), simpleTags(memory) {}

  std::pmr::vector<MkvTag> tags;
  std::pmr::vector<MkvSimpleTag> simpleTags;  ///< Of all tags in file order, each before those inside it.
  QMFResult result = QMF_OK;  ///< Of reading them: QMF_ERR_QF3_PARSE_TAGS when they are broken.
  std::uint32_t currentTag = 0;
  std::uint32_t currentSimpleTag = 0;

  /// Simple tag `index` among those of `tag` that stand directly inside `parent`; kNone when there is none.
  std::uint32_t FindChild(std::uint32_t tag, std::uint32_t parent, std::uint32_t index) const;
  std::uint32_t ChildCount(std::uint32_t simpleTag) const;
};

/// The segment's tags (RFC 9559, section 5.1.8), read at the first call.
MkvTags& MkvTagsOf(MkvSegment& segment);

}  // namespace qmf
