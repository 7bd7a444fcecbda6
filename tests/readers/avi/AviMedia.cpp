#include "tests/readers/avi/AviMedia.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <ios>

namespace qmf::test {
namespace {

constexpr std::array kIds = {"00dc", "01wb", "02wb"};

struct Placed {
  const Sample* sample;
  std::uint64_t offset;  // Of the chunk header, in the file.
};

Bytes StandardIndex(std::span<const Placed> placed, const std::string& id, std::size_t fields = 1) {
  Bytes entries;
  std::uint32_t count = 0;
  for (const auto& [sample, offset] : placed) {
    if (sample->id != id) continue;
    ++count;
    entries += Le(offset + 8, 4) + Le(sample->payload.size() | (sample->isKey ? 0 : 0x80000000), 4);
    if (fields == 2) entries += Le(offset + 9, 4);
  }
  return Le(fields + 1, 2) + Le(fields == 2 ? 0x0101 : 0x0100, 2) + Le(count, 4) + id + Bytes(12, '\0') +
         entries;
}

class AviMaker {
 public:
  AviMaker(const std::vector<Sample>& samples, int layout) : m_samples(samples), m_layout(layout) {}

  // The first pass tells how many entries there are, the second where everything stands.
  Bytes Make() {
    Pass();
    Pass();
    return Pass();
  }

 private:
  bool Is(std::initializer_list<int> layouts) const { return std::ranges::count(layouts, m_layout) > 0; }

  Bytes Pass() {
    AviParts parts;
    parts.streams = {VideoStream({.length = 60}, {.compression = "XVID"}, StreamIndex(0)),
                     AudioStream({.rate = 1000, .sampleSize = 2}, {}, StreamIndex(1)),
                     AudioStream({.rate = 10}, {}, StreamIndex(2))};
    const std::span<const Sample> all(m_samples);
    const std::size_t inFirst = all.size() / (Is({kExtensions, kExtensionsLegacyIndex}) ? 2 : 1);
    const std::uint64_t first = 12 + parts.HeaderList().size();
    m_placed.clear();
    parts.movi = Movi(all.first(inFirst), first);
    parts.index = Is({kSuperIndex, kTwoFieldIndex}) ? StandardIndexes(first + parts.movi.size())
                                                    : LegacyIndex(first + 8);
    if (inFirst == all.size()) return parts.Build();
    const std::uint64_t second = parts.Build().size() + 12;
    const Bytes movi = Movi(all.subspan(inFirst), second);
    const Bytes indexes = m_layout == kExtensions ? StandardIndexes(second + movi.size()) : "";
    return parts.Build() + Riff("AVIX", movi + indexes) + Chunk("JUNK", "jjjjj");
  }

  // A list that starts at `offset`.
  Bytes Movi(std::span<const Sample> samples, std::uint64_t offset) {
    const bool inRecLists = m_layout == kRecLists;
    Bytes children;
    for (std::size_t i = 0; i < samples.size(); i += 5) {
      const std::uint64_t begin = offset + 12 + children.size() + (inRecLists ? 12 : 0);
      Bytes group;
      for (const Sample& sample : samples.subspan(i, std::min<std::size_t>(5, samples.size() - i))) {
        m_placed.push_back({&sample, begin + group.size()});
        group += Chunk(sample.id, sample.payload);
        if (m_layout == kNoPadBytes) group.resize(group.size() - sample.payload.size() % 2);
      }
      children += inRecLists ? List("rec ", group) : group + Chunk("JUNK", "odd");
    }
    return List("movi", children);
  }

  // Of the blocks so far.
  Bytes LegacyIndex(std::uint64_t moviForm) const {
    if (Is({kNoIndex, kWrongSuperIndex, kStandardIndexInPlace, kWrappingIndex, kExtensions})) return {};
    const std::uint64_t base = m_layout == kAbsoluteIndex ? 0 : m_layout == kWrongIndex ? 5 : moviForm;
    Bytes entries;
    for (std::size_t i = 0; i < m_placed.size() / (m_layout == kHalfIndex ? 2 : 1); ++i) {
      const auto& [sample, offset] = m_placed[i];
      if (m_layout == kVideoOnlyIndex && sample->id != kIds[0]) continue;
      const std::uint32_t lie = m_layout == kLyingIndex && i == 20 ? 2 : 0;
      const Bytes entry = sample->id + Le(sample->isKey && m_layout != kKeylessIndex ? 0x10 : 0, 4) +
                          Le(offset - base + lie, 4) + Le(sample->payload.size() - lie, 4);
      entries = m_layout == kBackwardIndex ? entry + entries : entries + entry;
    }
    return Chunk(m_layout == kAlternateIndex ? "1idx" : "idx1", entries);
  }

  // Two a stream; where they stand goes into the super indexes of the next pass.
  Bytes StandardIndexes(std::uint64_t offset) {
    const std::span<const Placed> all(m_placed);
    Bytes chunks;
    m_standards = {};
    for (const auto placed : {all.first(all.size() / 2), all.subspan(all.size() / 2)}) {
      for (std::size_t i = 0; i < kIds.size(); ++i) {
        m_standards[i] += Le(offset + chunks.size(), 8) + Le(0, 8);
        chunks += Chunk("ix0" + std::to_string(i),
                        StandardIndex(placed, kIds[i], m_layout == kTwoFieldIndex ? 2 : 1));
      }
    }
    return chunks;
  }

  Bytes StreamIndex(std::size_t stream) const {
    if (Is({kStandardIndexInPlace, kWrappingIndex})) {
      Bytes index = StandardIndex(m_placed, kIds[stream]);
      if (m_layout == kWrappingIndex) index.replace(index.size() - 16, 8, Le(3, 4) + Le(0, 4));
      return Chunk("indx", index);
    }
    if (!Is({kSuperIndex, kTwoFieldIndex, kWrongSuperIndex, kExtensions})) return {};
    const Bytes entries = m_layout == kWrongSuperIndex ? Le(4, 8) + Le(0, 8) : m_standards[stream];
    Bytes index = Le(4, 4) + Le(entries.size() / 16, 4) + kIds[stream] + Bytes(12, '\0') + entries;
    index.resize(24 + 3 * 16);  // Muxers reserve more than they need.
    return Chunk("indx", index);
  }

  const std::vector<Sample>& m_samples;
  const int m_layout;
  std::vector<Placed> m_placed;
  std::array<Bytes, kIds.size()> m_standards;  // The entries of the super indexes.
};

}  // namespace

void ExpectNumbers(OpenedFile& avi, std::initializer_list<std::pair<std::uint32_t, std::uint64_t>> expected) {
  for (const auto& [qid, number] : expected) EXPECT_EQ(avi.Number(qid), number) << std::hex << qid;
}

std::vector<Sample> MakeSamples(std::uint32_t frames, bool showKeys) {
  std::vector<Sample> samples;
  for (std::uint32_t i = 0; i < frames; ++i) {
    const bool isKey = i % 12 == 0;
    const Bytes start = showKeys ? Bytes(isKey ? "\0\0\1\xB6\x10" : "\0\0\1\xB6\x50", 5) : "frame";
    samples.push_back({"00dc", start + std::to_string(i) + Bytes(20 + i % 3, 'v'), isKey});
    if (i % 2 == 0) continue;
    samples.push_back({"01wb", Bytes(160, static_cast<char>('a' + i % 26))});
    samples.push_back({"02wb", "vbr" + std::to_string(i)});
  }
  return samples;
}

Bytes MakeAvi(const std::vector<Sample>& samples, int layout) {
  return AviMaker(samples, layout).Make();
}

std::vector<Bytes> PayloadsOf(const std::vector<ReadBlock>& blocks) {
  std::vector<Bytes> payloads;
  for (const ReadBlock& block : blocks) payloads.emplace_back(block.bytes.begin(), block.bytes.end());
  return payloads;
}

std::vector<ReadBlock> Expected(const std::vector<Sample>& samples) {
  std::vector<ReadBlock> blocks;
  std::int64_t counts[3] = {};
  constexpr std::int64_t kDurations[] = {400'000, 800'000, 1'000'000};
  for (const Sample& sample : samples) {
    const auto stream = static_cast<std::uint32_t>(sample.id[1] - '0');
    const std::int64_t time = counts[stream]++ * kDurations[stream];
    if (sample.payload.empty()) continue;
    blocks.push_back({.blockType = stream == 0 ? kBlockVideo : kBlockAudio,
                      .stream = stream == 0 ? 0 : stream - 1,
                      .time = time,
                      .bytes = {sample.payload.begin(), sample.payload.end()},
                      .key = sample.isKey ? QMFBlock::kKey : QMFBlock::kNotKey});
  }
  return blocks;
}

}  // namespace qmf::test
