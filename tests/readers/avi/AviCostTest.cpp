// What reading costs, and files larger than 32 bits, by a source that makes up the bytes between the ones
// that matter.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "tests/readers/avi/AviMedia.h"
#include "tests/support/SparseSource.h"

namespace qmf::test {
namespace {

using ::testing::ElementsAre;

Bytes SizedHeader(const char* id, std::uint64_t size, const char* form) {
  return id + Le(size, 4) + form;
}

// An AVI 1.0 file whose index stands `movi` bytes behind its data's start.
std::shared_ptr<SparseSource> PlainFile(std::uint64_t movi) {
  AviParts parts;
  const Bytes headers = parts.HeaderList();
  const Bytes index = Chunk("idx1", "00dc" + Le(0x10, 4) + Le(4, 4) + Le(6, 4) + "00dc" + Le(0x10, 4) +
                                        Le(movi - 14, 4) + Le(6, 4));
  auto source = std::make_shared<SparseSource>();
  const std::uint64_t list = 12 + headers.size();
  source->size = list + 8 + movi + index.size();
  source->pieces[0] = SizedHeader("RIFF", source->size - 8, "AVI ") + headers +
                      SizedHeader("LIST", movi, "movi") + Chunk("00dc", "first!") + "JUNK" +
                      Le(movi - 4 - 14 - 8 - 14, 4);
  source->pieces[list + 8 + movi - 14] = Chunk("00dc", "second");
  source->pieces[list + 8 + movi] = index;
  return source;
}

// An AVI 2.0 file of one list a RIFF, each `riff` bytes long, without index.
std::shared_ptr<SparseSource> ExtendedFile(std::uint64_t riff, int count) {
  AviParts parts;
  parts.streams = {VideoStream({}, {}, Chunk("indx", Bytes(24, '\0')))};
  const Bytes headers = parts.HeaderList();
  auto source = std::make_shared<SparseSource>();
  for (int i = 0; i < count; ++i) {
    const Bytes before = i == 0 ? headers : Bytes();
    const std::uint64_t start = riff * static_cast<std::uint64_t>(i);
    const std::uint64_t movi = riff - 12 - before.size() - 8;
    source->pieces[start] = SizedHeader("RIFF", riff - 8, i == 0 ? "AVI " : "AVIX") + before +
                            SizedHeader("LIST", movi, "movi") + "JUNK" + Le(movi - 4 - 8 - 14, 4);
    source->pieces[start + riff - 14] = Chunk("00dc", "frame" + std::to_string(i));
  }
  source->size = riff * static_cast<std::uint64_t>(count);
  return source;
}

OpenedFile Opened(const std::shared_ptr<SparseSource>& source) {
  return {kAviModule, std::shared_ptr<FileSource>(source)};
}

TEST(AviCost, PropertiesTakeAFewReadsWhateverTheLength) {
  constexpr std::uint64_t kGiB = 1U << 30;
  for (const auto& source : {PlainFile(100'000), PlainFile(kGiB), PlainFile(4 * kGiB - 100'000),
                             ExtendedFile(kGiB, 2), ExtendedFile(kGiB, 100)}) {
    OpenedFile avi = Opened(source);
    const std::uint64_t before = FileReader::TotalCounters().reads;
    EXPECT_EQ(avi.Start(), QMF_OK);
    EXPECT_EQ(avi.Number(QMF_QID_TITLE_DURATION), 100'000'000U);
    EXPECT_EQ(avi.Video().width, 1920U);
    EXPECT_LE(FileReader::TotalCounters().reads - before, 4U) << source->size;
  }
}

TEST(AviLargeFiles, AreReadBeyondTwoAndFourGiB) {
  for (const std::uint64_t movi : {std::uint64_t{0x90000000}, std::uint64_t{0xFFFF0000}}) {
    OpenedFile avi = Opened(PlainFile(movi));
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_THAT(PayloadsOf(avi.RestOf(kBlockVideo)), ElementsAre("first!", "second"));
    ASSERT_EQ(avi.Seek(kBlockVideo, 400'000), 400'000);
    EXPECT_THAT(PayloadsOf(avi.RestOf(kBlockVideo)), ElementsAre("second"));
  }
  OpenedFile avi = Opened(ExtendedFile(0xC0000000, 3));
  ASSERT_EQ(avi.SetTitle(), QMF_OK);
  EXPECT_THAT(PayloadsOf(avi.RestOf(kBlockVideo)), ElementsAre("frame0", "frame1", "frame2"));
}

TEST(AviLargeFiles, AreReadFromTheDisk) {
  const std::shared_ptr<SparseSource> content = ExtendedFile(0xC0000000, 2);
  const std::filesystem::path path = std::filesystem::path(::testing::TempDir()) /
                                     ("avi-large-" + std::to_string(std::random_device()()) + ".avi");
  std::ofstream(path, std::ios::binary).close();
  std::filesystem::resize_file(path, content->size);  // The holes take no room.
  {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    for (const auto& [offset, bytes] : content->pieces) {
      file.seekp(static_cast<std::streamoff>(offset))
          .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    ASSERT_TRUE(file);
  }
  {
    OpenedFile avi(kAviModule, OpenPlatformFile(path.u16string().c_str(), nullptr));
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_THAT(PayloadsOf(avi.RestOf(kBlockVideo)), ElementsAre("frame0", "frame1"));
  }
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace qmf::test
