#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

namespace qmfinfo {

/// JSON whose keys stay in the order in which they were set.
using Json = nlohmann::ordered_json;

/// Version of the JSON that the program prints, described in docs/qmfinfo.schema.json. Fields may be added
/// under one number.
inline constexpr int kJsonSchema = 1;

/// Makes standard output take bytes as they are, whatever the platform does to line ends.
void PrepareOutput();

/// Writes to standard output. Failures are remembered for FinishOutput.
void Print(std::string_view text);

/// Writes `value` on a line of its own.
void PrintLine(const Json& value);

/// Hands everything printed so far to the operating system.
void FlushOutput();

/// Flushes; false, with a message on standard error, when not all of the output could be written.
bool FinishOutput();

/// Writes "qmfinfo: MESSAGE" and the end of the line to standard error.
void PrintError(std::string_view message);

}  // namespace qmfinfo
