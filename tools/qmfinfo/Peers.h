#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "propertyhandler/PropertyValues.h"

namespace qmfinfo {

/// What another program says of a file, in the units of the Shell values but exact: frame rates are not
/// rounded to whole frames, and nothing is cut to 16 bits.
struct PeerValues {
  const char* program;
  std::array<std::optional<double>, qmf::kPropertyCount> values;
};

/// Asks ffprobe, mediainfo and mkvmerge; those that are not there or make nothing of the file are left out.
std::vector<PeerValues> AskPeers(const std::u16string& path);

}  // namespace qmfinfo
