#include "framework/FileReader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

namespace qmf {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Pattern(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
  return bytes;
}

class FileReaderTest : public testing::Test {
 protected:
  FileReaderTest() { std::filesystem::create_directories(m_folder); }
  ~FileReaderTest() override {
    m_reader.reset();
    std::filesystem::remove_all(m_folder);
  }

  std::u16string Write(const Bytes& bytes) {
    const std::filesystem::path path = m_folder / "data";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path.u16string();
  }

  QMFResult Open(const std::u16string& path) { return FileReader::Open(path.c_str(), nullptr, m_reader); }

  std::shared_ptr<FileReader> m_reader;
  const std::filesystem::path m_folder =
      std::filesystem::current_path() /
      ("FileReaderTest-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
       ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(FileReaderTest, EveryRangeReadsAsTheFileHasIt) {
  const Bytes bytes = Pattern(100'000);
  ASSERT_EQ(Open(Write(bytes)), QMF_OK);
  EXPECT_EQ(m_reader->Size(), bytes.size());
  Bytes read(bytes.size() + 10);
  for (const std::size_t offset : {0U, 4090U, 50'000U, 99'990U}) {
    for (const std::size_t count : {1U, 20U, 60'000U, 16384U}) {
      const std::size_t expected = std::min(count, bytes.size() - offset);
      ASSERT_EQ(m_reader->ReadAt(offset, read.data(), count), expected);
      EXPECT_EQ(std::memcmp(read.data(), bytes.data() + offset, expected), 0) << offset << "+" << count;
    }
  }
  EXPECT_EQ(m_reader->ReadAt(bytes.size(), read.data(), 1), 0U);
  EXPECT_EQ(m_reader->ReadAt(UINT64_MAX, read.data(), 8), 0U);
  EXPECT_EQ(m_reader->View(99'998, 100).size(), 2U);
}

TEST_F(FileReaderTest, PastALimitTheFileReadsAsThoughItEndedThere) {
  ASSERT_EQ(Open(Write(Pattern(100'000))), QMF_OK);
  Bytes read(60'000);
  for (int i = 0; i < 2; ++i) {
    const FileReader::Limit looks(*m_reader, UINT32_MAX, 3);
    const FileReader::Limit wider(*m_reader, UINT32_MAX, 10);
    EXPECT_EQ(m_reader->ReadAt(0, read.data(), 8), 8U);
    EXPECT_EQ(m_reader->View(4, 4).size(), 4U);
    EXPECT_EQ(m_reader->ReadAt(0, read.data(), 60'000), 60'000U);
    EXPECT_EQ(m_reader->ReadAt(0, read.data(), 8), 0U);
    EXPECT_EQ(m_reader->View(0, 1).size(), 0U);
  }
  const FileReader::Limit bytes(*m_reader, 50'000, UINT32_MAX);
  EXPECT_EQ(m_reader->ReadAt(30'000, read.data(), 60'000), 50'000U);
  EXPECT_EQ(m_reader->ReadAt(90'000, read.data(), 8), 0U);
}

TEST_F(FileReaderTest, AScopeNamesBytesInMemoryAndRemembersAFailure) {
  const Bytes bytes = Pattern(10);
  const auto named = std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(bytes));
  const std::u16string missing = (m_folder / "missing").u16string();
  const SharedFileScope memory(u"in memory", named);
  const SharedFileScope failed(missing.c_str(), nullptr);
  const std::uint64_t opens = FileReader::TotalCounters().opens;
  EXPECT_EQ(Open(u"in memory"), QMF_OK);
  EXPECT_EQ(m_reader, named);
  EXPECT_EQ(m_reader->View(8, 4).size(), 2U);
  EXPECT_EQ(Open(missing), QMF_FILE_NOT_OPENED);
  EXPECT_EQ(FileReader::TotalCounters().opens, opens);
}

TEST_F(FileReaderTest, WhatIsNoRegularFileIsRefusedAtOnce) {
  for (const std::u16string& path :
       {(m_folder / "missing").u16string(), m_folder.u16string(), std::u16string()}) {
    EXPECT_EQ(Open(path), QMF_FILE_NOT_OPENED);
  }
  EXPECT_EQ(Open(u"http://host/film.mkv"), QMF_ERR_REMOTE_FILE_UNSUPPORTED);
}

}  // namespace
}  // namespace qmf
