#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/FileReader.h"
#include "propertyhandler/PropertyValues.h"

namespace qmf::test {

/// A file of the fuzzers' corpus, made by ffmpeg: the smallest whole one of its format.
struct SmallFile {
  std::string name;
  std::vector<std::uint8_t> bytes;
};
const std::vector<SmallFile>& SmallFiles();

/// What the Shell's road through a file gave.
struct Outcome {
  QMFResult result = QMF_OK;  ///< Of opening it, or else of selecting the title.
  PropertyValues values;
  bool operator==(const Outcome&) const = default;
};

enum class Use : std::uint8_t {
  kProperties,  ///< What the Shell asks.
  kEverything,  ///< All that UseContainer does.
};

/// Opens the file, reads its properties within their budget, uses it, and closes it. Broken promises throw.
Outcome TakeRoad(const std::string& name, std::shared_ptr<FileSource> source, Use use);

/// What is wrong with `call`: the promise that it broke, or nothing.
std::string Complaint(const std::function<void()>& call);

}  // namespace qmf::test
