#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace qmf {

/// All that decides whether the Shell of this machine shows our properties to hosts of this program's
/// bitness: "healthy" says whether a host that is not isolated gets them.
nlohmann::ordered_json Examine();

/// The same for people: a line a finding.
std::string ToText(const nlohmann::ordered_json& examined);

}  // namespace qmf
