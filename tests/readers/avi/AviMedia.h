#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "readers/avi/AviModule.h"
#include "tests/support/AviBuilder.h"
#include "tests/support/OpenedFile.h"

namespace qmf::test {

/// A file that was opened and started.
struct StartedAvi : StartedFile {
  template <class Content>
  explicit StartedAvi(const Content& content) : StartedFile(kAviModule, content) {}
  explicit StartedAvi(const AviParts& parts) : StartedAvi(parts.Build()) {}
};

void ExpectNumbers(OpenedFile& avi, std::initializer_list<std::pair<std::uint32_t, std::uint64_t>> expected);

/// One data chunk.
struct Sample {
  std::string id;
  Bytes payload;
  bool isKey = true;
};

/// Video at 25 frames a second with a key frame every 12 frames; after every other frame a block of PCM
/// (2 bytes a sample, 1,000 samples a second, 80 of them) and one of audio whose blocks last 1/10 second.
/// Frames show whether they are key frames (MPEG-4 part 2), or only an index can tell.
std::vector<Sample> MakeSamples(std::uint32_t frames, bool showKeys = true);

/// How the samples stand in the file and what index tells of them.
enum Layout : int {
  kRelativeIndex,
  kAbsoluteIndex,
  kAlternateIndex,
  kRecLists,
  kSuperIndex,
  kTwoFieldIndex,
  kStandardIndexInPlace,
  kExtensions,
  kNoPadBytes,
  kVideoOnlyIndex,
  kWholeIndexCount,  ///< Those above tell all key frames.
  kNoIndex = kWholeIndexCount,
  kWrongIndex,
  kHalfIndex,
  kBackwardIndex,
  kKeylessIndex,
  kLyingIndex,  ///< Wrong of a frame between its first and its last entry.
  kWrongSuperIndex,
  kWrappingIndex,  ///< In place, with an entry in front of the file between its first and its last.
  kExtensionsLegacyIndex,
  kLayoutCount,
};

/// The samples as a file.
Bytes MakeAvi(const std::vector<Sample>& samples, int layout);

std::vector<Bytes> PayloadsOf(const std::vector<ReadBlock>& blocks);

/// The blocks that the samples are, in file order.
std::vector<ReadBlock> Expected(const std::vector<Sample>& samples);

}  // namespace qmf::test
