#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qmf {

// Records that MKV queries of kind 0xB answer with, little-endian. Times are 100-ns units.

/// Answer of QMF_QID_PLAYLISTS_GET_PROP: edition `index`.
struct QMFPlaylistProp {
  std::uint64_t uid;
  std::uint64_t duration;      ///< Of the enabled chapters of its first level, when ordered; else 0.
  std::uint32_t flags;         ///< 0x01 hidden, 0x02 default, 0x08 ordered.
  std::uint32_t chapterCount;  ///< Chapters of all levels.
};
static_assert(sizeof(QMFPlaylistProp) == 24);

/// Answer of QMF_QID_EDITIONENTRY_GET_PROP: chapter `index` of the selected edition, in file order, each
/// before the chapters inside it.
struct QMFChapterProp {
  std::uint64_t uid;
  std::uint64_t start;
  std::uint64_t end;             ///< 0 when the chapter has none.
  std::uint64_t segmentEdition;  ///< Edition of the other segment; 0 for none.
  std::uint8_t segmentUid[16];   ///< The segment that the chapter plays; zeros for its own.
  std::uint32_t flags;           ///< 0x01 hidden, 0x02 enabled.
  std::uint32_t level;           ///< 0 for chapters directly in the edition.
};
static_assert(sizeof(QMFChapterProp) == 56);

/// Answer of QMF_QID_GET_ATTACHMENTINFO: attachment `index`. Where the caller's buffer has room for the
/// record and all of the data, these follow it. Texts are zero-terminated and cut to fit.
struct QMFAttachmentInfo {
  std::uint64_t uid;
  std::uint64_t size;  ///< Bytes of data.
  char16_t name[260];
  char16_t description[260];
  char16_t mimeType[64];
};
static_assert(sizeof(QMFAttachmentInfo) == 1184);

/// Answer of QMF_QID_TAGS_GET_SIMPLETAGINFO_BYINDEX and _BYID. Sizes are in bytes, of texts with their
/// terminator and 0 where there is none.
struct QMFSimpleTagInfo {
  std::uint32_t id;  ///< Counts the simple tags of all tags, in file order, each before those inside it.
  std::uint32_t parentId;  ///< 0xFFFFFFFF for one directly in its tag.
  std::uint32_t tagIndex;
  std::uint32_t childCount;
  std::uint32_t nameSize;
  std::uint32_t stringSize;
  std::uint32_t languageSize;
  std::uint32_t binarySize;
  std::uint32_t targetTypeValue;  ///< The level that the tag speaks of, from 10 (shot) to 70 (collection).
  std::uint32_t flags;            ///< 0x01 original language.
};
static_assert(sizeof(QMFSimpleTagInfo) == 40);

/// Answer of QMF_QID_ENHANCEDTRACK and QMF_QID_GET_TRICK_TRACK_PROP, of QMF_QID_MASTERTRACK and
/// QMF_QID_GET_MASTER_TRACK_PROP: the video track that video stream `index` names.
struct QMFTrackLink {
  std::uint64_t trackUid;
  std::uint8_t segmentUid[16];  ///< Zeros where the file names none.
  char16_t fileName[260];       ///< Of the file in the same folder where it was found, else as the file says.
  std::uint32_t flags;          ///< 0x01 found in the same file, 0x02 in the other one.
  std::uint32_t stream;         ///< Video stream that it is there; 0 where it was not found.
};
static_assert(sizeof(QMFTrackLink) == 552);

/// Fills a record's text, which was zeros, and cuts it to fit.
template <std::size_t size>
void CopyText(char16_t (&out)[size], std::u16string_view text) {
  std::ranges::copy(text.substr(0, size - 1), out);
}

}  // namespace qmf
