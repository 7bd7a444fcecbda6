#include <array>

#include "framework/FileReader.h"
#include "framework/ModuleBidding.h"
#include "framework/ModuleTable.h"
#include "framework/PathSplitter.h"
#include "framework/Text.h"
#include "tools/qmfinfo/Options.h"
#include "tools/qmfinfo/Output.h"

namespace qmfinfo {
namespace {

bool PrintBids(const std::u16string& path) {
  const qmf::SharedFileScope oneOpening(path.c_str(), nullptr);
  std::array<qmf::ModuleBid, qmf::kLastModuleId> bids{};
  std::size_t bidCount = 0;
  std::int32_t winner = 0;
  const qmf::QMFResult result = qmf::SelectModule(path.c_str(), nullptr, winner, bids.data(), &bidCount);
  Json scores = Json::object();
  for (std::size_t i = 0; i < bidCount; ++i) scores[qmf::ModuleName(bids[i].moduleId)] = bids[i].score;
  Json object = {{"path", qmf::ToUtf8(path)}};
  object["scores"] = std::move(scores);
  object["winner"] = result == qmf::QMF_OK ? Json(qmf::ModuleName(winner)) : Json();
  object["schema"] = kJsonSchema;
  PrintLine(object);
  FlushOutput();
  return result == qmf::QMF_OK;
}

}  // namespace

ExitCode Run(const ProbeOptions& options) {
  bool allWon = true;
  PathSource source(options.list);
  while (const auto path = source.Next()) {
    qmf::PathSplitter pieces(*path);
    std::u16string_view piece = pieces.Next();
    // A path without any piece is asked for as it stands, so that every path has its line.
    do {
      allWon = PrintBids(std::u16string(piece)) && allWon;
      piece = pieces.Next();
    } while (!piece.empty());
  }
  return ExitCodeOf(allWon && source.IsComplete());
}

}  // namespace qmfinfo
