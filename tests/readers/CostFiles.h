#pragma once

#include <cstdint>
#include <vector>

namespace qmf::test {

/// An AVI file whose header list has `more` small chunks that nobody needs.
std::vector<std::uint8_t> AviOfCost(std::size_t more);

}  // namespace qmf::test
