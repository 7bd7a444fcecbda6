#include <fmt/format.h>

#include "framework/Text.h"
#include "tools/qmfinfo/Explanation.h"
#include "tools/qmfinfo/JsonRecords.h"
#include "tools/qmfinfo/Options.h"
#include "tools/qmfinfo/ReportFormats.h"
#include "tools/qmfinfo/Terminal.h"
#include "tools/qmfinfo/Wrap.h"

namespace qmfinfo {
namespace {

Json PropertyJson(const ExplainedProperty& explained) {
  Json object = {{"name", qmf::PropertyName(explained.property)}};
  object["value"] = explained.value ? Json(*explained.value) : Json();
  object["exact"] = explained.exact.empty() ? Json() : Json(explained.exact);
  object["why"] = explained.why;
  object["call"] = explained.call;
  SetResult(object, explained.result);
  return object;
}

Json ExplanationJson(const Explanation& explanation) {
  Json object = {{"path", qmf::ToUtf8(explanation.path)}};
  SetResult(object, explanation.result);
  object["properties"] = Json::array();
  for (const ExplainedProperty& explained : explanation.properties) {
    object["properties"].push_back(PropertyJson(explained));
  }
  object["schema"] = kJsonSchema;
  return object;
}

void PrintProperty(const ExplainedProperty& explained, std::size_t width) {
  std::string text = explained.exact.empty() ? explained.why : explained.exact + ", " + explained.why;
  if (explained.result != qmf::QMF_OK)
    text += fmt::format(": {}: {}", explained.call, ResultText(explained.result));
  const std::string value = explained.value ? std::to_string(*explained.value) : "(none)";
  Print(fmt::format("{:<26}{:<12}{}\n", qmf::PropertyName(explained.property), value,
                    Wrapped(text, 38, width)));
}

}  // namespace

ExitCode Run(const ExplainOptions& options) {
  const Explanation explanation = Explain(options.path);
  if (options.json) {
    PrintLine(ExplanationJson(explanation));
  } else if (explanation.result == qmf::QMF_OK) {
    for (const ExplainedProperty& explained : explanation.properties) PrintProperty(explained, OutputWidth());
  } else {
    PrintError(FailureText(explanation.path, explanation.result));
  }
  return ExitCodeOf(explanation.result == qmf::QMF_OK);
}

}  // namespace qmfinfo
