#include "tools/qmfinfo/MediaFile.h"

#include <charconv>

#include "framework/ReturnIf.h"

namespace qmfinfo {

const StreamKind* FindStreamKind(std::uint32_t blockType) {
  if (blockType == qmf::kBlockSubtitleAlternate) blockType = qmf::kBlockSubtitle;
  if (blockType == qmf::kBlockVideoAlternate) blockType = qmf::kBlockVideo;
  for (const StreamKind& kind : kStreamKinds) {
    if (kind.blockType == blockType) return &kind;
  }
  return nullptr;
}

std::optional<StreamName> ParseStreamName(std::string_view text) {
  for (const StreamKind& kind : kStreamKinds) {
    const std::string prefix = std::string(kind.name) + ":";
    if (!text.starts_with(prefix)) continue;
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + prefix.size(), end, number);
    if (error == std::errc() && stop == end) return StreamName{&kind, number};
  }
  return std::nullopt;
}

MediaFile::~MediaFile() {
  if (m_container != nullptr) (void)qmf::CloseContainer(m_container);
}

qmf::QMFResult MediaFile::Open(const std::u16string& path, std::optional<std::uint32_t> title) {
  QMF_RETURN_IF_NONZERO(Open(path));
  return title ? qmf::SetTitle(m_container, *title) : qmf::QMF_OK;
}

qmf::QMFResult MediaFile::Apply(const std::vector<Setting>& settings) const {
  for (const Setting& setting : settings) {
    qmf::QMFQueryData data;
    data.value = setting.value;
    QMF_RETURN_IF_NONZERO(qmf::SetInfo(m_container, setting.qid, &data, 0));
  }
  return qmf::QMF_OK;
}

std::uint32_t MediaFile::CountStreams(const StreamKind& kind) const {
  std::uint32_t count = 0;
  return qmf::CountStreams(m_container, kind.blockType, &count) == qmf::QMF_OK ? count : 0;
}

std::vector<StreamName> MediaFile::Streams() const {
  std::vector<StreamName> streams;
  for (const StreamKind& kind : kStreamKinds) {
    const std::uint32_t count = CountStreams(kind);
    for (std::uint32_t i = 0; i < count; ++i) streams.push_back({&kind, i});
  }
  return streams;
}

}  // namespace qmfinfo
