#pragma once

#include <string>
#include <vector>

#include "framework/InfoRecords.h"
#include "framework/QueryIds.h"
#include "readers/mkv/MkvModule.h"
#include "tests/support/EbmlBuilder.h"
#include "tests/support/OpenedFile.h"

namespace qmf::test {

/// The EBML header of an ordinary file, long enough for the probe.
EbmlBuilder Header(std::string_view docType = "matroska");

/// Segment information: 5,400,000 ticks of a millisecond.
EbmlBuilder Info();

/// A track entry of Matroska's type `type` with the element groups given.
EbmlBuilder Track(std::uint64_t number, std::uint64_t type, std::string_view codecId,
                  const EbmlBuilder& more);
inline constexpr std::uint64_t kMatroskaVideo = 1;
inline constexpr std::uint64_t kMatroskaAudio = 2;
inline constexpr std::uint64_t kMatroskaSubtitle = 17;

/// The Video group of a picture size, with the elements of `more` in it.
EbmlBuilder Picture(std::uint64_t width, std::uint64_t height, const EbmlBuilder& more = {});

/// A whole file: header, information and one Tracks element with the entries given.
EbmlBuilder Film(const EbmlBuilder& trackEntries);

/// A film opened by the module, with title 0 selected.
class MkvFile : public OpenedFile {
 public:
  explicit MkvFile(const EbmlBuilder& file) : MkvFile(file.Done()) {}
  explicit MkvFile(const std::vector<std::uint8_t>& bytes)
      : OpenedFile(kMkvModule, bytes), m_selected(SetTitle()) {}

  QMFResult Selected() const { return m_selected; }

  QMFResult Ask(std::uint32_t qid, QMFQueryData& data, std::uint32_t index = 0) {
    return Module().GetInfo(Handle(), qid, &data, index);
  }
  QMFResult Set(std::uint32_t qid, std::uint64_t value, std::uint32_t index = 0) {
    return Tell(qid, value, index);
  }
  /// The answers of queries that must succeed; else what no file has: ~0, "(failed)", or a lone 0xEE.
  std::uint64_t Number(std::uint32_t qid, std::uint32_t index = 0, std::uint64_t value = 0) {
    return OpenedFile::Number(qid, index, value).value_or(~std::uint64_t{0});
  }
  std::u16string Text(std::uint32_t qid, std::uint32_t index = 0) {
    return OpenedFile::Text(qid, index).value_or(u"");
  }
  std::vector<std::uint8_t> Bytes(std::uint32_t qid, std::uint32_t index = 0);
  /// The result of a query with a large buffer.
  QMFResult ResultOf(std::uint32_t qid, std::uint32_t index = 0);

  QMFResult Video(QMFVideoFormat& format, std::uint32_t index = 0);
  QMFResult Audio(QMFAudioFormat& format, std::uint32_t index = 0);

 private:
  const QMFResult m_selected;
};

}  // namespace qmf::test
