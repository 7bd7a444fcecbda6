#include "readers/es/SrtModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "framework/Text.h"
#include "tests/support/OpenedFile.h"

namespace qmf::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

struct Cue {
  std::string text;
  std::int64_t start;
  std::int64_t end;
  bool operator==(const Cue&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Cue& cue) {
  return out << '"' << cue.text << "\" " << cue.start << "-" << cue.end;
}

StartedFile Opened(std::string_view text) {
  return {kSrtModule, text};
}

std::vector<Cue> CuesOf(std::string_view text) {
  std::vector<Cue> cues;
  for (const ReadBlock& block : Opened(text).Rest()) {
    cues.push_back({std::string(block.bytes.begin(), block.bytes.end()), block.time, block.endTime});
  }
  return cues;
}

std::vector<std::string> TextsOf(std::string_view text) {
  std::vector<std::string> texts;
  for (const Cue& cue : CuesOf(text)) texts.push_back(cue.text);
  return texts;
}

constexpr std::string_view kTime = "00:00:01,500 --> 00:00:03,000\n";
const Cue kHello = {"Hello\nWorld", 15'000'000, 30'000'000};

std::string One(std::string_view text) {
  return "1\n" + std::string(kTime) + std::string(text);
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
           "\n \t\n\xC2\xA0\n\n1\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n\xE3\x80\x80\n\n\n",
           "no number\n00:00:01,500 --> 00:00:03,000 X1:1 X2:2\nHello\nWorld\n",
           "1\n 0:0: +1,500-->0:0:3,0\nHello\nWorld\n",
           "1\n00:00:01,500 --> 00:00:03\n2\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n",
           "1\n00:00:01.500 --> 00:00:03.000\n1\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n",
           "1\n2\n3\n00:00:01,500 --> 00:00:03,000\nHello\nWorld\n",
       }) {
    EXPECT_THAT(CuesOf(text), ElementsAre(kHello)) << text;
  }
}

TEST(SrtModule, PassesOverWhatIsNoCue) {
  for (const char* const text : {"", "\n\n\n", "1\n", "1\n00:00:01,500 --> 00:00:03,000\n", "Hello\nWorld\n",
                                 "1\n00:00:01.500 --> 00:00:03.000\nHello\n", "1\n-->\n",
                                 "1\r00:00:01,500 --> 00:00:03,000\rHello\r"}) {
    EXPECT_THAT(CuesOf(text), IsEmpty()) << text;
  }
  // Without any text but with a blank line a cue is one that shows nothing.
  EXPECT_THAT(TextsOf(One("\n2\n00:00:05,000 --> 00:00:06,000\nx\n")), ElementsAre("", "x"));
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
    EXPECT_THAT(CuesOf("1\n" + std::string(line) + "\nx\n"), ElementsAre(Cue{"x", start, end})) << line;
  }
}

TEST(SrtModule, KeepsNineLinesAnd999Bytes) {
  EXPECT_THAT(TextsOf(One(Repeated(12, "line\n") + "\n2\n" + std::string(kTime) + "next\n")),
              ElementsAre(Repeated(8, "line\n") + "line", "next"));
  EXPECT_THAT(TextsOf(One(std::string(998, 'a') + "\n")), ElementsAre(std::string(998, 'a')));
  EXPECT_THAT(TextsOf(One(std::string(5000, 'a') + "\n")), ElementsAre(std::string(999, 'a')));
  EXPECT_THAT(TextsOf(One(Repeated(9, std::string(999, 'a') + "\n"))), ElementsAre(std::string(999, 'a')));
  // A character that does not fit whole is left out: 998 bytes, then three more.
  EXPECT_THAT(TextsOf(One(std::string(998, 'a') + "\xE2\x82\xAC")), ElementsAre(std::string(998, 'a')));
  EXPECT_THAT(TextsOf(One(Repeated(500, "\xC3\xA9"))), ElementsAre(Repeated(499, "\xC3\xA9")));
  // An overlong number's rest stands where the times should.
  EXPECT_THAT(TextsOf(std::string(1200, '1') + "\n" + std::string(kTime) + "lost\n\n" + One("kept\n")),
              ElementsAre("kept"));
}

TEST(SrtModule, ReadsEveryEncoding) {
  const char kText[] = "h\xC3\xA9, \xE2\x82\xAC, \xF0\x9F\x8E\xAC";
  const std::string text = One(kText + std::string("\r\n\n"));
  for (const std::string& coded :
       {text, "\xEF\xBB\xBF" + text, Utf16(text, false, false), Utf16(text, true, false),
        Utf16(text, false, true), Utf16(text, true, true)}) {
    EXPECT_THAT(TextsOf(coded), ElementsAre(kText)) << testing::PrintToString(coded.substr(0, 4));
  }
  // A line of 999 units of three bytes each, of which 999 bytes are kept.
  const std::string wide = Repeated(999, "\xE2\x82\xAC") + "\n";
  EXPECT_THAT(TextsOf(Utf16(One(wide), false, true)), ElementsAre(Repeated(333, "\xE2\x82\xAC")));
  EXPECT_EQ(Opened(Utf16(One(wide), false, true)).Number(QMF_QID_TITLE_DURATION), 30'000'000U);
}

TEST(SrtModule, RefusesOtherEncodings) {
  const std::pair<const char*, std::string> kRows[] = {
      {"Latin-1", One("caf\xE9\n")},
      {"Latin-1 at the very end", One("caf\xE9")},
      {"far behind", One(Repeated(10000, "line\n") + "caf\xE9\n")},
      {"overlong", One("\xC0\xAF\n")},
      {"lone surrogate", Utf16(One("x"), false, true) + std::string("\x00\xDC", 2)},
      {"half a unit", Utf16(One("x"), true, true) + "\n"},
  };
  for (const auto& [name, text] : kRows) EXPECT_EQ(Opened(text).result, QMF_ERR_BAD_SUB_ENCODING) << name;
  EXPECT_EQ(Opened(One("x") + "\xC3").result, QMF_ERR_BAD_SUB_ENCODING);
  // Characters across the borders of the reader's window are whole.
  for (std::size_t shift = 0; shift < 4; ++shift) {
    EXPECT_EQ(Opened(std::string(16380 + shift, 'x') + Repeated(9, "\xF0\x9F\x8E\xAC")).result, QMF_OK);
  }
}

TEST(SrtModule, EndsALineAtAZeroByte) {
  EXPECT_THAT(TextsOf(One(std::string("a\0b\nc\n\0\0\n", 10))), ElementsAre("ac"));
}

TEST(SrtModule, AnswersQueries) {
  const std::string text =
      One("a\n\n2\n00:00:04,000 --> 00:00:09,000\nb\n\n3\n00:00:05,000 --> 00:00:06,000\nc\n");
  StartedFile file = Opened(text);
  EXPECT_EQ(file.Number(QMF_QID_TITLE_DURATION), 60'000'000U);
  EXPECT_EQ(file.Number(QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA), 1U);
  EXPECT_EQ(file.Number(QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA), 0U);
  EXPECT_EQ(file.Format<QMFSubtitleFormat>(QMF_QID_SUB_STREAM_FORMAT).kind, 0x21);
  EXPECT_EQ(file.Ask(QMF_QID_GET_BITRATE), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(file.Tell(QMF_QID_GET_BITRATE, 0), QMF_ERR_UNSUPPORTED_QID);
  EXPECT_EQ(file.Tell(QMF_QID_SET_SRT_OUTPUT_TEXT, 1), QMF_OK);
  EXPECT_EQ(file.Tell(QMF_QID_SET_SRT_OUTPUT_TEXT, 0), QMF_ERR_OUTSIDE_RANGE);
  EXPECT_EQ(file.Number(QMF_QID_GET_SRT_OUTPUT_TEXT), 1U);
}

TEST(SrtModule, SeeksByTimeInFileOrder) {
  std::string text;
  for (const char* const start : {"00:00:10", "00:00:20", "00:00:40", "00:00:30", "00:00:50"}) {
    text += "1\n" + std::string(start) + ",000 --> 00:01:00,000\n" + start + "\n\n";
  }
  StartedFile file = Opened(text);
  for (const auto& [wanted, landed] : {std::pair<std::int64_t, std::int64_t>{0, 10},
                                       {10, 10},
                                       {19, 10},
                                       {20, 20},
                                       {35, 20},
                                       {45, 30},
                                       {999, 50}}) {
    EXPECT_EQ(file.Seek(kBlockSubtitle, wanted * kSecond), landed * kSecond) << wanted;
    EXPECT_EQ(file.Next().time, landed * kSecond) << wanted;
  }
  EXPECT_EQ(file.Seek(kBlockSubtitle, INT64_MIN), 10 * kSecond);
  EXPECT_EQ(file.Rest().size(), 5U);
  EXPECT_EQ(Opened("").Seek(kBlockSubtitle, 0), -1);
}

TEST(SrtModule, KeepsABlockThatDoesNotFit) {
  const std::string text = One("Hello\nWorld\n");
  StartedFile file = Opened(text);
  const ReadBlock small = file.Next(10);
  EXPECT_EQ(small.result, QMF_ERR_BLOCK_BUFFER_TOO_SMALL);
  EXPECT_EQ(small.required, 11U);
  EXPECT_EQ(file.Next(11).result, QMF_OK);
}

TEST(SrtModule, IsChosenByExtensionAlone) {
  for (const auto& [name, score] :
       {std::pair{u"a.srt", 100}, {u"a.b.srt  ", 100}, {u"a.srtx", 0}, {u"a.SRT", 0}}) {
    EXPECT_EQ(Score(kSrtModule, name), score);
  }
}

}  // namespace
}  // namespace qmf::test
