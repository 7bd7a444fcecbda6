#include "tests/readers/mkv/MkvFile.h"

#include <cstring>

namespace qmf::test {
namespace {

template <class Format>
QMFResult FillFormat(OpenedFile& file, std::uint32_t qid, Format& format, std::uint32_t index) {
  std::memset(&format, 0xEE, sizeof(format));
  return file.Fill(qid, format, index);
}

}  // namespace

EbmlBuilder Header(std::string_view docType) {
  return EbmlBuilder().Master(Element::Ebml, EbmlBuilder()
                                                 .Unsigned(Element::EbmlMaxIdLength, 4)
                                                 .Unsigned(Element::EbmlMaxSizeLength, 8)
                                                 .Text(Element::DocType, docType)
                                                 .Void(40));
}

EbmlBuilder Info() {
  return EbmlBuilder().Master(
      Element::SegmentInfo,
      EbmlBuilder().Unsigned(Element::TimecodeScale, 1'000'000).Float(Element::Duration, 5'400'000.0));
}

EbmlBuilder Track(std::uint64_t number, std::uint64_t type, std::string_view codecId,
                  const EbmlBuilder& more) {
  return EbmlBuilder().Master(Element::TrackEntry, EbmlBuilder()
                                                       .Unsigned(Element::TrackNumber, number)
                                                       .Text(Element::CodecId, codecId)
                                                       .Raw(more.Done())
                                                       .Unsigned(Element::TrackType, type));
}

EbmlBuilder Picture(std::uint64_t width, std::uint64_t height, const EbmlBuilder& more) {
  return EbmlBuilder().Master(Element::Video, EbmlBuilder()
                                                  .Unsigned(Element::PixelWidth, width)
                                                  .Unsigned(Element::PixelHeight, height)
                                                  .Raw(more.Done()));
}

EbmlBuilder Film(const EbmlBuilder& trackEntries) {
  return Header().Master(Element::Segment,
                         EbmlBuilder().Raw(Info().Done()).Master(Element::Tracks, trackEntries));
}

std::vector<std::uint8_t> MkvFile::Bytes(std::uint32_t qid, std::uint32_t index) {
  std::vector<std::uint8_t> buffer(4096);
  QMFQueryData data;
  data.size = static_cast<std::uint32_t>(buffer.size());
  data.pointer = buffer.data();
  if (Ask(qid, data, index) != QMF_OK) return {0xEE};
  buffer.resize(data.size);
  return buffer;
}

QMFResult MkvFile::ResultOf(std::uint32_t qid, std::uint32_t index) {
  std::uint8_t buffer[4096];
  return FillBytes(qid, buffer, sizeof(buffer), index);
}

QMFResult MkvFile::Video(QMFVideoFormat& format, std::uint32_t index) {
  return FillFormat(*this, QMF_QID_VID_STREAM_FORMAT, format, index);
}

QMFResult MkvFile::Audio(QMFAudioFormat& format, std::uint32_t index) {
  return FillFormat(*this, QMF_QID_AUD_STREAM_FORMAT, format, index);
}

}  // namespace qmf::test
