// The bit reader beside a plain and a cached one: over the fields of one parameter set, and over long runs of
// Exp-Golomb codes. All three give the same numbers, which is checked first.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>

#include "benchmarks/BitReaders.h"
#include "streamlib/BitstreamReader.h"
#include "streamlib/H264HdrSeqParSet.h"

namespace qmf::bench {
namespace {

// 1920 by 1080, High profile, with colour, timing and HRD parameters, as an encoder wrote it.
constexpr std::uint8_t kSps[] = {
    0x67, 0x64, 0x00, 0x28, 0xAC, 0xD9, 0x40, 0x78, 0x02, 0x27, 0xE5, 0xC0, 0x5A, 0x80,
    0x80, 0x80, 0xA0, 0x00, 0x00, 0x03, 0x00, 0x20, 0x00, 0x00, 0x06, 0x4C, 0x08, 0x00,
    0x05, 0xB8, 0xD8, 0x00, 0x0B, 0x71, 0xB4, 0x98, 0x60, 0x0F, 0x18, 0x31, 0x96,
};

// Widths of that set's fields in order; 0 stands for an Exp-Golomb code.
constexpr std::uint8_t kFields[] = {
    8, 1,  1,  1,  1,  4, 8, 0, 0, 0, 0, 1, 1,        // profile to scaling matrix
    0, 0,  0,  0,  1,  0, 0, 1, 1, 1, 0, 0, 0, 0, 1,  // picture order to cropping
    1, 8,  1,  1,  3,  1, 1, 8, 8, 8, 1,              // aspect ratio to chroma location
    1, 16, 16, 16, 16, 1,                             // timing
    1, 0,  4,  4,  0,  0, 1, 5, 5, 5, 5, 1, 1, 1,     // HRD
    1, 1,  0,  0,  0,  0, 0, 0,                       // restrictions
};

// The library's reader behind the interface of the other two.
template <bool strip>
class OurReader {
 public:
  OurReader(const std::uint8_t* data, std::size_t size) : m_bits(strip) {
    m_bits.Init(data, static_cast<std::int32_t>(size));
  }
  std::uint32_t ReadBits(std::uint32_t n) { return m_bits.ReadBits(n); }
  std::uint32_t ReadUE() { return m_bits.ReadUE(); }

 private:
  SPL::BitstreamReader m_bits;
};

template <class Reader>
std::uint32_t ReadSps(Reader reader) {
  std::uint32_t sum = 0;
  for (const std::uint8_t width : kFields)
    sum = sum * 31 + (width == 0 ? reader.ReadUE() : reader.ReadBits(width));
  return sum;
}

// Reads the set with `Reader`, behind a pass that strips it where the reader does not.
template <class Reader, bool strips>
std::uint32_t SumSps(std::vector<std::uint8_t>& scratch) {
  if constexpr (strips) {
    return ReadSps(Reader(kSps + 1, sizeof(kSps) - 1));
  } else {
    Unescape(kSps + 1, sizeof(kSps) - 1, scratch);
    return ReadSps(Reader(scratch.data(), scratch.size() - 8));
  }
}

template <class Reader, bool strips>
void SpsFields(benchmark::State& state) {
  std::vector<std::uint8_t> scratch;
  for (auto _ : state) benchmark::DoNotOptimize(SumSps<Reader, strips>(scratch));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(sizeof(kSps)));
}

void SpsParse(benchmark::State& state) {
  for (auto _ : state) {
    SPL_H264::H264HdrSeqParSet sps;
    benchmark::DoNotOptimize(sps.Parse(kSps, sizeof(kSps)));
  }
}

constexpr std::size_t kCodeBytes = 1 << 20;

// Random bits are codes whose values fall off as those of real streams do.
const std::vector<std::uint8_t>& RandomBytes() {
  static const std::vector<std::uint8_t> bytes = [] {
    std::mt19937 random(1);
    std::vector<std::uint8_t> filled(kCodeBytes + 8);
    for (std::uint8_t& byte : filled) byte = static_cast<std::uint8_t>(random());
    return filled;
  }();
  return bytes;
}

constexpr int kCodes = 1'500'000;  // Fewer than there are in all of the bytes.

template <class Reader>
std::uint32_t SumCodes() {
  Reader reader(RandomBytes().data(), kCodeBytes);
  std::uint32_t sum = 0;
  for (int i = 0; i < kCodes; ++i) sum = sum * 31 + reader.ReadUE();
  return sum;
}

template <class Reader>
void ExpGolomb(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(SumCodes<Reader>());
  state.SetItemsProcessed(state.iterations() * kCodes);
}

BENCHMARK(SpsParse);
BENCHMARK(SpsFields<OurReader<true>, true>);
BENCHMARK(SpsFields<PlainReader, false>);
BENCHMARK(SpsFields<CachedReader, false>);
BENCHMARK(ExpGolomb<OurReader<true>>)->Unit(benchmark::kMillisecond);
BENCHMARK(ExpGolomb<OurReader<false>>)->Unit(benchmark::kMillisecond);
BENCHMARK(ExpGolomb<PlainReader>)->Unit(benchmark::kMillisecond);
BENCHMARK(ExpGolomb<CachedReader>)->Unit(benchmark::kMillisecond);

bool ReadersAgree() {
  std::vector<std::uint8_t> scratch;
  const std::uint32_t sps = SumSps<OurReader<true>, true>(scratch);
  const std::uint32_t codes = SumCodes<OurReader<false>>();
  return sps == SumSps<PlainReader, false>(scratch) && sps == SumSps<CachedReader, false>(scratch) &&
         codes == SumCodes<PlainReader>() && codes == SumCodes<CachedReader>();
}

}  // namespace
}  // namespace qmf::bench

int main(int argc, char** argv) {
  if (!qmf::bench::ReadersAgree()) return EXIT_FAILURE;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return EXIT_FAILURE;
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
}
