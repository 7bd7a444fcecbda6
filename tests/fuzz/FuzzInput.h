#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "framework/FileReader.h"
#include "tests/support/FaultyFile.h"

namespace qmf::fuzz {

/// A fuzzer's input as a file. The last four bytes, if they begin with 0xF5, choose how it misbehaves.
class FuzzInput {
 public:
  explicit FuzzInput(std::span<const std::uint8_t> input);

  std::shared_ptr<FileReader> MakeReader() const;
  /// What begins like a second Matroska file inside the bytes, as a file of its own; else without bytes.
  FuzzInput Second() const;
  /// Differs between inputs, for choices that nothing else makes.
  std::uint32_t Variant() const;

 private:
  std::span<const std::uint8_t> m_bytes;
  test::FileFaults m_faults;
};

}  // namespace qmf::fuzz
