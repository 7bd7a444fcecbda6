#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "framework/FileReader.h"

namespace qmf::test {

/// Where QMF_KEEP_FILES names a folder, what tests make for module `moduleId` is kept there: fuzzing starts
/// from it.
inline void KeepFile(FileSource& source, std::int32_t moduleId) {
  static constexpr std::size_t kMost = 1U << 16;
  static int number = 0;
  const char* const folder = std::getenv("QMF_KEEP_FILES");
  if (folder == nullptr) return;
  std::vector<char> bytes(kMost);
  bytes.resize(source.ReadAt(0, bytes.data(), bytes.size()));
  const std::string name = std::to_string(++number) + "." + std::to_string(moduleId);
  std::ofstream(std::filesystem::path(folder) / name, std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace qmf::test
