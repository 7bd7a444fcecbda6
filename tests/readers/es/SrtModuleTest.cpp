#include "readers/es/SrtModule.h"

#include <gtest/gtest.h>

#include <string>

#include "framework/Text.h"
#include "tests/support/OpenedFile.h"

namespace qmf::test {
namespace {

constexpr std::int64_t kSecond = 10'000'000;

// As UTF-16 of either byte order, with or without a mark in front.
std::string Utf16(std::string_view utf8, bool bigEndian, bool mark) {
  std::string out;
  for (const char16_t unit : (mark ? u"\uFEFF" : u"") + ToUtf16(utf8)) {
    const char bytes[] = {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    out += {bytes[bigEndian ? 0 : 1], bytes[bigEndian ? 1 : 0]};
  }
  return out;
}

StartedFile Opened(std::string_view text) {
  return {kSrtModule, text};
}

// The texts of all cues, a bar behind each.
std::string TextsOf(std::string_view text) {
  std::string texts;
  for (const ReadBlock& block : Opened(text).Rest())
    texts.append(block.bytes.begin(), block.bytes.end()) += '|';
  return texts;
}

const std::string kTime = "00:00:01,500 --> 00:00:03,000\n";

std::string One(const std::string& text) {
  return "1\n" + kTime + text;
}

std::string Repeated(std::size_t count, std::string_view text) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

TEST(SrtModule, ReadsCuesWhateverStandsBetweenThem) {
  for (const char* const text : {
           "1\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n\n",
           "1\r\n00:00:01,500 --> 00:00:03,000\r\nHello\r\nWorld\r\n\r\n",
           "1\n00:00:01,500 --> 00:00:03,000\nHello\nWorld",
           "\n \t\n\xC2\xA0\n\n1\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n\n\n\n",
           "no number\n00:00:01,500 --> 00:00:03,000 X1:1 X2:2\nHello\nWorld\n",
           "1\n 0:0: +1,500-->0:0:3,0\nHello\nWorld\n",
           "1\n00:00:01,500 --> 00:00:03\n2\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n",
           "1\n00:00:01.500 --> 00:00:03.000\n1\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n",
           "1\n2\n3\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n",
       }) {
    EXPECT_EQ(TextsOf(text), "Hello\nWorld|") << text;
    const ReadBlock cue = Opened(text).Next();
    EXPECT_EQ(cue.time, 15'000'000) << text;
    EXPECT_EQ(cue.endTime, 30'000'000) << text;
  }
}

TEST(SrtModule, PassesOverWhatIsNoCue) {
  const std::string rows[] = {"", "\n\n\n", "1\n", One(""), "Hello\nWorld\n",
                              "1\n00:00:01.500 --> 00:00:03.000\nHello\n", "1\n-->\n",
                              "1\r00:00:01,500 --> 00:00:03,000\rHello\r",
                              // Too many lines and too many bytes in front.
                              Repeated(CSRTReader::kMaxLinesSearched, "\n") + One("x\n"),
                              std::string(CSRTReader::kMaxSearched, 'x') + "\n\n" + One("x\n")};
  for (const std::string& text : rows) EXPECT_EQ(TextsOf(text), "") << text.substr(0, 40);
  // Without any text but with a blank line a cue is one that shows nothing.
  EXPECT_EQ(TextsOf(One("\n2\n00:00:05,000 --> 00:00:06,000\nx\n")), "|x|");
  // What shows nothing is blank.
  for (const char* const blank : {" \t", "\x7F", "\u00A0", "\u1680", "\u2000", "\u200A", "\u3000", "\uFEFF"})
    EXPECT_EQ(TextsOf(One("x\n") + blank + "\ny\n"), "x|") << blank;
}

TEST(SrtModule, ReckonsWithTheTimesItIsGiven) {
  const std::tuple<const char*, std::int64_t, std::int64_t> kRows[] = {
      {"00:00:05,000 --> 00:00:03,000", 5 * kSecond, 5 * kSecond},
      {"01:99:99,9999 --> 2:40:49,000", (3600 + 5940 + 99) * kSecond + 99'990'000, 9649 * kSecond},
      {"-1:00:00,000 --> 00:00:01,000", 0, kSecond},
      {"99999999999:0:0,0 --> 99999999999999999999:0:0,0", INT64_MAX / 10000 * 10000,
       INT64_MAX / 10000 * 10000},
      {"0:0:0,99999999999 --> 0:0:0,2147483648", 2147483647 * std::int64_t{10000},
       2147483647 * std::int64_t{10000}},
  };
  for (const auto& [line, start, end] : kRows) {
    const ReadBlock cue = Opened("1\n" + std::string(line) + "\nx\n").Next();
    EXPECT_EQ(cue.time, start) << line;
    EXPECT_EQ(cue.endTime, end) << line;
  }
}

TEST(SrtModule, KeepsNineLinesAnd999Bytes) {
  const std::string most(999, 'a'), less(998, 'a');
  EXPECT_EQ(TextsOf(One(Repeated(12, "line\n") + "\n2\n" + kTime + "next\n")),
            Repeated(8, "line\n") + "line|next|");
  EXPECT_EQ(TextsOf(One(less + "\n")), less + "|");
  EXPECT_EQ(TextsOf(One(std::string(5000, 'a') + "\n")), most + "|");
  EXPECT_EQ(TextsOf(One(Repeated(9, most + "\n"))), most + "|");
  // A character that does not fit whole is left out.
  EXPECT_EQ(TextsOf(One(less + "\u20AC")), less + "|");
  EXPECT_EQ(TextsOf(One(Repeated(500, "\u00E9"))), Repeated(499, "\u00E9") + "|");
  EXPECT_EQ(TextsOf(One(less.substr(1) + "\U0001F3AC")), less.substr(1) + "|");
  // An overlong number's rest stands where the times should.
  EXPECT_EQ(TextsOf(std::string(1200, '1') + "\n" + kTime + "lost\n\n" + One("kept\n")), "kept|");
  // A zero byte ends a line.
  EXPECT_EQ(TextsOf(One(std::string("a\0b\nc\n\0\0\n", 10))), "ac|");
}

TEST(SrtModule, ReadsEveryEncoding) {
  const std::string lines = "h\n\u00E9\n\u20AC\n\U0001F3AC";
  const std::string text = One(lines + "\r\n\n");
  for (const std::string& coded : {text, "\uFEFF" + text, Utf16(text, false, false), Utf16(text, true, false),
                                   Utf16(text, false, true), Utf16(text, true, true)}) {
    EXPECT_EQ(TextsOf(coded), lines + "|") << testing::PrintToString(coded.substr(0, 4));
  }
  // A line of 999 units of three bytes each, of which 999 bytes are kept.
  const std::string wide = Utf16(One(Repeated(999, "\u20AC") + "\n"), false, true);
  EXPECT_EQ(TextsOf(wide), Repeated(333, "\u20AC") + "|");
  EXPECT_EQ(Opened(wide).Number(QMF_QID_TITLE_DURATION), 30'000'000U);
  // A pair of surrogates that the end of a line of 999 units parts is on both lines.
  const std::string most = std::string(998, 'a');
  EXPECT_EQ(TextsOf(Utf16(One(most + "\U0001F3AC\n" + One("next\n")), true, true)), most + "|");
}

TEST(SrtModule, RefusesOtherEncodings) {
  const std::string rows[] = {
      One("caf\xE9\n"),  // Latin-1, also at the end and far behind
      One("caf\xE9"),
      One(Repeated(10000, "line\n") + "caf\xE9\n"),
      One("x\xC3"),
      One("\xC0\xAF\n"),                                          // overlong
      Utf16(One("x"), false, true) + std::string("\x00\xDC", 2),  // a lone surrogate
      Utf16(One("x"), true, true) + "\n",                         // half a unit
  };
  for (const std::string& text : rows) EXPECT_EQ(Opened(text).result, QMF_ERR_BAD_SUB_ENCODING) << text;
  // Characters across the borders of the reader's window are whole.
  for (std::size_t shift = 0; shift < 4; ++shift)
    EXPECT_EQ(Opened(std::string(16380 + shift, 'x') + Repeated(9, "\U0001F3AC")).result, QMF_OK);
}

TEST(SrtModule, AnswersQueries) {
  StartedFile file = Opened(One("a\n\n2\n0:0:4,0 --> 0:0:9,0\nb\n\n3\n0:0:5,0 --> 0:0:6,0\nc\n"));
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 60'000'000U);
  EXPECT_EQ(file.Format<QMFSubtitleFormat>(QMF_QID_SUB_STREAM_FORMAT).kind, 0x21);
  EXPECT_EQ(file.Tell(QMF_QID_GET_BITRATE, 0), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(file.Tell(QMF_QID_SET_SRT_OUTPUT_TEXT, 1), QMF_OK);
  EXPECT_EQ(file.Tell(QMF_QID_SET_SRT_OUTPUT_TEXT, 0), QMF_ERR_OUTSIDE_RANGE);
  EXPECT_EQ(file.Number(QMF_QID_GET_SRT_OUTPUT_TEXT), 1U);
}

TEST(SrtModule, SeeksByTimeInFileOrder) {
  std::string text;
  for (const char* const start : {"10", "20", "40", "30", "50"})
    text += "1\n0:0:" + std::string(start) + ",0 --> 0:1:0,0\nx\n\n";
  StartedFile file = Opened(text);
  for (const auto& [wanted, landed] :
       {std::pair(0, 10), {10, 10}, {19, 10}, {20, 20}, {35, 20}, {45, 30}, {999, 50}}) {
    EXPECT_EQ(file.Seek(kBlockSubtitle, wanted * kSecond), landed * kSecond) << wanted;
    EXPECT_EQ(file.Next().time, landed * kSecond) << wanted;
  }
  EXPECT_EQ(Opened("").Seek(kBlockSubtitle, 0), -1);
}

}  // namespace
}  // namespace qmf::test
