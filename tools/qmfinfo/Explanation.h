#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "framework/ResultCodes.h"
#include "propertyhandler/PropertyValues.h"

namespace qmfinfo {

/// Why a property is what it is.
struct ExplainedProperty {
  qmf::PropertyId property;
  std::optional<std::uint64_t> value;  ///< As the Shell gets it.
  std::string exact;                   ///< What the file says, with its unit; empty when it cannot be asked.
  std::string why;                     ///< How `value` follows from it, or what keeps it from being there.
  const char* call;                    ///< The framework call that decided.
  qmf::QMFResult result;               ///< What that call gave.
};

struct Explanation {
  std::u16string path;
  qmf::QMFResult result = qmf::QMF_OK;        ///< Of opening the file and selecting title 0.
  std::vector<ExplainedProperty> properties;  ///< All seven.
};

/// Asks what the Shell object asks, and keeps the exact values and every result.
Explanation Explain(const std::u16string& path);

}  // namespace qmfinfo
