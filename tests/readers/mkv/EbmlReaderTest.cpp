#include "readers/mkv/EbmlReader.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/EbmlBuilder.h"
#include "tests/support/FaultyFile.h"

namespace qmf::test {
namespace {

struct Opened {
  explicit Opened(Bytes content, const EbmlLimits& limits = {}, const FileFaults& faults = {})
      : bytes(std::move(content)),
        file(std::make_shared<FaultyFile>(bytes, faults)),
        reader(file, std::pmr::new_delete_resource(), limits) {}

  QMFResult Header(std::uint64_t parentEnd = EbmlElement::kOpenEnd) {
    return reader.ReadHeader(0, parentEnd, element);
  }
  template <class Value>
  QMFResult Read(Value& value) {
    const QMFResult header = Header();
    return header == QMF_OK ? reader.Read(element, value) : header;
  }

  const Bytes bytes;
  FileReader file;
  EbmlReader reader;
  EbmlElement element;
};

TEST(EbmlElementTable, HoldsWellFormedIdsOnce) {
  std::set<std::uint32_t> ids;
  for (const EbmlElementRow& row : EbmlElementTable().subspan(1, 126)) {
    EXPECT_TRUE(ids.insert(row.id).second) << std::hex << row.id;
    // The marker bit of the first byte tells the number of bytes.
    const int bytes = (32 - std::countl_zero(row.id) + 7) / 8;
    EXPECT_EQ(std::countl_zero(row.id << (32 - 8 * bytes)), bytes - 1) << std::hex << row.id;
  }
}

TEST(EbmlReader, ReadsHeadersOfEveryWidthInsideTheirParent) {
  struct Row {
    Bytes bytes;
    QMFResult result;
    std::uint64_t payload = 0;
    std::uint64_t end = 0;
    std::uint64_t parentEnd = EbmlElement::kOpenEnd;
  };
  const Row rows[] = {
      {{0xEC, 0x81, 0}, QMF_OK, 2, 3},
      {{0x42, 0x82, 0x40, 0x01, 0}, QMF_OK, 4, 5},
      {{0x1A, 0x45, 0xDF, 0xA3, 0x01, 0, 0, 0, 0, 0, 0, 0x02}, QMF_OK, 12, 14},
      {{0x1F, 0x43, 0xB6, 0x75, 0xFF}, QMF_OK, 5, EbmlElement::kOpenEnd},  // cluster of unknown size
      {{0x18, 0x53, 0x80, 0x67, 0x7F, 0xFF}, QMF_OK, 6, EbmlElement::kOpenEnd},
      {{0x16, 0x54, 0xAE, 0x6B, 0xFF}, QMF_FAILURE},  // nothing else may have it
      {{0x00, 0x81}, QMF_FAILURE},
      {{0x08, 0, 0, 0, 0, 0x81}, QMF_FAILURE},  // an id of five bytes
      {{0xFF, 0x81, 0}, QMF_FAILURE},           // the reserved id
      {{0xEC, 0x00, 0}, QMF_FAILURE},           // a size of nine bytes
      {{0x42}, QMF_ERR_END_OF_STREAM},
      {{0x42, 0x82, 0x40}, QMF_ERR_END_OF_STREAM},
      {{}, QMF_ERR_END_OF_STREAM},
      {Void(10), QMF_OK, 5, 15, 15},
      {Void(10), QMF_FAILURE, 0, 0, 14},
      {Void(10), QMF_FAILURE, 0, 0, 4},  // the header itself
      {ElementHead(0xEC, (std::uint64_t{1} << 56) - 2, 8), QMF_FAILURE, 0, 0, 1000},
  };
  for (const Row& row : rows) {
    Opened opened(row.bytes);
    EXPECT_EQ(opened.Header(row.parentEnd), row.result) << testing::PrintToString(row.bytes);
    if (row.result != QMF_OK) continue;
    EXPECT_EQ(opened.element.payload, row.payload);
    EXPECT_EQ(opened.element.end, row.end);
  }
}

template <class Value>
void ExpectRead(const Bytes& payload, const Value& expected, QMFResult result = QMF_OK,
                const FileFaults& faults = {}) {
  Value value{};
  EXPECT_EQ(Opened(Put(E::Title, payload), {}, faults).Read(value), result)
      << testing::PrintToString(payload);
  EXPECT_EQ(value, expected) << testing::PrintToString(payload);
}

TEST(EbmlReader, ReadsValues) {
  const std::tuple<Bytes, std::uint64_t, std::int64_t> integers[] = {
      {{}, 0, 0},
      {{0x80}, 0x80, -128},
      {{0x7F, 0xFF}, 0x7FFF, 0x7FFF},
      {{0xFF, 0xFF, 0xFE}, 0xFFFFFE, -2},
      {{0x80, 0, 0, 0, 0, 0, 0, 1}, 0x8000000000000001, INT64_MIN + 1},
  };
  for (const auto& [payload, asUnsigned, asSigned] : integers) {
    ExpectRead(payload, asUnsigned);
    ExpectRead(payload, asSigned);
  }
  ExpectRead(Bytes(9), std::uint64_t{0}, QMF_FAILURE);

  ExpectRead({}, 0.0);
  ExpectRead({0x3F, 0xC0, 0, 0}, 1.5);
  ExpectRead({0xC0, 0x04, 0, 0, 0, 0, 0, 0}, -2.5);
  for (const std::size_t size : {1U, 3U, 5U, 10U, 200U}) ExpectRead(Bytes(size), 0.0, QMF_FAILURE);

  using Text = std::pmr::u16string;
  ExpectRead({'a', 'b', 0, 0}, Text(u"ab"));
  ExpectRead({'a', 'b', 0, 'c'}, Text(u"ab"));
  ExpectRead({0xC3, 0xA9, 0xF0, 0x9F, 0x8E, 0xAC}, Text(u"\u00e9\U0001F3AC"));
  ExpectRead({'a', 0xFF, 'b'}, Text(u"a\uFFFDb"));
  ExpectRead({0, 0}, Text());
  ExpectRead(Bytes(100'000, 'x'), Text(100'000, u'x'));
}

TEST(EbmlReader, RefusesWhatExceedsALimitOrTheFile) {
  std::uint64_t number = 0;
  EXPECT_EQ(Opened({0xD7, 0x84, 0, 0}).Read(number), QMF_ERR_END_OF_STREAM);
  std::pmr::u16string text;
  EXPECT_EQ(Opened(ElementHead(0x7BA9, 0xFFFFFFE)).Read(text), QMF_FAILURE);
  EXPECT_EQ(Opened(ElementHead(0x7BA9, 1000) + Raw("abc"), {.bytesKept = 10}).Read(text),
            QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(Opened(Text(E::Title, "a text"), {.bytesKept = 11}).Read(text), QMF_FAILURE);
  std::pmr::vector<std::uint8_t> binary;
  EXPECT_EQ(Opened(ElementHead(0x63A2, 0xFFFFFFE)).Read(binary), QMF_ERR_END_OF_STREAM);
  // A limit of reading strikes before a payload, not behind it.
  const Bytes payload = Put(E::CodecPrivate, Bytes(100));
  EXPECT_EQ(Opened(payload, {.bytesRead = payload.size()}).Read(binary), QMF_ERR_END_OF_STREAM);
  Opened spent(payload, {.bytesRead = 0});
  EXPECT_EQ(spent.Header(), QMF_OK);
  EXPECT_EQ(spent.Header(), QMF_ERR_END_OF_STREAM);
  // The second reading is beyond the limit.
  for (const EbmlLimits& limits : {EbmlLimits{.elements = 1}, {.bytesKept = 199}}) {
    Opened opened(payload, limits);
    EXPECT_EQ(opened.Read(binary), QMF_OK);
    EXPECT_NE(opened.Read(binary), QMF_OK);
  }
}

// All of it is in the file, but behind the header nothing can be read.
TEST(EbmlReader, TakesNothingFromAReadThatBringsNothing) {
  const auto expectNothing = [](const auto& nothing) {
    const FileFaults faults{.longestRead = 6, .failingRead = 2};
    ExpectRead(Bytes(8, 'x'), nothing, QMF_ERR_END_OF_STREAM, faults);
  };
  expectNothing(std::uint64_t{0});
  expectNothing(0.0);
  expectNothing(std::pmr::u16string());
  expectNothing(std::pmr::vector<std::uint8_t>());
  expectNothing(std::pmr::vector<std::uint64_t>());
}

}  // namespace
}  // namespace qmf::test
