#include "tests/faults/FaultRoad.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "framework/Text.h"
#include "tests/support/Contract.h"
#include "tests/support/WholeRoad.h"

namespace qmf::test {
namespace {

SmallFile Load(const std::string& extension) {
  const std::string name = "small." + extension;
  std::ifstream file(std::filesystem::path(FUZZ_CORPUS) / extension / name, std::ios::binary);
  return {name, {std::istreambuf_iterator<char>(file), {}}};
}

}  // namespace

const std::vector<SmallFile>& SmallFiles() {
  static const std::vector<SmallFile> files = {Load("mkv"),  Load("avi"), Load("mp4"),
                                               Load("h264"), Load("aac"), Load("srt")};
  return files;
}

Outcome TakeRoad(const std::string& name, std::shared_ptr<FileSource> source, Use use) {
  const std::u16string path = PathFromBytes(name);
  const auto reader = std::make_shared<FileReader>(std::move(source));
  const ReadingCosts costs(*reader);
  const SharedFileScope named(path.c_str(), reader);
  QMFContainer* container = nullptr;
  Outcome outcome;
  outcome.result = OpenContainer(&container, path.c_str(), nullptr);
  RequireKnown(outcome.result);
  Require((outcome.result == QMF_OK) == (container != nullptr), "a container exactly when opening succeeded");
  if (container == nullptr) {
    costs.RequireWithinBudget();
    return outcome;
  }
  outcome.result = SetTitle(container, 0);
  RequireKnown(outcome.result);
  if (outcome.result == QMF_OK) outcome.values = ReadPropertyValues(container);
  costs.RequireWithinBudget();
  if (use == Use::kEverything) UseContainer(container, 1);
  RequireKnown(CloseContainer(container));
  return outcome;
}

std::string Complaint(const std::function<void()>& call) {
  try {
    call();
    return {};
  } catch (const std::exception& broken) {
    return broken.what();
  }
}

}  // namespace qmf::test
