// What reading costs, and files larger than 32 bits, by a source that makes up the bytes between the ones
// that matter.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <utility>

#include "tests/readers/avi/AviMedia.h"
#include "tests/support/SparseSource.h"

namespace qmf::test {
namespace {

using ::testing::ElementsAre;

Bytes SizedHeader(const char* id, std::uint64_t size, const char* form) {
  return id + Le(size, 4) + form;
}

// `count` RIFFs of `size` bytes, each with a list that ends with a frame; a single one has an index behind
// it.
std::shared_ptr<SparseSource> LargeFile(std::uint64_t size, std::uint64_t count) {
  const Bytes headers =
      AviParts{.streams = {VideoStream({}, {}, count > 1 ? Chunk("indx", Bytes(24, '\0')) : "")}}
          .HeaderList();
  auto source = std::make_shared<SparseSource>();
  for (std::uint64_t i = 0; i < count; ++i) {
    const Bytes before = i == 0 ? headers : "";
    const std::uint64_t movi = size - 12 - before.size() - 8;
    const Bytes index = Chunk("idx1", "00dc" + Le(0x10, 4) + Le(movi - 14, 4) + Le(6, 4));
    const Bytes behind = count > 1 ? "" : index;
    source->pieces[size * i] = SizedHeader("RIFF", size - 8 + behind.size(), i == 0 ? "AVI " : "AVIX") +
                               before + SizedHeader("LIST", movi, "movi") + "JUNK" + Le(movi - 4 - 8 - 14, 4);
    source->pieces[size * (i + 1) - 14] = Chunk("00dc", "frame" + std::to_string(i)) + behind;
    source->size = size * (i + 1) + behind.size();
  }
  return source;
}

TEST(AviLargeFiles, CostAFewReadsForThePropertiesAndAreReadBeyondTwoAndFourGiB) {
  for (const auto& [size, count] :
       {std::pair(100'000U, 1U), {0x90000000, 1}, {0xFFFF0000, 1}, {0xC0000000, 3}}) {
    const std::shared_ptr<FileSource> source = LargeFile(size, count);
    const std::uint64_t before = FileReader::TotalCounters().reads;
    StartedAvi avi(source);
    EXPECT_EQ(avi.Number(QMF_QID_TITLE_DURATION), 100'000'000U);
    EXPECT_EQ(avi.Video().width, 1920U);
    EXPECT_EQ(FileReader::TotalCounters().reads - before, 2U) << size;
    EXPECT_EQ(avi.Number(QMF_QID_TITLEMEDIA_PREV_SYNC_TIME).has_value(), count == 1) << "the index tells";
    std::vector<Bytes> frames = {"frame0", "frame1", "frame2"};
    frames.resize(count);
    EXPECT_EQ(PayloadsOf(avi.RestOf(kBlockVideo)), frames);
  }
}

TEST(AviIndexes, OfNothingAreNotReadForEver) {
  const auto partsWith = [](std::uint64_t standard) {
    constexpr std::size_t kEntries = 8000;
    Bytes super = Le(4, 4) + Le(kEntries, 4) + "00dc" + Bytes(12, '\0');
    for (std::size_t i = 0; i < kEntries; ++i) super += Le(standard, 8) + Le(0, 8);
    const Bytes empty = Chunk("ix00", Le(0x01000002, 4) + Le(0, 4) + "00dc" + Bytes(12, '\0'));
    return AviParts{.streams = {VideoStream({}, {}, Chunk("indx", super))},
                    .beforeMovi = empty + Chunk("JUNK", Bytes(40'000, '\0'))};
  };
  StartedAvi avi(partsWith(12 + partsWith(0).HeaderList().size()));
  const std::uint64_t before = avi.BytesRead();
  EXPECT_EQ(PayloadsOf(avi.RestOf(kBlockVideo)), std::vector<Bytes>{"frame0"});
  EXPECT_LT(avi.BytesRead() - before, 18U << 20);
}

TEST(AviLargeFiles, AreReadFromTheDisk) {
  const std::filesystem::path path = std::filesystem::path(::testing::TempDir()) /
                                     ("avi-large-" + std::to_string(std::random_device()()) + ".avi");
  std::ofstream file(path, std::ios::binary);
  const std::shared_ptr<SparseSource> content = LargeFile(0xC0000000, 2);
  for (const auto& [offset, bytes] : content->pieces) {
    file.seekp(static_cast<std::streamoff>(offset)) << bytes;  // The holes take no room.
  }
  file.close();
  auto source = OpenPlatformFile(path.u16string().c_str(), nullptr);
  EXPECT_THAT(PayloadsOf(StartedAvi(std::exchange(source, nullptr)).RestOf(kBlockVideo)),
              ElementsAre("frame0", "frame1"));
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace qmf::test
