#pragma once

#include <string>
#include <vector>

#include "readers/avi/AviModule.h"
#include "tests/support/AviBuilder.h"
#include "tests/support/OpenedFile.h"

namespace qmf::test {

/// One data chunk.
struct Sample {
  std::string id;
  Bytes payload;
  bool isKey = true;
};

/// Video at 25 frames a second with a key frame every 12 frames; after every other frame a block of PCM
/// (2 bytes a sample, 1,000 samples a second, 80 of them) and one of audio whose blocks last 1/10 second.
std::vector<Sample> MakeSamples(std::uint32_t frames);

/// How the samples stand in the file and what index tells of them.
enum Layout : int {
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
  kLayoutCount,
};

/// The samples as a file.
Bytes MakeAvi(const std::vector<Sample>& samples, int layout);

std::vector<Bytes> PayloadsOf(const std::vector<ReadBlock>& blocks);

/// The blocks that the samples are, in file order.
std::vector<ReadBlock> Expected(const std::vector<Sample>& samples);

}  // namespace qmf::test
