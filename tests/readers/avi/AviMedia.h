#pragma once

#include <string>
#include <vector>

#include "tests/readers/avi/OpenedAvi.h"

namespace qmf::test {

/// One data chunk.
struct Sample {
  std::string id;
  Bytes payload;
  bool isKey = true;
};

/// Video at 25 frames a second with a key frame every `keyGap` frames; after every other frame a block of PCM
/// (2 bytes a sample, 1,000 samples a second, 80 of them) and one of audio whose blocks last 1/10 second.
std::vector<Sample> MakeSamples(std::uint32_t frames, std::uint32_t keyGap = 12);

/// How the samples stand in the file and what index tells of them.
enum class Layout {
  kRelativeIndex,
  kAbsoluteIndex,
  kAlternateIndex,
  kRecLists,
  kNoIndex,
  kWrongIndex,
  kHalfIndex,
  kBackwardIndex,
  kSuperIndex,
  kTwoFieldIndex,
  kStandardIndexInPlace,
  kWrongSuperIndex,
  kExtensions,
  kExtensionsLegacyIndex,
};
inline constexpr Layout kAllLayouts[] = {
    Layout::kRelativeIndex,
    Layout::kAbsoluteIndex,
    Layout::kAlternateIndex,
    Layout::kRecLists,
    Layout::kNoIndex,
    Layout::kWrongIndex,
    Layout::kHalfIndex,
    Layout::kBackwardIndex,
    Layout::kSuperIndex,
    Layout::kTwoFieldIndex,
    Layout::kStandardIndexInPlace,
    Layout::kWrongSuperIndex,
    Layout::kExtensions,
    Layout::kExtensionsLegacyIndex,
};

/// The samples as a file.
Bytes MakeAvi(const std::vector<Sample>& samples, Layout layout);

/// What a block call delivered.
struct ReadBlock {
  std::uint32_t blockType = 0;
  std::uint32_t stream = 0;
  std::int64_t time = 0;
  Bytes payload;
  QMFBlock::KeyState key = QMFBlock::kUnknown;

  bool operator==(const ReadBlock&) const = default;
};
void PrintTo(const ReadBlock& block, std::ostream* out);

/// The blocks that the samples are, in file order.
std::vector<ReadBlock> Expected(const std::vector<Sample>& samples);

/// Reads blocks until the end of the stream, or one block's failure, which `end` receives.
std::vector<ReadBlock> ReadAll(OpenedAvi& avi, QMFResult* end = nullptr);
std::vector<ReadBlock> ReadStream(OpenedAvi& avi, std::uint32_t blockType, std::uint32_t stream);

void ActivateAll(OpenedAvi& avi);

}  // namespace qmf::test
