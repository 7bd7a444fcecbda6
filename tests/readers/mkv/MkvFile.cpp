#include "tests/readers/mkv/MkvFile.h"

#include <cstring>

#include "tests/support/KeepFile.h"

namespace qmf::test {
namespace {

const QMFModuleEntryPoints& Module() {
  return *kMkvModule.entryPoints;
}

template <class Format>
QMFResult AskFormat(MkvFile& file, std::uint32_t qid, Format& format, std::uint32_t index) {
  std::memset(&format, 0xEE, sizeof(format));
  QMFQueryData data;
  data.size = sizeof(format);
  data.pointer = &format;
  return file.Ask(qid, data, index);
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

MkvFile::MkvFile(std::vector<std::uint8_t> bytes)
    : m_bytes(std::move(bytes)),
      m_reader(std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(m_bytes))),
      m_named(u"film.mkv", m_reader) {
  MemoryFileSource source(m_bytes);
  KeepFile(source, kModuleMkv);
  m_selected = Module().OpenContainer(&m_handle, u"film.mkv", nullptr);
  if (m_selected == QMF_OK) m_selected = Module().SetTitle(m_handle, 0);
}

MkvFile::~MkvFile() {
  (void)Module().CloseContainer(m_handle);
}

QMFResult MkvFile::Ask(std::uint32_t qid, QMFQueryData& data, std::uint32_t index) {
  return Module().GetInfo(m_handle, qid, &data, index);
}

QMFResult MkvFile::Set(std::uint32_t qid, std::uint64_t value, std::uint32_t index) {
  QMFQueryData data;
  data.value = value;
  return Module().SetInfo(m_handle, qid, &data, index);
}

std::uint64_t MkvFile::Number(std::uint32_t qid, std::uint32_t index, std::uint64_t value) {
  QMFQueryData data;
  data.value = value;
  return Ask(qid, data, index) == QMF_OK && data.type == ValueKindOf(qid) ? data.value : ~std::uint64_t{0};
}

std::u16string MkvFile::Text(std::uint32_t qid, std::uint32_t index) {
  char16_t buffer[256];
  QMFQueryData data;
  data.size = sizeof(buffer);
  data.pointer = buffer;
  if (Ask(qid, data, index) != QMF_OK) return u"!";
  return data.size == 0 ? u"" : std::u16string(buffer, data.size / sizeof(char16_t) - 1);
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
  QMFQueryData data;
  data.size = sizeof(buffer);
  data.pointer = buffer;
  return Ask(qid, data, index);
}

QMFResult MkvFile::Video(QMFVideoFormat& format, std::uint32_t index) {
  return AskFormat(*this, QMF_QID_VID_STREAM_FORMAT, format, index);
}

QMFResult MkvFile::Audio(QMFAudioFormat& format, std::uint32_t index) {
  return AskFormat(*this, QMF_QID_AUD_STREAM_FORMAT, format, index);
}

}  // namespace qmf::test
