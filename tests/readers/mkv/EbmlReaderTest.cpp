#include "readers/mkv/EbmlReader.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/EbmlBuilder.h"
#include "tests/support/FaultyFile.h"

namespace qmf::test {
namespace {

struct Opened {
  explicit Opened(Bytes content, const EbmlLimits& limits = {})
      : bytes(std::move(content)),
        file(std::make_shared<MemoryFileSource>(bytes)),
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

TEST(EbmlElementTable, HoldsWellFormedIdsOnceAndEndsWithZeros) {
  std::set<std::uint32_t> ids;
  const auto table = EbmlElementTable();
  ASSERT_EQ(table.size(), 128U);
  for (const EbmlElementRow& row : table.subspan(1, 126)) {
    EXPECT_TRUE(ids.insert(row.id).second) << std::hex << row.id;
    // The marker bit of the first byte tells the number of bytes.
    const int bytes = (32 - std::countl_zero(row.id) + 7) / 8;
    EXPECT_EQ(std::countl_zero(row.id << (32 - 8 * bytes)), bytes - 1) << std::hex << row.id;
  }
  EXPECT_EQ(table[0].id, 0U);
  EXPECT_EQ(table[0].type, EbmlType::Master);
  EXPECT_EQ(table[127].type, EbmlType::None);
  EXPECT_EQ(table[127].name, nullptr);
}

TEST(EbmlReader, ReadsHeadersOfEveryWidth) {
  struct Row {
    Bytes bytes;
    QMFResult result;
    std::uint64_t payload = 0;
    std::uint64_t end = 0;
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
  };
  for (const Row& row : rows) {
    Opened opened(row.bytes);
    EXPECT_EQ(opened.Header(), row.result) << testing::PrintToString(row.bytes);
    if (row.result != QMF_OK) continue;
    EXPECT_EQ(opened.element.payload, row.payload);
    EXPECT_EQ(opened.element.end, row.end);
  }
}

TEST(EbmlReader, KeepsChildrenInsideTheirParentAndSizesToTheirWidth) {
  const Bytes bytes = Void(10);  // 5 bytes of header, 10 of payload
  EXPECT_EQ(Opened(bytes).Header(15), QMF_OK);
  EXPECT_EQ(Opened(bytes).Header(14), QMF_FAILURE);
  EXPECT_EQ(Opened(bytes).Header(4), QMF_FAILURE);
  EXPECT_EQ(Opened(ElementHead(0xEC, (std::uint64_t{1} << 56) - 2, 8)).Header(1000), QMF_FAILURE);
  Opened opened(ElementHead(0xEC, 0, 3));
  opened.reader.SetMaxSizeLength(2);
  EXPECT_EQ(opened.Header(), QMF_FAILURE);
  opened.reader.SetMaxSizeLength(3);
  EXPECT_EQ(opened.Header(), QMF_OK);
}

TEST(EbmlReader, ReadsIntegersUpToEightBytes) {
  const std::tuple<Bytes, std::uint64_t, std::int64_t> rows[] = {
      {{}, 0, 0},
      {{0x80}, 0x80, -128},
      {{0x7F, 0xFF}, 0x7FFF, 0x7FFF},
      {{0xFF, 0xFF, 0xFE}, 0xFFFFFE, -2},
      {{0x80, 0, 0, 0, 0, 0, 0, 1}, 0x8000000000000001, INT64_MIN + 1},
  };
  for (const auto& [payload, unsignedValue, signedValue] : rows) {
    const Bytes bytes = Put(E::TrackNumber, payload);
    std::uint64_t asUnsigned = 77;
    std::int64_t asSigned = 77;
    EXPECT_EQ(Opened(bytes).Read(asUnsigned), QMF_OK);
    EXPECT_EQ(Opened(bytes).Read(asSigned), QMF_OK);
    EXPECT_EQ(asUnsigned, unsignedValue);
    EXPECT_EQ(asSigned, signedValue);
  }
  std::uint64_t value = 0;
  EXPECT_EQ(Opened(Put(E::TrackNumber, Bytes(9))).Read(value), QMF_FAILURE);
  EXPECT_EQ(Opened({0xD7, 0x84, 0, 0}).Read(value), QMF_ERR_END_OF_STREAM);
}

TEST(EbmlReader, ReadsFloatsOfFourAndEightBytes) {
  double value = 77;
  for (const auto& [payload, expected] :
       {std::pair(Bytes{0x3F, 0xC0, 0, 0}, 1.5), {{0xC0, 0x04, 0, 0, 0, 0, 0, 0}, -2.5}, {{}, 0.0}}) {
    EXPECT_EQ(Opened(Put(E::Duration, payload)).Read(value), QMF_OK);
    EXPECT_EQ(value, expected);
  }
  for (const std::size_t size : {1U, 3U, 5U, 10U, 200U})
    EXPECT_EQ(Opened(Put(E::Duration, Bytes(size))).Read(value), QMF_FAILURE);
}

TEST(EbmlReader, DeliversTextWithoutTrailingZeros) {
  for (const auto& [payload, expected] : {std::pair(Bytes{'a', 'b', 0, 0}, std::u16string(u"ab")),
                                          {{0xC3, 0xA9, 0xF0, 0x9F, 0x8E, 0xAC}, u"\u00e9\U0001F3AC"},
                                          {{'a', 0xFF, 'b'}, u"a\uFFFDb"},
                                          {{0, 0}, u""},
                                          {Bytes(100'000, 'x'), std::u16string(100'000, u'x')}}) {
    std::pmr::u16string text;
    EXPECT_EQ(Opened(Put(E::Title, payload)).Read(text), QMF_OK);
    EXPECT_EQ(std::u16string_view(text), expected);
  }
}

TEST(EbmlReader, RefusesWhatExceedsALimitOrTheFile) {
  std::pmr::u16string text;
  EXPECT_EQ(Opened(ElementHead(0x7BA9, 0xFFFFFFE)).Read(text), QMF_FAILURE);
  EXPECT_EQ(Opened(ElementHead(0x7BA9, 1000) + Raw("abc")).Read(text), QMF_ERR_END_OF_STREAM);
  std::pmr::vector<std::uint8_t> binary;
  EXPECT_EQ(Opened(ElementHead(0x63A2, 0xFFFFFFE)).Read(binary), QMF_ERR_END_OF_STREAM);
  const Bytes kept = Put(E::CodecPrivate, Bytes(100));
  EXPECT_EQ(Opened(kept, {.bytesKept = 99}).Read(binary), QMF_FAILURE);
  EXPECT_EQ(Opened(kept, {.bytesKept = 100}).Read(binary), QMF_OK);
  EXPECT_EQ(Opened(kept, {.elements = 0}).Header(), QMF_ERR_END_OF_STREAM);
  EXPECT_EQ(Opened(Text(E::Title, "a text"), {.bytesKept = 11}).Read(text), QMF_FAILURE);
}

// All of it is in the file, but behind the header nothing can be read.
TEST(EbmlReader, TakesNothingFromAReadThatBringsNothing) {
  const Bytes bytes = Text(E::Title, "8 bytes.");
  FileReader file(
      std::make_shared<FaultyFile>(bytes, FileFaults{.longestRead = bytes.size() - 8, .failingRead = 2}));
  EbmlReader reader(file, std::pmr::new_delete_resource());
  EbmlElement element;
  ASSERT_EQ(reader.ReadHeader(0, bytes.size(), element), QMF_OK);
  const auto expectNothing = [&](auto value) {
    EXPECT_EQ(reader.Read(element, value), QMF_ERR_END_OF_STREAM);
    EXPECT_EQ(value, decltype(value){});
  };
  expectNothing(std::uint64_t{0});
  expectNothing(0.0);
  expectNothing(std::pmr::u16string());
  expectNothing(std::pmr::vector<std::uint8_t>());
  expectNothing(std::pmr::vector<std::uint64_t>());
}

}  // namespace
}  // namespace qmf::test
