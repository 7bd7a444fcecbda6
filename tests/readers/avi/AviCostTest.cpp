// What reading costs, and files larger than 32 bits, by a source that makes up the bytes between the ones
// that matter.

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "framework/FileReader.h"
#include "tests/readers/avi/AviMedia.h"

namespace qmf::test {
namespace {

// Pieces of bytes in a sea of zeros.
class SparseSource : public FileSource {
 public:
  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    if (offset >= size) return 0;
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size - offset));
    std::memset(destination, 0, count);
    for (const auto& [start, bytes] : pieces) {
      for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t at = offset + i;
        if (at >= start && at - start < bytes.size()) {
          static_cast<char*>(destination)[i] = bytes[static_cast<std::size_t>(at - start)];
        }
      }
    }
    return count;
  }
  std::uint64_t Size() const noexcept override { return size; }

  std::map<std::uint64_t, Bytes> pieces;
  std::uint64_t size = 0;
};

class OpenedSparse {
 public:
  explicit OpenedSparse(std::shared_ptr<SparseSource> source) {
    const SharedFileScope named(u"large.avi", std::make_shared<FileReader>(std::move(source)));
    EXPECT_EQ(kAviModule.entryPoints->OpenContainer(&handle, u"large.avi", nullptr), QMF_OK);
  }
  ~OpenedSparse() { (void)kAviModule.entryPoints->CloseContainer(handle); }
  OpenedSparse(const OpenedSparse&) = delete;
  OpenedSparse& operator=(const OpenedSparse&) = delete;
  QMFModuleHandle handle = nullptr;
};

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

std::uint64_t ReadsForProperties(std::shared_ptr<SparseSource> source) {
  OpenedSparse avi(std::move(source));
  const std::uint64_t before = FileReader::TotalCounters().reads;
  const QMFModuleEntryPoints& module = *kAviModule.entryPoints;
  EXPECT_EQ(module.SetTitle(avi.handle, 0), QMF_OK);
  QMFQueryData duration;
  EXPECT_EQ(module.GetInfo(avi.handle, QMF_QID_TITLE_DURATION, &duration, 0), QMF_OK);
  EXPECT_EQ(module.SetTitleActiveStream(avi.handle, kBlockVideo, 0, 1), QMF_OK);
  QMFVideoFormat format{};
  QMFQueryData record;
  record.size = sizeof(format);
  record.pointer = &format;
  EXPECT_EQ(module.GetInfo(avi.handle, QMF_QID_VID_STREAM_FORMAT, &record, 0), QMF_OK);
  return FileReader::TotalCounters().reads - before;
}

TEST(AviCost, PropertiesTakeAFewReadsWhateverTheLength) {
  constexpr std::uint64_t kGiB = 1U << 30;
  for (const std::uint64_t movi : {std::uint64_t{100'000}, kGiB, 4 * kGiB - 100'000}) {
    EXPECT_LE(ReadsForProperties(PlainFile(movi)), 4U) << movi;
  }
  EXPECT_LE(ReadsForProperties(ExtendedFile(kGiB, 2)), 4U);
  EXPECT_LE(ReadsForProperties(ExtendedFile(kGiB, 100)), 4U);
}

std::vector<Bytes> Frames(QMFModuleHandle avi) {
  std::vector<Bytes> frames;
  char buffer[64];
  QMFBlock block;
  block.data = reinterpret_cast<std::uint8_t*>(buffer);
  block.capacity = sizeof(buffer);
  std::int64_t time = 0;
  while (kAviModule.entryPoints->ReadNextBlockByStream(avi, kBlockVideo, 0, &block, &time) == QMF_OK) {
    frames.emplace_back(buffer, block.size);
  }
  return frames;
}

TEST(AviLargeFiles, AreReadBeyondTwoAndFourGiB) {
  for (const std::uint64_t movi : {std::uint64_t{0x90000000}, std::uint64_t{0xFFFF0000}}) {
    OpenedSparse avi(PlainFile(movi));
    ASSERT_EQ(kAviModule.entryPoints->SetTitle(avi.handle, 0), QMF_OK);
    EXPECT_THAT(Frames(avi.handle), ::testing::ElementsAre("first!", "second"));
    std::int64_t time = 400'000;
    ASSERT_EQ(kAviModule.entryPoints->SetPosition(avi.handle, kBlockVideo, 0, &time), QMF_OK);
    EXPECT_EQ(time, 400'000);
    EXPECT_THAT(Frames(avi.handle), ::testing::ElementsAre("second"));
  }
  OpenedSparse avi(ExtendedFile(0xC0000000, 3));
  ASSERT_EQ(kAviModule.entryPoints->SetTitle(avi.handle, 0), QMF_OK);
  EXPECT_THAT(Frames(avi.handle), ::testing::ElementsAre("frame0", "frame1", "frame2"));
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
    ASSERT_EQ(avi.OpenResult(), QMF_OK);
    ASSERT_EQ(avi.SetTitle(), QMF_OK);
    EXPECT_THAT(Frames(avi.Handle()), ::testing::ElementsAre("frame0", "frame1"));
  }
  std::filesystem::remove(path);
}

TEST(AviCost, ChainsAndTinyChunksEndWithinTheBudget) {
  // 300,000 RIFFs behind the title, and as many chunks inside it.
  Bytes chain;
  for (int i = 0; i < 300'000; ++i) chain += "RIFF" + Le(4, 4) + "AVIX";
  AviParts parts;
  parts.behindRiff = chain;
  OpenedFile extended(kAviModule, parts.Build());
  ASSERT_EQ(extended.SetTitle(), QMF_OK);
  EXPECT_EQ(extended.Number(QMF_QID_HAS_TITLE_DRMICP), 0U);
  EXPECT_EQ(extended.RestOf(kBlockVideo).size(), 1U);
  parts = {};
  parts.beforeMovi = Bytes(8 * 300'000, '\0');
  EXPECT_EQ(OpenedFile(kAviModule, parts.Build()).SetTitle(), QMF_ERR_MOVI_NOT_FOUND);
}

}  // namespace
}  // namespace qmf::test
