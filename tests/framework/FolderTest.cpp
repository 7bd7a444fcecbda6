#include "framework/Folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include "framework/FileReader.h"

namespace qmf {
namespace {

using Names = std::set<std::u16string>;

Names Beside(std::u16string_view path, std::size_t most = 100) {
  Names names;
  VisitFilesBeside(path, most, [&](std::u16string_view name) { return names.emplace(name).second; });
  return names;
}

TEST(Folder, TellsPlainNamesFromOthers) {
  for (const char16_t* const name : {u"a.mkv", u"\u00e4 [1080p] (2).MKV", u".mkv", u"console.mkv",
                                     u"com1x.mkv", u"a..b", u"com\u00b9\u00b9.mkv"}) {
    EXPECT_TRUE(IsPlainFileName(name)) << testing::PrintToString(std::u16string(name));
  }
  for (const char16_t* const name : {u"",
                                     u".",
                                     u"..",
                                     u"../a.mkv",
                                     u"/a.mkv",
                                     u"a\\b.mkv",
                                     u"\\\\server\\share\\a.mkv",
                                     u"c:a.mkv",
                                     u"a.mkv:x",
                                     u"http://a",
                                     u"a?.mkv",
                                     u"*",
                                     u"a\n.mkv",
                                     u"a.mkv.",
                                     u"a.mkv ",
                                     u"nul",
                                     u"NUL.mkv",
                                     u"con .x.mkv",
                                     u"Com1.mkv",
                                     u"lpt9",
                                     u"com\u00b2.mkv",
                                     u"CONIN$",
                                     u"aux.tar.gz"}) {
    EXPECT_FALSE(IsPlainFileName(name)) << testing::PrintToString(std::u16string(name));
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
  for (const char16_t* const name : {u"a.mkv", u"\u00e4.mkv", u"b.txt"}) std::ofstream(folder / name) << "x";
  Names expected = {u"a.mkv", u"\u00e4.mkv", u"b.txt"};
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

TEST(Folder, InMemoryIsWhatScopesName) {
  const auto bytes =
      std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(std::span<std::uint8_t>()));
  const SharedFileScope film(u"films/a.mkv", bytes);
  const SharedFileScope other(u"films/b.mkv", bytes);
  const SharedFileScope elsewhere(u"b.mkv", bytes);
  EXPECT_EQ(Beside(u"films/a.mkv"), (Names{u"a.mkv", u"b.mkv"}));
  EXPECT_EQ(Beside(u"b.mkv"), Names{u"b.mkv"});
}

}  // namespace
}  // namespace qmf
