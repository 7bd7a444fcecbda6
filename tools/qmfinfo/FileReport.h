#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"
#include "propertyhandler/PropertyValues.h"

namespace qmfinfo {

/// What a stream's format query gave.
template <class Format>
struct StreamReport {
  qmf::QMFResult result = qmf::QMF_OK;
  Format format{};  ///< Meaningful when `result` is 0.
};

/// What the framework says of one path.
struct FileReport {
  std::u16string path;
  qmf::QMFResult result = qmf::QMF_OK;  ///< Of the step that failed: open, or title selection.
  bool opened = false;
  std::vector<std::int32_t> moduleIds;  ///< One a piece.
  qmf::PropertyValues properties;       ///< What the Shell object would write: nothing unless `result` is 0.
  std::optional<std::uint64_t> duration;  ///< 100-ns units.
  std::vector<StreamReport<qmf::QMFVideoFormat>> video;
  std::vector<StreamReport<qmf::QMFAudioFormat>> audio;
  std::vector<StreamReport<qmf::QMFSubtitleFormat>> subtitle;
};

/// Opens `path`, selects `title` and asks for everything. The streams are listed also after a warning of the
/// selection.
FileReport ReadFileReport(const std::u16string& path, std::uint32_t title);

}  // namespace qmfinfo
