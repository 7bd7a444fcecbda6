#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include "framework/Folder.h"
#include "framework/PathSplitter.h"
#include "framework/Text.h"

namespace qmf {
namespace {

using Names = std::set<std::u16string>;

Names Beside(std::u16string_view path, std::size_t most = 100) {
  Names names;
  VisitFilesBeside(path, most, [&](std::u16string_view name) { return names.emplace(name).second; });
  return names;
}

TEST(PathSplitter, SplitsAtSemicolonsAndDropsEmptyPieces) {
  using Pieces = std::vector<std::u16string>;
  const std::u16string longest(kMaxPathLength, u'a');
  const std::pair<std::u16string, Pieces> rows[] = {{u"film.avi;film.srt", {u"film.avi", u"film.srt"}},
                                                    {u";;a;;b;", {u"a", u"b"}},
                                                    {u"", {}},
                                                    {longest, {longest}},
                                                    {longest + u'a', {}}};
  for (const auto& [path, expected] : rows) {
    Pieces pieces;
    PathSplitter splitter(path);
    for (auto piece = splitter.Next(); !piece.empty(); piece = splitter.Next()) pieces.emplace_back(piece);
    EXPECT_EQ(pieces, expected);
  }
}

TEST(PathExtension, RunsFromTheLastDotWithoutTrailingBlanks) {
  EXPECT_EQ(PathExtension(u"C:\\a.b\\film.mkv"), u".mkv");
  EXPECT_EQ(PathExtension(u"film.tar.avi  "), u".avi");
  EXPECT_EQ(PathExtension(u"film"), u"");
  EXPECT_EQ(PathExtension(u"film. "), u".");
  EXPECT_EQ(PathExtension(std::u16string(kMaxPathLength, u'a') + u".mkv"), u"");
}

TEST(Folder, TellsPlainNamesFromOthers) {
  const std::pair<bool, std::vector<std::u16string_view>> rows[] = {
      {true, {u"a.mkv", u"\u00e4 [1080p] (2).MKV", u".mkv", u"a..b"}},
      {true, {u"console.mkv", u"com1x.mkv", u"com\u00b9\u00b9.mkv"}},
      {false, {u"", u".", u"..", u"../a.mkv", u"/a.mkv", u"a\\b.mkv"}},
      {false, {u"\\\\server\\share\\a.mkv", u"c:a.mkv", u"http://a", u"a.mkv:x"}},
      {false, {u"a?.mkv", u"*", u"a\n.mkv", u"a.mkv.", u"a.mkv "}},
      {false, {u"nul", u"NUL.mkv", u"con .x.mkv", u"Com1.mkv", u"lpt9", u"com\u00b2.mkv"}},
      {false, {u"CONIN$", u"aux.tar.gz"}}};
  for (const auto& [isPlain, names] : rows) {
    for (const auto name : names) EXPECT_EQ(IsPlainFileName(name), isPlain) << ToUtf8(name);
  }
  EXPECT_TRUE(IsPlainFileName(std::u16string(255, u'a')));
  EXPECT_FALSE(IsPlainFileName(std::u16string(256, u'a')));
  EXPECT_EQ(FolderOfPath(u"a/b/c.mkv"), u"a/b/");
  EXPECT_EQ(FolderOfPath(u"c.mkv"), u"");
}

TEST(Folder, ListsRegularFiles) {
  const std::filesystem::path folder = std::filesystem::current_path() / "FolderTest";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder / "inner.mkv");
  Names expected = {u"a.mkv", u"\u00e4.mkv", u"b.txt"};
  for (const std::u16string& name : expected) std::ofstream(folder / name) << "x";
#ifndef _WIN32
  std::ofstream(folder / "a:b.mkv") << "x";  // not plain
  ASSERT_EQ(::mkfifo((folder / "pipe.mkv").c_str(), 0600), 0);
  std::filesystem::create_symlink("/dev/null", folder / "device.mkv");
  std::filesystem::create_symlink("nowhere", folder / "dangling.mkv");
  std::filesystem::create_symlink("a.mkv", folder / "link.mkv");
  expected.insert(u"link.mkv");
#endif
  EXPECT_EQ(Beside((folder / "a.mkv").u16string()), expected);
  EXPECT_LE(Beside((folder / "a.mkv").u16string(), 3).size(), 3U);
  EXPECT_EQ(Beside((folder / "none" / "a.mkv").u16string()), Names{});
  std::filesystem::current_path(folder);
  EXPECT_EQ(Beside(u"a.mkv"), expected);
  std::filesystem::current_path(folder.parent_path());
  std::filesystem::remove_all(folder);
}

TEST(Text, ConvertsAndReplacesWhatIsMalformed) {
  EXPECT_EQ(ToUtf8(u"\u00e9\u20ac\U0001F3AC"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC");
  EXPECT_EQ(ToUtf16("\xF0\x9F\x8E\xAC"), u"\U0001F3AC");
  const char16_t lone[] = {u'a', 0xD800, u'z', 0xDC80, 0};
  EXPECT_EQ(ToUtf8(lone), "a\xEF\xBF\xBDz\xEF\xBF\xBD");
  EXPECT_EQ(ToUtf16("a\xFFz"), u"a\uFFFDz");
}

TEST(Text, EveryByteStringSurvivesAsAPath) {
  std::string all;
  for (int i = 1; i < 256; ++i) all.push_back(static_cast<char>(i));
  for (const std::string& name :
       {all, std::string("\xED\xA0\x80"), std::string("\xF0\x9F\x8E\xAC.mkv\xC3")}) {
    EXPECT_EQ(BytesFromPath(PathFromBytes(name)), name);
  }
}

}  // namespace
}  // namespace qmf
