#include "framework/PathSplitter.h"

#include <gtest/gtest.h>

#include <vector>

namespace qmf {
namespace {

std::vector<std::u16string> Split(std::u16string_view path) {
  std::vector<std::u16string> pieces;
  PathSplitter splitter(path);
  for (auto piece = splitter.Next(); !piece.empty(); piece = splitter.Next()) pieces.emplace_back(piece);
  return pieces;
}

TEST(PathSplitter, SplitsAtSemicolonsAndDropsEmptyPieces) {
  using Pieces = std::vector<std::u16string>;
  EXPECT_EQ(Split(u"film.avi;film.srt"), (Pieces{u"film.avi", u"film.srt"}));
  EXPECT_EQ(Split(u";;a;;b;"), (Pieces{u"a", u"b"}));
  EXPECT_EQ(Split(u""), Pieces{});
  EXPECT_EQ(Split(std::u16string(kMaxPathLength, u'a')).size(), 1U);
  EXPECT_EQ(Split(std::u16string(kMaxPathLength + 1, u'a')), Pieces{});
}

TEST(PathExtension, RunsFromTheLastDotWithoutTrailingBlanks) {
  EXPECT_EQ(PathExtension(u"C:\\a.b\\film.mkv"), u".mkv");
  EXPECT_EQ(PathExtension(u"film.tar.avi  "), u".avi");
  EXPECT_EQ(PathExtension(u"film"), u"");
  EXPECT_EQ(PathExtension(u"film. "), u".");
  EXPECT_EQ(PathExtension(std::u16string(kMaxPathLength, u'a') + u".mkv"), u"");
}

}  // namespace
}  // namespace qmf
