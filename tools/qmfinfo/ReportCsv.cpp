#include <fmt/format.h>

#include "framework/Text.h"
#include "tools/qmfinfo/JsonRecords.h"
#include "tools/qmfinfo/ReportFormats.h"

namespace qmfinfo {
namespace {

std::string Quoted(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char character : text) {
    if (character == '"') quoted += '"';
    quoted += character;
  }
  return quoted + '"';
}

}  // namespace

std::string ReportCsvHeader() {
  std::string row = "path,result,result_name";
  for (std::size_t i = 0; i < qmf::kPropertyCount; ++i) {
    row += ',';
    row += qmf::PropertyName(static_cast<qmf::PropertyId>(i));
  }
  return row + '\n';
}

std::string ReportCsv(const FileReport& report) {
  const qmf::ResultCodeRow* const row = qmf::FindResultCode(report.result);
  std::string line =
      fmt::format("{},{},{}", Quoted(qmf::ToUtf8(report.path)), static_cast<std::uint32_t>(report.result),
                  row != nullptr ? qmf::ToUtf8(row->name) : "");
  for (const auto& value : report.properties) line += value ? fmt::format(",{}", *value) : ",";
  return line + '\n';
}

}  // namespace qmfinfo
