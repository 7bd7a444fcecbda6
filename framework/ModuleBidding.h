#pragma once

#include <cstdint>

#include "framework/ModuleInterface.h"

namespace qmf {

/// What one module said of a file.
struct ModuleBid {
  std::int32_t moduleId;
  QMFResult result;    ///< The probe's result; the score counts only when it is 0.
  std::int32_t score;  ///< The higher, the surer; 0 never wins.
};

/// Asks the registered modules, in id order, for their scores of `path` and gives the strictly highest
/// bidder; on equal scores the lowest id wins. Modules that never win (the logging module, and those whose
/// first header value is 0) are passed over. Without a winner, or when a module has no probe,
/// QMF_ERR_UNSUPPORTED_CONTAINER. Where `bids` is given, it receives every bid that could have won, at most
/// kLastModuleId.
QMFResult SelectModule(const char16_t* path, QMFAllocator* allocator, std::int32_t& winner,
                       ModuleBid* bids = nullptr, std::size_t* bidCount = nullptr);

}  // namespace qmf
