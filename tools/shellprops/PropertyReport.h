#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tools/shellprops/HandlerClass.h"

namespace qmf {

/// What a fresh handler object answers about one file.
struct PropertyReport {
  nlohmann::ordered_json json;
  bool complete;  ///< The object could be created and initialised.
};

/// Lets a fresh handler object read `path` and asks it for everything a Shell would.
PropertyReport ReportProperties(const HandlerClass& handler, const std::u16string& path);

}  // namespace qmf
