#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tools/qmfinfo/MediaFile.h"
#include "tools/qmfinfo/PathSource.h"

namespace qmfinfo {

/// Exit codes of the program.
enum ExitCode : int {
  kAllAnswered = 0,
  kSomeFailed = 1,  ///< At least one file or query gave a result other than 0.
  kWrongUsage = 2,
};

constexpr ExitCode ExitCodeOf(bool allAnswered) {
  return allAnswered ? kAllAnswered : kSomeFailed;
}

enum class ShowFormat { Text, JsonArray, JsonLines, Csv };

struct ShowOptions {
  PathList list;
  ShowFormat format = ShowFormat::Text;
  std::uint32_t title = 0;
  unsigned jobs = 0;  ///< 0: one a processor.
};

struct QueryOptions {
  std::u16string path;
  std::uint32_t qid = 0;
  std::uint32_t index = 0;
  std::optional<std::uint32_t> title = 0;  ///< Nothing: ask before any title is selected.
  std::optional<std::uint32_t> size;       ///< Bytes of the caller's buffer.
  std::optional<std::uint64_t> value;
  std::vector<Setting> settings;
  std::vector<StreamName> activate;
};

struct BlocksOptions {
  std::u16string path;
  std::uint32_t title = 0;
  std::vector<Setting> settings;
  std::vector<StreamName> streams;   ///< Empty: all.
  std::optional<std::int64_t> from;  ///< 100-ns units.
  std::optional<std::uint64_t> limit;
  bool byStream = false;
};

struct ProbeOptions {
  PathList list;
};

struct ExplainOptions {
  std::u16string path;
  bool json = false;
};

struct CompareOptions {
  PathList list;
  bool json = false;
};

struct TablesOptions {
  std::string table;
  bool json = false;
};

using Options = std::variant<ShowOptions, QueryOptions, BlocksOptions, ProbeOptions, ExplainOptions,
                             CompareOptions, TablesOptions>;

/// Reads the command line (without the program's name). Where the program is not to go on, it has printed
/// help to standard output or what is wrong to standard error, and gives the exit code instead.
std::variant<Options, ExitCode> ParseOptions(const std::vector<std::string>& arguments);

/// The names that TablesOptions may hold.
std::vector<std::string> TableNames();

ExitCode Run(const ShowOptions& options);
ExitCode Run(const QueryOptions& options);
ExitCode Run(const BlocksOptions& options);
ExitCode Run(const ProbeOptions& options);
ExitCode Run(const ExplainOptions& options);
ExitCode Run(const CompareOptions& options);
ExitCode Run(const TablesOptions& options);

}  // namespace qmfinfo
