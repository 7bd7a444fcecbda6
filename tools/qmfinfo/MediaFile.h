#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/Container.h"

namespace qmfinfo {

/// The three kinds of streams, in the order in which they are listed.
struct StreamKind {
  const char* name;  ///< "video", "audio" or "subtitle".
  qmf::QMFBlockType blockType;
};
inline constexpr StreamKind kStreamKinds[] = {
    {"video", qmf::kBlockVideo}, {"audio", qmf::kBlockAudio}, {"subtitle", qmf::kBlockSubtitle}};

/// The kind that blocks of `blockType` belong to; null for a type that no stream has.
const StreamKind* FindStreamKind(std::uint32_t blockType);

/// A stream as "KIND:N" names it; the number counts over all pieces.
struct StreamName {
  const StreamKind* kind;
  std::uint32_t number;
};

/// Reads "audio:1"; nothing when `text` is not of that form.
std::optional<StreamName> ParseStreamName(std::string_view text);

/// A number that SetInfo takes before anything is asked.
struct Setting {
  std::uint32_t qid;
  std::uint64_t value;
};

/// A path opened as the Shell object opens it, closed with the object.
class MediaFile {
 public:
  MediaFile() = default;
  MediaFile(const MediaFile&) = delete;
  MediaFile& operator=(const MediaFile&) = delete;
  ~MediaFile();

  qmf::QMFResult Open(const std::u16string& path) {
    return qmf::OpenContainer(&m_container, path.c_str(), nullptr);
  }
  /// Opens and, where `title` is given, selects it. A warning of the selection is passed on; the file stays
  /// usable then.
  qmf::QMFResult Open(const std::u16string& path, std::optional<std::uint32_t> title);

  /// Applies the settings in their order; the first that is refused ends this.
  qmf::QMFResult Apply(const std::vector<Setting>& settings) const;

  qmf::QMFContainer* Container() const { return m_container; }
  bool IsOpen() const { return m_container != nullptr; }
  std::vector<StreamName> Streams() const;
  std::uint32_t CountStreams(const StreamKind& kind) const;

 private:
  qmf::QMFContainer* m_container = nullptr;
};

}  // namespace qmfinfo
