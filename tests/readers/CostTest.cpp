// What a file's properties cost, in units that no machine changes: openings, reads, bytes and allocations.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <random>

#include "framework/FileReader.h"
#include "framework/LogWriter.h"
#include "propertyhandler/PropertyValues.h"
#include "tests/readers/CostFiles.h"
#include "tests/readers/mkv/MkvFile.h"
#include "tests/support/AdtsWriter.h"
#include "tests/support/AtomBuilder.h"
#include "tests/support/H264Writer.h"

namespace {

std::uint64_t allocations = 0;

void* Allocate(std::size_t size) {
  ++allocations;
  void* const memory = std::malloc(size > 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
// Nothing here is aligned more strictly than malloc does by itself.
void* operator new(std::size_t size, std::align_val_t alignment) {
  if (static_cast<std::size_t>(alignment) > __STDCPP_DEFAULT_NEW_ALIGNMENT__) throw std::bad_alloc();
  return Allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}

namespace qmf::test {

struct Cost {
  std::uint64_t opens;
  std::uint64_t reads;
  std::uint64_t bytes;
  std::uint64_t allocations;
};

/// Under callgrind, what this function costs is compared with earlier runs: it must stay one by its name.
[[gnu::noinline]] PropertyValues ReadPropertiesOnce(const char16_t* path) {
  QMFContainer* container = nullptr;
  PropertyValues values;
  if (OpenContainer(&container, path, nullptr) != QMF_OK) return values;
  if (SetTitle(container, 0) == QMF_OK) values = ReadPropertyValues(container);
  (void)CloseContainer(container);
  return values;
}

namespace {

std::vector<std::uint8_t> MkvOfCost(std::size_t more) {
  Bytes children;
  for (std::size_t i = 0; i < more; ++i) children += Void(4);
  children += Info() + Put(E::Tracks, Track(1, kMatroskaVideo, "V_MPEG2", Picture(64, 48)) +
                                          Track(2, kMatroskaAudio, "A_AAC"));
  return Segment(children + Put(E::Cluster, Void(100'000)));
}

Bytes Mp4OfCost(std::size_t more) {
  AtomBuilder atoms;
  for (std::size_t i = 0; i < more; ++i) atoms.Begin("free").U32(0).End();
  MovieSpec movie;
  movie.tracks[0].entry = VideoEntry("mp4v", 640, 360);
  movie.tracks[0].references = atoms.Take();
  movie.tracks[0].uniformSize = 1000;
  movie.movieFirst = false;
  return MakeMovie(movie);
}

Bytes H264OfCost(std::size_t more) {
  Bytes stream = ByteStream({SpsUnit(PlainSps()), PpsUnit(), SliceUnit({.type = 5})});
  for (std::uint32_t i = 1; i <= more; ++i)
    stream += ByteStream({SliceUnit({.frameNum = i % 16, .orderLsb = 2 * i % 16})});
  return stream;
}

Bytes AdtsOfCost(std::size_t more) {
  Bytes stream;
  for (std::size_t i = 0; i < 4 + more; ++i) stream += AdtsFrame();
  return stream;
}

struct Format {
  const char* name;
  std::vector<std::uint8_t> (*make)(std::size_t more);
  Cost cost;        ///< Of the file with nothing more; allocations at most.
  Cost costOfMore;  ///< With 1,000 elements or frames more.
};

void PrintTo(const Format& format, std::ostream* out) {
  *out << format.name;
}

class CostTest : public testing::TestWithParam<Format> {
 protected:
  CostTest() { std::filesystem::create_directories(m_folder); }
  ~CostTest() override { std::filesystem::remove_all(m_folder); }

  std::u16string Write(const std::vector<std::uint8_t>& bytes) const {
    const std::filesystem::path path = m_folder / (std::string("film.") + GetParam().name);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path.u16string();
  }

 private:
  const std::filesystem::path m_folder =
      std::filesystem::temp_directory_path() /
      ("qmf-cost-" + std::string(GetParam().name) + std::to_string(std::random_device()()));
};

Cost Measure(const std::u16string& path) {
  SetLogOff();
  const FileReader::Counters before = FileReader::TotalCounters();
  const std::uint64_t allocated = allocations;
  const PropertyValues values = ReadPropertiesOnce(path.c_str());
  const std::uint64_t spent = allocations - allocated;
  EXPECT_TRUE(values[kMediaDuration]);
  const FileReader::Counters after = FileReader::TotalCounters();
  return {after.opens - before.opens, after.reads - before.reads, after.bytes - before.bytes, spent};
}

void Expect(const Cost& found, const Cost& expected) {
  EXPECT_EQ(found.opens, expected.opens);
  EXPECT_EQ(found.reads, expected.reads);
  EXPECT_EQ(found.bytes, expected.bytes);
#ifdef _WIN32
  constexpr std::uint64_t kForNames = 4;
#else
  constexpr std::uint64_t kForNames = 0;
#endif
  EXPECT_LE(found.allocations, expected.allocations + kForNames);
}

TEST_P(CostTest, OfTheProperties) {
  Expect(Measure(Write(GetParam().make(0))), GetParam().cost);
  Expect(Measure(Write(GetParam().make(1000))), GetParam().costOfMore);
}

// Elements, units and frames cost no allocation; the frames' seek index grows by doubling.
const Format kFormats[] = {
    {"mkv", MkvOfCost, {1, 1, 4096, 17}, {1, 2, 20480, 17}},
    {"avi", AviOfCost, {1, 2, 4120, 12}, {1, 3, 20504, 12}},
    {"mp4", Mp4OfCost, {1, 2, 4674, 12}, {1, 3, 16678, 12}},
    {"264", H264OfCost, {1, 1, 39, 10}, {1, 2, 12082, 10}},
    {"aac", AdtsOfCost, {1, 1, 108, 12}, {1, 5, 31319, 21}},
};
INSTANTIATE_TEST_SUITE_P(Formats, CostTest, testing::ValuesIn(kFormats), testing::PrintToStringParamName());

}  // namespace
}  // namespace qmf::test
