#include "readers/mkv/MkvHeader.h"

#include "readers/mkv/EbmlRules.h"

namespace qmf {
namespace {

struct EbmlHeader {
  explicit EbmlHeader(QMFAllocator* memory) : docType(u"matroska", memory) {}

  std::pmr::u16string docType;
};

constexpr EbmlRule<EbmlHeader> kHeaderRules[] = {
    {Element::DocType, ReadInto<&EbmlHeader::docType>},
};

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
  // Of any version: later ones only add elements, which are skipped.
  segment.isWebm = header.docType == u"webm";
  if (!segment.isWebm && header.docType != u"matroska") return QMF_ERR_UNSUPPORTED_CONTAINER;
  return FindSegment(reader, element.end, segment.element);
}

}  // namespace qmf
