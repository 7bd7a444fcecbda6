#include <fmt/format.h>

#include <cmath>

#include "framework/Text.h"
#include "tools/qmfinfo/Explanation.h"
#include "tools/qmfinfo/JsonRecords.h"
#include "tools/qmfinfo/Options.h"
#include "tools/qmfinfo/Peers.h"
#include "tools/qmfinfo/ReportFormats.h"
#include "tools/qmfinfo/Terminal.h"
#include "tools/qmfinfo/Units.h"
#include "tools/qmfinfo/Wrap.h"

namespace qmfinfo {
namespace {

// Ours beside one of theirs.
enum class Verdict { Same, Rule, Different };

const char* VerdictText(Verdict verdict) {
  switch (verdict) {
    case Verdict::Same:
      return "same";
    case Verdict::Rule:
      return "rule";
    case Verdict::Different:
      break;
  }
  return "different";
}

// What the Shell would show of an exact value.
std::uint64_t AsShown(qmf::PropertyId property, double exact) {
  if (property == qmf::kMediaDuration) return static_cast<std::uint64_t>(exact);
  const auto whole = static_cast<std::uint64_t>(exact + 0.5);
  if (property != qmf::kVideoFrameRate) return whole & 0xFFFF;
  return static_cast<std::uint64_t>(exact / 1000 + 0.5) * 1000 & 0xFFFF;
}

Verdict Judge(const ExplainedProperty& ours, double theirs) {
  if (!ours.value) return Verdict::Different;
  // Others print times in milliseconds and rates with three decimals.
  const double slack = ours.property == qmf::kMediaDuration ? 10000 : 0.5;
  if (std::abs(static_cast<double>(*ours.value) - theirs) < slack) return Verdict::Same;
  if (ours.property == qmf::kMediaDuration) return Verdict::Different;
  return AsShown(ours.property, theirs) == *ours.value ? Verdict::Rule : Verdict::Different;
}

std::optional<double> ValueOf(const PeerValues& peer, qmf::PropertyId property) {
  const std::optional<double> value = peer.values[property];
  const bool reasonable = value && *value >= 0 && *value < 9e18;
  return reasonable ? value : std::nullopt;
}

Json ComparisonJson(const ExplainedProperty& ours, const std::vector<PeerValues>& peers) {
  Json object = {{"name", qmf::PropertyName(ours.property)}};
  object["value"] = ours.value ? Json(*ours.value) : Json();
  object["why"] = ours.why;
  object["peers"] = Json::object();
  for (const PeerValues& peer : peers) {
    const auto theirs = ValueOf(peer, ours.property);
    if (theirs)
      object["peers"][peer.program] = {{"value", *theirs}, {"verdict", VerdictText(Judge(ours, *theirs))}};
  }
  return object;
}

void PrintComparison(const ExplainedProperty& ours, const std::vector<PeerValues>& peers) {
  std::string line = fmt::format("  {:<26}{:<14}", qmf::PropertyName(ours.property),
                                 ours.value ? std::to_string(*ours.value) : "(none)");
  Verdict worst = Verdict::Same;
  for (const PeerValues& peer : peers) {
    const auto theirs = ValueOf(peer, ours.property);
    const Verdict verdict = theirs ? Judge(ours, *theirs) : Verdict::Same;
    const char* const mark = verdict == Verdict::Different ? "!" : verdict == Verdict::Rule ? "~" : "";
    line += fmt::format("{:<14}", theirs ? fmt::format("{}{:.10g}", mark, *theirs) : "-");
    worst = std::max(worst, verdict);
  }
  const std::size_t column = 2 + 26 + 14 * (1 + peers.size());
  Print(line + (worst == Verdict::Same ? "" : Wrapped(ours.why, column, OutputWidth())) + "\n");
}

void PrintText(const Explanation& ours, const std::vector<PeerValues>& peers) {
  std::string header = fmt::format("{}\n  {:26}{:<14}", PathText(ours.path), "", "qmfinfo");
  for (const PeerValues& peer : peers) header += fmt::format("{:<14}", peer.program);
  Print(header + "\n");
  for (const ExplainedProperty& property : ours.properties) PrintComparison(property, peers);
  FlushOutput();
  if (ours.result != qmf::QMF_OK) PrintError(FailureText(ours.path, ours.result));
}

void PrintJson(const Explanation& ours, const std::vector<PeerValues>& peers) {
  Json object = {{"path", qmf::ToUtf8(ours.path)}};
  SetResult(object, ours.result);
  object["properties"] = Json::array();
  for (const ExplainedProperty& property : ours.properties) {
    object["properties"].push_back(ComparisonJson(property, peers));
  }
  object["schema"] = kJsonSchema;
  PrintLine(object);
  FlushOutput();
}

}  // namespace

ExitCode Run(const CompareOptions& options) {
  bool allAnswered = true;
  PathSource source(options.list);
  while (const auto path = source.Next()) {
    const Explanation ours = Explain(*path);
    const std::vector<PeerValues> peers = AskPeers(*path);
    options.json ? PrintJson(ours, peers) : PrintText(ours, peers);
    allAnswered = allAnswered && ours.result == qmf::QMF_OK;
  }
  return ExitCodeOf(allAnswered && source.IsComplete());
}

}  // namespace qmfinfo
