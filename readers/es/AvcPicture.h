#pragma once

#include <cstdint>

#include "framework/InfoRecords.h"
#include "framework/ResultCodes.h"
#include "streamlib/H264HdrSeqParSet.h"

namespace qmf {

/// What the framework reports of a sequence parameter set. The crop unit is two pixels in both directions
/// whatever the chroma format, and the vertical crop is taken off before the height of field-coded streams is
/// doubled. Callers rely on these sizes.
struct AvcPicture {
  std::uint32_t width = 0;   ///< Pixels, after cropping.
  std::uint32_t height = 0;  ///< Pixels, after cropping.
  bool interlaced = false;
  std::uint32_t rate = 0;  ///< Per scale seconds: frames, or fields where all pictures may be fields.
  std::uint32_t scale = 0;
  std::uint32_t fieldRate = 0;  ///< Fields per scale seconds.

  bool hasAspect = false;  ///< Without, a display size is not known.
  /// QMF_OK, or why the aspect cannot be told: QMF_ERR_AR_IDC_INVALID, QMF_ERR_AR_EXTENDED_UNSUPPORTED.
  QMFResult aspectResult = QMF_OK;
  std::uint32_t displayWidth = 0;  ///< Pixels, with the sample aspect ratio applied.
  std::uint32_t displayHeight = 0;
};

/// The set must be valid. Sizes wrap in 32 bits.
AvcPicture DeriveAvcPicture(const SPL_H264::H264HdrSeqParSet& sps);

/// Writes the picture into a record. Without aspect information the record's display size stays as it was; on
/// a failure all of it does.
QMFResult FillAvcFormat(const AvcPicture& picture, QMFVideoFormat& format);

}  // namespace qmf
