#include "tests/fuzz/FuzzInput.h"

#include <algorithm>

namespace qmf::fuzz {
namespace {

constexpr std::size_t kOptions = 4;
constexpr std::uint8_t kOptionsMark = 0xF5;

}  // namespace

FuzzInput::FuzzInput(std::span<const std::uint8_t> input) : m_bytes(input) {
  if (input.size() < kOptions) return;
  const auto options = input.last(kOptions);
  if (options[0] != kOptionsMark) return;
  m_bytes = input.first(input.size() - kOptions);
  if (options[1] != 0) m_faults.statedSize = std::uint64_t{options[1]} << (options[1] % 56);
  if (options[2] != 0) m_faults.longestRead = options[2];
  m_faults.failsForGood = options[3] < 128;
  if (options[3] != 0) m_faults.failingRead = options[3] % 128;
}

std::shared_ptr<FileReader> FuzzInput::MakeReader() const {
  return std::make_shared<FileReader>(std::make_shared<test::FaultyFile>(m_bytes, m_faults));
}

FuzzInput FuzzInput::Second() const {
  constexpr std::uint8_t kMagic[] = {0x1A, 0x45, 0xDF, 0xA3};
  const auto from = m_bytes.begin() + std::min<std::ptrdiff_t>(1, std::ssize(m_bytes));
  return FuzzInput({std::search(from, m_bytes.end(), std::begin(kMagic), std::end(kMagic)), m_bytes.end()});
}

std::uint32_t FuzzInput::Variant() const {
  std::uint32_t sum = static_cast<std::uint32_t>(m_bytes.size());
  for (const std::uint8_t byte : m_bytes.first(std::min<std::size_t>(m_bytes.size(), 256))) sum += byte;
  return sum;
}

}  // namespace qmf::fuzz
