#include "readers/mkv/MkvHeader.h"

#include <string_view>

#include "readers/mkv/EbmlRules.h"

namespace qmf {
namespace {

constexpr std::uint32_t kIdLength = 4;
constexpr std::uint32_t kLongestSizeLength = 8;

struct EbmlHeader {
  explicit EbmlHeader(QMFAllocator* memory) : docType(u"matroska", memory) {}

  std::uint64_t maxIdLength = kIdLength;
  std::uint64_t maxSizeLength = kLongestSizeLength;
  std::pmr::u16string docType;
};

constexpr EbmlRule<EbmlHeader> kHeaderRules[] = {
    {Element::EbmlMaxIdLength, ReadInto<&EbmlHeader::maxIdLength>},
    {Element::EbmlMaxSizeLength, ReadInto<&EbmlHeader::maxSizeLength>},
    {Element::DocType, ReadInto<&EbmlHeader::docType>},
};

// Later versions of the document types only add elements, which are skipped, so no version is refused.
QMFResult CheckHeader(const EbmlHeader& header) {
  if (header.maxIdLength != kIdLength) return QMF_ERR_INVALID_FILE;
  if (header.maxSizeLength == 0 || header.maxSizeLength > kLongestSizeLength) return QMF_ERR_INVALID_FILE;
  if (header.docType != u"matroska" && header.docType != u"webm") return QMF_ERR_UNSUPPORTED_CONTAINER;
  return QMF_OK;
}

QMFResult FindSegment(EbmlReader& reader, std::uint64_t at, EbmlElement& segment) {
  while (reader.ReadHeader(at, EbmlElement::kOpenEnd, segment) == QMF_OK) {
    if (segment.Is(Element::Segment)) return QMF_OK;
    at = segment.end;
  }
  return QMF_ERR_BAD_STRUCTURE;
}

}  // namespace

QMFResult ReadMkvHeader(EbmlReader& reader, MkvSegment& segment) {
  EbmlElement element;
  if (reader.ReadHeader(0, EbmlElement::kOpenEnd, element) != QMF_OK || !element.Is(Element::Ebml)) {
    return QMF_ERR_INVALID_FILE;
  }
  EbmlHeader header(reader.Memory());
  if (WalkInto<kHeaderRules>(header, reader, element) != QMF_OK) return QMF_ERR_INVALID_FILE;
  QMF_RETURN_IF_NONZERO(CheckHeader(header));
  segment.isWebm = header.docType == u"webm";
  segment.maxSizeLength = static_cast<std::uint32_t>(header.maxSizeLength);
  reader.SetMaxSizeLength(segment.maxSizeLength);
  return FindSegment(reader, element.end, segment.element);
}

}  // namespace qmf
