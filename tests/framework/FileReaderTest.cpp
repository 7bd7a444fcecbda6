#include "framework/FileReader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

namespace qmf {
namespace {

std::vector<std::uint8_t> Pattern(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
  return bytes;
}

class FileReaderTest : public testing::Test {
 protected:
  FileReaderTest() { std::filesystem::create_directories(m_folder); }
  ~FileReaderTest() override { std::filesystem::remove_all(m_folder); }

  std::u16string Write(const char* name, const std::vector<std::uint8_t>& bytes) {
    const std::filesystem::path path = m_folder / name;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path.u16string();
  }

  static QMFResult Open(const std::u16string& path) {
    std::shared_ptr<FileReader> reader;
    return FileReader::Open(path.c_str(), nullptr, reader);
  }

  const std::filesystem::path m_folder =
      std::filesystem::current_path() /
      ("FileReaderTest-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
       ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(FileReaderTest, EveryRangeReadsAsTheFileHasIt) {
  const std::vector<std::uint8_t> bytes = Pattern(100'000);
  const std::u16string path = Write("data", bytes);
  std::shared_ptr<FileReader> reader;
  ASSERT_EQ(FileReader::Open(path.c_str(), nullptr, reader), QMF_OK);
  EXPECT_EQ(reader->Size(), bytes.size());
  std::vector<std::uint8_t> read(bytes.size() + 10);
  for (const std::size_t offset :
       {std::size_t{0}, std::size_t{4090}, std::size_t{50'000}, std::size_t{99'990}}) {
    for (const std::size_t count :
         {std::size_t{1}, std::size_t{20}, FileReader::kWindowSize, std::size_t{60'000}}) {
      const std::size_t expected = std::min(count, bytes.size() - offset);
      ASSERT_EQ(reader->ReadAt(offset, read.data(), count), expected);
      EXPECT_EQ(std::memcmp(read.data(), bytes.data() + offset, expected), 0) << offset << "+" << count;
    }
  }
  EXPECT_EQ(reader->ReadAt(bytes.size(), read.data(), 1), 0U);
  EXPECT_EQ(reader->ReadAt(UINT64_MAX, read.data(), 8), 0U);
  EXPECT_EQ(reader->View(99'998, 100).size(), 2U);
}

TEST_F(FileReaderTest, AHeaderCostsOneReadAndAScopeOneOpening) {
  const std::u16string path = Write("data", Pattern(10'000));
  const FileReader::Counters before = FileReader::TotalCounters();
  {
    const SharedFileScope scope(path.c_str(), nullptr);
    for (int i = 0; i < 7; ++i) {
      std::shared_ptr<FileReader> reader;
      ASSERT_EQ(FileReader::Open(path.c_str(), nullptr, reader), QMF_OK);
      for (std::uint64_t offset = 0; offset < 4000; offset += 12)
        EXPECT_EQ(reader->View(offset, 12).size(), 12U);
    }
  }
  const FileReader::Counters after = FileReader::TotalCounters();
  EXPECT_EQ(after.opens - before.opens, 1U);
  EXPECT_EQ(after.reads - before.reads, 1U);
  EXPECT_EQ(Open(path), QMF_OK);
  EXPECT_EQ(FileReader::TotalCounters().opens - after.opens, 1U);
}

TEST_F(FileReaderTest, AScopeNamesBytesInMemoryAndRemembersAFailure) {
  const std::vector<std::uint8_t> bytes = Pattern(10);
  const auto named = std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(bytes));
  const std::u16string missing = (m_folder / "missing").u16string();
  const SharedFileScope memory(u"in memory", named);
  const SharedFileScope failed(missing.c_str(), nullptr);
  const std::uint64_t opens = FileReader::TotalCounters().opens;
  std::shared_ptr<FileReader> reader;
  EXPECT_EQ(FileReader::Open(u"in memory", nullptr, reader), QMF_OK);
  EXPECT_EQ(reader, named);
  EXPECT_EQ(Open(missing), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(FileReader::TotalCounters().opens, opens);
}

TEST_F(FileReaderTest, WhatIsNoRegularFileIsRefusedAtOnce) {
  EXPECT_EQ(Open((m_folder / "missing").u16string()), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(Open(m_folder.u16string()), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(Open(u""), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(Open(u"http://host/film.mkv"), QMF_ERR_REMOTE_FILE_UNSUPPORTED);
}

}  // namespace
}  // namespace qmf
