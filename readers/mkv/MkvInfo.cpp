#include "readers/mkv/MkvInfo.h"

#include <algorithm>
#include <string_view>

#include "readers/mkv/EbmlRules.h"

namespace qmf {
namespace {

constexpr std::u16string_view kLibmatroska081 = u"libmatroska v0.8.1";
constexpr std::size_t kMostCharactersSearched = 512000;

template <MkvSegmentUid MkvInfo::*member>
QMFResult ReadUid(MkvInfo& info, EbmlReader& reader, const EbmlElement& element) {
  return ReadMkvUid(reader, element, info.*member);
}

QMFResult ReadMuxingApp(MkvInfo& info, EbmlReader& reader, const EbmlElement& element) {
  QMF_RETURN_IF_NONZERO(reader.Read(element, info.muxingApp));
  const auto searched = std::u16string_view(info.muxingApp).substr(0, kMostCharactersSearched);
  info.byLibmatroska081 = searched.find(kLibmatroska081) != std::u16string_view::npos;
  return QMF_OK;
}

constexpr EbmlRule<MkvInfo> kInfoRules[] = {
    {Element::TimecodeScale, ReadInto<&MkvInfo::timecodeScale>},
    {Element::Duration, ReadInto<&MkvInfo::duration>},
    {Element::SegmentUid, ReadUid<&MkvInfo::segmentUid>},
    {Element::PrevUid, ReadUid<&MkvInfo::prevUid>},
    {Element::NextUid, ReadUid<&MkvInfo::nextUid>},
    {Element::Title, ReadInto<&MkvInfo::title>},
    {Element::FileName, ReadInto<&MkvInfo::fileName>},
    {Element::PrevFileName, ReadInto<&MkvInfo::prevFileName>},
    {Element::NextFileName, ReadInto<&MkvInfo::nextFileName>},
    {Element::MuxingApp, ReadMuxingApp},
    {Element::WritingApp, ReadInto<&MkvInfo::writingApp>},
};

}  // namespace

QMFResult ReadMkvUid(EbmlReader& reader, const EbmlElement& element, MkvSegmentUid& uid) {
  if (element.Size() > uid.size()) return QMF_FAILURE;
  std::pmr::vector<std::uint8_t> bytes(reader.Memory());
  QMF_RETURN_IF_NONZERO(reader.Read(element, bytes));
  uid = {};
  std::ranges::copy(bytes, uid.begin());
  return QMF_OK;
}

QMFResult ReadMkvInfo(EbmlReader& reader, const EbmlElement& element, MkvInfo& info) {
  return WalkInto<kInfoRules>(info, reader, element) == QMF_OK ? QMF_OK : QMF_ERR_QF3_PARSE_SEGMENTINFO;
}

}  // namespace qmf
