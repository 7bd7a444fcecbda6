#include "tests/readers/avi/AviMedia.h"

#include <map>

namespace qmf::test {
namespace {

constexpr std::size_t kBlockSize = 160;
constexpr std::size_t kIndexReserve = 24 + 2 * 16;

// A frame of MPEG-4 part 2, so that key frames show without an index too.
Bytes Frame(std::uint32_t number, bool isKey) {
  return Bytes("\0\0\1\xB6", 4) + (isKey ? '\x10' : '\x50') + std::to_string(number) + Bytes(number % 3, 'v');
}

std::vector<Bytes> Streams(const std::map<std::string, Bytes>& indexes) {
  const auto index = [&](const char* id) {
    const auto found = indexes.find(id);
    return found == indexes.end() ? Bytes() : Chunk("indx", found->second);
  };
  return {VideoStream({.length = 60}, {.compression = "XVID"}, index("00dc")),
          AudioStream({.rate = 1000, .sampleSize = 2}, {}, index("01wb")),
          AudioStream({.rate = 10}, {}, index("02wb"))};
}

struct Placed {
  const Sample* sample;
  std::uint64_t offset;  // Of the chunk header, in the file.
};

// A list of samples that starts at `offset`, with the places of the samples.
Bytes Movi(std::span<const Sample> samples, std::uint64_t offset, bool inRecLists,
           std::vector<Placed>& placed) {
  Bytes children;
  std::size_t inRec = 0;
  for (const Sample& sample : samples) {
    if (inRecLists && inRec++ % 5 == 0) {
      Bytes rec;
      for (std::size_t i = inRec - 1; i < inRec + 4 && i < samples.size(); ++i) {
        rec += Chunk(samples[i].id, samples[i].payload);
      }
      children += "LIST" + Le(rec.size() + 4, 4) + "rec ";
    }
    placed.push_back({&sample, offset + 12 + children.size()});
    children += Chunk(sample.id, sample.payload);
    if (!inRecLists && placed.size() % 7 == 0) children += Chunk("JUNK", "odd");
  }
  return List("movi", children);
}

Bytes LegacyIndex(std::span<const Placed> placed, std::uint64_t base, bool backward) {
  Bytes entries;
  for (const Placed& place : placed) {
    const Bytes entry = place.sample->id + Le(place.sample->isKey ? 0x10 : 0, 4) +
                        Le(place.offset - base, 4) + Le(place.sample->payload.size(), 4);
    entries = backward ? entry + entries : entries + entry;
  }
  return entries;
}

Bytes StandardIndex(std::span<const Placed> placed, const std::string& id, std::size_t fields) {
  Bytes entries;
  std::uint32_t count = 0;
  for (const Placed& place : placed) {
    if (place.sample->id != id) continue;
    ++count;
    const std::uint32_t notKey = place.sample->isKey ? 0 : 0x80000000;
    entries += Le(place.offset + 8, 4) + Le(place.sample->payload.size() | notKey, 4);
    if (fields == 2) entries += Le(place.offset + 9, 4);
  }
  return Le(fields + 1, 2) + Bytes(1, fields == 2 ? '\1' : '\0') + '\1' + Le(count, 4) + id +
         Bytes(12, '\0') + entries;
}

class AviMaker {
 public:
  AviMaker(const std::vector<Sample>& samples, int layout) : m_samples(samples), m_layout(layout) {}

  Bytes Make() {
    // The first pass tells how many entries there are, the second where everything stands.
    Pass();
    Pass();
    return Pass();
  }

 private:
  bool Is(std::initializer_list<int> layouts) const {
    return std::find(layouts.begin(), layouts.end(), m_layout) != layouts.end();
  }
  bool HasExtension() const { return Is({kExtensions, kExtensionsLegacyIndex}); }
  bool HasSuperIndex() const { return Is({kSuperIndex, kTwoFieldIndex, kWrongSuperIndex, kExtensions}); }

  Bytes Pass() {
    std::map<std::string, Bytes> indexes;
    for (const char* id : {"00dc", "01wb", "02wb"}) {
      if (HasSuperIndex()) indexes[id] = SuperIndex(id);
      if (m_layout == kStandardIndexInPlace) indexes[id] = StandardIndex(m_placed, id, 1);
    }
    AviParts parts;
    parts.streams = Streams(indexes);
    const std::size_t half = HasExtension() ? m_samples.size() / 2 : m_samples.size();
    const std::span<const Sample> all(m_samples);
    const std::uint64_t moviOffset = 12 + parts.HeaderList().size();
    std::vector<Placed> placed;
    m_standardOffsets.clear();
    parts.movi = Movi(all.first(half), moviOffset, m_layout == kRecLists, placed);
    parts.index = m_layout == kSuperIndex || m_layout == kTwoFieldIndex
                      ? Standards(placed, moviOffset + parts.movi.size())
                      : Legacy(placed, moviOffset);
    parts.behindRiff = HasExtension() ? Extension(all.subspan(half), parts.Build().size(), placed) : Bytes();
    if (m_layout == kExtensions) parts.behindRiff += Chunk("JUNK", Bytes(5, 'j'));
    m_placed = placed;
    return parts.Build();
  }

  Bytes Legacy(const std::vector<Placed>& placed, std::uint64_t moviOffset) const {
    std::uint64_t base = moviOffset + 8;
    if (m_layout == kAbsoluteIndex) base = 0;
    if (m_layout == kWrongIndex) base = 5;
    if (m_layout == kNoIndex || m_layout == kWrongSuperIndex || HasSuperIndex()) return {};
    const std::span<const Placed> told(placed.data(),
                                       m_layout == kHalfIndex ? placed.size() / 2 : placed.size());
    return Chunk(m_layout == kAlternateIndex ? "1idx" : "idx1",
                 LegacyIndex(told, base, m_layout == kBackwardIndex));
  }

  // Standard indexes of all streams; where they stand goes into the super indexes of the next pass.
  Bytes Standards(const std::vector<Placed>& placed, std::uint64_t offset) {
    Bytes chunks;
    for (const char* id : {"00dc", "01wb", "02wb"}) {
      m_standardOffsets[id].push_back(offset + chunks.size());
      chunks +=
          Chunk("ix" + std::string(id, 2), StandardIndex(placed, id, m_layout == kTwoFieldIndex ? 2 : 1));
    }
    return chunks;
  }

  Bytes Extension(std::span<const Sample> samples, std::uint64_t offset, std::vector<Placed>& placed) {
    std::vector<Placed> mine;
    const Bytes movi = Movi(samples, offset + 12, false, mine);
    Bytes children = movi;
    if (m_layout == kExtensions) {
      // The standard indexes of both lists stand behind the second.
      const Bytes first = Standards(placed, offset + 12 + movi.size());
      children += first + Standards(mine, offset + 12 + movi.size() + first.size());
    }
    placed.insert(placed.end(), mine.begin(), mine.end());
    return Riff("AVIX", children);
  }

  Bytes SuperIndex(const std::string& id) {
    Bytes entries;
    for (const std::uint64_t offset : m_standardOffsets[id]) entries += Le(offset, 8) + Le(0, 8);
    if (m_layout == kWrongSuperIndex) entries = Le(4, 8) + Le(0, 8);
    Bytes index = Le(4, 2) + Le(0, 2) + Le(entries.size() / 16, 4) + id + Bytes(12, '\0') + entries;
    index.resize(kIndexReserve);
    return index;
  }

  const std::vector<Sample>& m_samples;
  const int m_layout;
  std::vector<Placed> m_placed;
  std::map<std::string, std::vector<std::uint64_t>> m_standardOffsets;
};

}  // namespace

std::vector<Sample> MakeSamples(std::uint32_t frames) {
  std::vector<Sample> samples;
  for (std::uint32_t i = 0; i < frames; ++i) {
    const bool isKey = i % 12 == 0;
    samples.push_back({"00dc", Frame(i, isKey), isKey});
    if (i % 2 == 0) continue;
    samples.push_back({"01wb", Bytes(kBlockSize, static_cast<char>('a' + i % 26))});
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
