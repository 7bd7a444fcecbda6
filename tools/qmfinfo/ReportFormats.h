#pragma once

#include <string>

#include "tools/qmfinfo/FileReport.h"
#include "tools/qmfinfo/Output.h"

namespace qmfinfo {

/// The report as one JSON object.
Json ReportJson(const FileReport& report);

/// The report as one row of comma-separated values (RFC 4180, but for the plain line feed), and the row of
/// their names.
std::string ReportCsv(const FileReport& report);
std::string ReportCsvHeader();

/// How text for people is set.
struct TextStyle {
  bool colour = false;
  std::size_t width = 0;  ///< Columns of the terminal; 0: lines are as long as they are.
};

/// The report for people: the file's name and a line for each thing known of it. Of a file that failed,
/// nothing.
std::string ReportText(const FileReport& report, const TextStyle& style);

/// The message and name of a result, or its number when it has neither.
std::string ResultText(qmf::QMFResult result);

/// What failed, with the result's name and message, and what to do about it; one line without its end.
std::string FailureText(const std::u16string& path, qmf::QMFResult result);

}  // namespace qmfinfo
