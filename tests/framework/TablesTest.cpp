#include <gtest/gtest.h>

#include <set>
#include <string>

#include "framework/ModuleTable.h"
#include "framework/QueryAnswer.h"
#include "framework/QueryIds.h"
#include "framework/ResultCodes.h"

namespace qmf {
namespace {

TEST(ResultCodes, NumbersRunFromTwoUpwardsWithTheKnownGapsAndOneSwap) {
  std::set<std::uint32_t> expected;
  for (std::uint32_t n = 2; n <= 0x64; ++n) {
    const bool isGap = n == 0x44 || n == 0x59 || (n >= 0x5F && n <= 0x63);
    if (!isGap) expected.insert(n | (n < 5 ? 1U : 3U) << 30);
  }
  std::set<std::uint32_t> codes;
  for (const ResultCodeRow& row : ResultCodeTable()) EXPECT_TRUE(codes.insert(row.code).second) << row.code;
  EXPECT_EQ(codes, expected);
  EXPECT_EQ(ResultCodeTable().back().code, QMF_ERR_AVC_STREAM_NOT_SUPPORTED);
}

TEST(ResultCodes, LookUpFindsRowsAndNothingElse) {
  const ResultCodeRow* const row = FindResultCode(QMF_ERR_STRH_NOT_FOUND);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(std::u16string_view(row->name), u"QMF_ERR_STRH_NOT_FOUND");
  EXPECT_EQ(std::u16string_view(row->message), u"AVI file struture error, no strf found.");
  for (const QMFResult result : {QMF_OK, QMF_FAILURE, QMF_NULL_ARGUMENT, QMF_AVI_NO_STRF}) {
    EXPECT_EQ(FindResultCode(result), nullptr);
  }
  EXPECT_FALSE(IsFailure(QMF_ERR_NO_INDEX_FOUND));
  EXPECT_TRUE(IsFailure(QMF_ERR_KILL));
}

TEST(QueryIds, AreUniqueAndWellFormed) {
  const std::set<unsigned> kinds = {1, 2, 3, 5, 6, 7, 8, 10, 11};
  std::set<std::uint32_t> values;
  std::set<std::u16string> names;
  for (const QueryIdRow& row : QueryIdTable()) {
    EXPECT_TRUE(values.insert(row.value).second);
    EXPECT_TRUE(names.insert(row.name).second);
    EXPECT_EQ(row.value >> 24, 0U);
    EXPECT_LE(StreamKindOf(row.value), kStreamSubtitle);
    EXPECT_TRUE(kinds.contains(ValueKindOf(row.value))) << std::hex << row.value;
  }
  EXPECT_EQ(FindQueryId(u"QMF_QID_TITLE_DURATION"), 0x450E07U);
  EXPECT_EQ(FindQueryId(u"QMF_QID_TITLE_DURATIO"), std::nullopt);
  EXPECT_EQ(QueryIdName(0x450E08), nullptr);
}

TEST(ModuleTable, OnlyRegisteredIdsAreFound) {
  for (const std::int32_t id : {INT32_MIN, -1, 0, 4, 19, INT32_MAX}) EXPECT_EQ(FindModule(id), nullptr);
  EXPECT_EQ(FindModule(kModuleLogging)->moduleId, kModuleLogging);
}

TEST(QueryAnswer, TextAndBytesTellTheirSizeAndRespectTheBuffer) {
  char16_t buffer[4] = {1, 1, 1, 1};
  QMFQueryData data;
  data.size = 7;
  data.pointer = buffer;
  EXPECT_EQ(AnswerText(data, QMF_QID_CONTAINER_MUX_APP, u"abc"), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(data.size, 8U);
  EXPECT_EQ(buffer[0], 1);
  EXPECT_EQ(AnswerText(data, QMF_QID_CONTAINER_MUX_APP, u"abc"), QMF_OK);
  EXPECT_EQ(std::u16string(buffer), u"abc");
  EXPECT_EQ(data.type, kValueString);

  const std::uint8_t bytes[] = {1, 2, 3};
  data.size = 2;
  EXPECT_EQ(AnswerBytes(data, QMF_QID_SPS_DATA, bytes), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(data.size, 3U);
  data.pointer = nullptr;
  EXPECT_EQ(AnswerBytes(data, QMF_QID_SPS_DATA, bytes), QMF_ERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(AnswerBytes(data, QMF_QID_SPS_DATA, {}), QMF_OK);
  EXPECT_EQ(data.size, 0U);
}

}  // namespace
}  // namespace qmf
