#include "tools/qmfinfo/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <new>

#include "framework/LogWriter.h"
#include "framework/QueryIds.h"
#include "framework/Text.h"
#include "framework/Version.h"
#include "tools/qmfinfo/Arguments.h"
#include "tools/qmfinfo/Completion.h"
#include "tools/qmfinfo/Output.h"

namespace qmfinfo {
namespace {

std::optional<std::uint32_t> ParseQueryId(const std::string& word) {
  if (!word.starts_with("0x") && !word.starts_with("0X")) return qmf::FindQueryId(qmf::ToUtf16(word));
  std::uint32_t number = 0;
  const char* const end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data() + 2, end, number, 16);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

// CLI11 would take the sign and wrap the number around.
std::string RefuseSign(const std::string& word) {
  return word.starts_with('-') ? "'" + word + "' is negative" : std::string();
}

void AddPathList(CLI::App& parser, PathList& list) {
  const auto addPaths = [&list](const std::vector<std::string>& words) {
    std::ranges::transform(words, std::back_inserter(list.paths), PathFromArgument);
  };
  const auto setFilesFrom = [&list](const std::string& word) { list.filesFrom = PathFromArgument(word); };
  parser
      .add_option_function<std::vector<std::string>>("PATH", addPaths,
                                                     "Files; those joined by ';' open as one; '-': a list")
      ->type_name("");
  parser
      .add_option_function<std::string>("--files-from", setFilesFrom,
                                        "Read paths from LIST, one a line; '-': standard input")
      ->type_name("LIST");
  parser.add_flag("-0,--null", list.zeroSeparated, "Paths in lists end with NUL, not with the line");
  parser.add_flag("-r,--recursive", list.recursive, "Folders stand for the media files in them");
  parser.final_callback([&list] {
    if (list.paths.empty() && !list.filesFrom) throw CLI::RequiredError("PATH or --files-from");
  });
}

void AddPath(CLI::App& parser, std::u16string& path) {
  const auto convert = [&path](const std::string& word) { path = PathFromArgument(word); };
  parser.add_option_function<std::string>("PATH", convert, "A file, or several joined by ';'")
      ->required()
      ->type_name("");
}

void AddTitle(CLI::App& parser, std::uint32_t& title) {
  parser.add_option("--title", title, "Title to select (default 0)")->type_name("N");
}

void AddStreams(CLI::App& parser, const std::string& option, std::vector<StreamName>& streams,
                const std::string& help) {
  const auto convert = [&streams, option](const std::vector<std::string>& words) {
    for (const std::string& word : words) {
      const auto stream = ParseStreamName(word);
      if (!stream) throw CLI::ValidationError(option, "'" + word + "' is not video:N, audio:N or subtitle:N");
      streams.push_back(*stream);
    }
  };
  parser.add_option_function<std::vector<std::string>>(option, convert, help)
      ->allow_extra_args(false)
      ->type_name("KIND:N");
}

std::optional<Setting> ParseSetting(const std::string& word) {
  const std::size_t sign = word.find('=');
  const auto qid = ParseQueryId(word.substr(0, sign));
  if (!qid || sign == std::string::npos) return std::nullopt;
  const std::string number = word.substr(sign + 1);
  std::uint64_t value = 0;
  if (!RefuseSign(number).empty() || !CLI::detail::lexical_cast(number, value)) return std::nullopt;
  return Setting{*qid, value};
}

void AddSettings(CLI::App& parser, std::vector<Setting>& settings) {
  const auto convert = [&settings](const std::vector<std::string>& words) {
    for (const std::string& word : words) {
      const auto setting = ParseSetting(word);
      if (!setting) throw CLI::ValidationError("--set", "'" + word + "' is not QID=NUMBER");
      settings.push_back(*setting);
    }
  };
  parser
      .add_option_function<std::vector<std::string>>(
          "--set", convert, "Hand this number over with SetInfo first (may be repeated)")
      ->allow_extra_args(false)
      ->type_name("QID=N");
}

CLI::App& AddShow(CLI::App& program, ShowOptions& show) {
  CLI::App& parser = *program.add_subcommand("show", "The seven properties and the streams");
  AddPathList(parser, show.list);
  std::vector<CLI::Option*> formats;
  const auto addFormat = [&](const char* option, ShowFormat format, const char* help) {
    CLI::Option* const flag = parser.add_flag_callback(
        option, [&show, format] { show.format = format; }, help);
    for (CLI::Option* const other : formats) flag->excludes(other);
    formats.push_back(flag);
  };
  addFormat("--json", ShowFormat::JsonArray, "One JSON array");
  addFormat("--jsonl", ShowFormat::JsonLines, "One JSON object a line, as each file is done");
  addFormat("--csv", ShowFormat::Csv, "One row a file: the seven properties");
  parser.add_option("-j,--jobs", show.jobs, "Files read at once (default: one a processor)")
      ->check(CLI::Range(1, 1024))
      ->type_name("N");
  AddTitle(parser, show.title);
  parser.footer(R"(Examples:
  qmfinfo film.mkv
  qmfinfo show --csv -r Videos > videos.csv
  find . -name '*.mkv' -print0 | qmfinfo show --jsonl -0 -)");
  return parser;
}

CLI::App& AddQuery(CLI::App& program, QueryOptions& query) {
  CLI::App& parser = *program.add_subcommand("query", "The answer to one query, as JSON");
  AddPath(parser, query.path);
  const auto convert = [&query](const std::string& word) {
    const auto qid = ParseQueryId(word);
    if (!qid) throw CLI::ValidationError("QID", "'" + word + "' is neither a query's name nor a 0x number");
    query.qid = *qid;
  };
  parser.add_option_function<std::string>("QID", convert, "Name or 0x number of the query")
      ->required()
      ->type_name("");
  parser.add_option("--index", query.index, "Stream or item asked for (default 0)")->type_name("N");
  auto* const title =
      parser.add_option("--title", query.title, "Title to select (default 0)")->type_name("N");
  parser
      .add_flag_callback(
          "--no-title", [&query] { query.title.reset(); }, "Ask before any title is selected")
      ->excludes(title);
  parser.add_option("--size", query.size, "Bytes of the buffer for texts and records (default 65536)")
      ->type_name("N");
  parser.add_option("--value", query.value, "Number handed over with the query")
      ->type_name("N")
      ->check(RefuseSign);
  AddSettings(parser, query.settings);
  AddStreams(parser, "--activate", query.activate, "Activate this stream first");
  parser.footer(R"(Examples:
  qmfinfo query film.mkv QMF_QID_TITLE_DURATION
  qmfinfo query film.mkv QMF_QID_AUD_STREAM_FORMAT --index 1
  qmfinfo query film.mkv QMF_QID_TAGS_GET_SIMPLETAG_NAME --set QMF_QID_TAGS_SET_SIMPLETAGID=3
  qmfinfo query film.avi 0x100003 --no-title)");
  return parser;
}

CLI::App& AddBlocks(CLI::App& program, BlocksOptions& blocks) {
  CLI::App& parser = *program.add_subcommand("blocks", "The media blocks, one JSON object a line");
  AddPath(parser, blocks.path);
  AddTitle(parser, blocks.title);
  AddSettings(parser, blocks.settings);
  AddStreams(parser, "--stream", blocks.streams, "Read only this stream (may be repeated)");
  parser.add_option("--from", blocks.from, "Start at this time, in 100-ns units")->type_name("TIME");
  parser.add_option("--limit", blocks.limit, "Stop after this many blocks")
      ->type_name("N")
      ->check(RefuseSign);
  parser.add_flag("--by-stream", blocks.byStream, "Read stream after stream");
  parser.footer(R"(Examples:
  qmfinfo blocks film.mkv --limit 10
  qmfinfo blocks film.mkv --stream audio:0 --from 600000000
  qmfinfo blocks "film.avi;film.srt" --by-stream)");
  return parser;
}

CLI::App& AddProbe(CLI::App& program, ProbeOptions& probe) {
  CLI::App& parser = *program.add_subcommand("probe", "Every module's score for a file, and the winner");
  AddPathList(parser, probe.list);
  parser.footer(R"(Example:
  qmfinfo probe film.mkv no-such-file.avi)");
  return parser;
}

CLI::App& AddExplain(CLI::App& program, ExplainOptions& explain) {
  CLI::App& parser = *program.add_subcommand("explain", "Why each of the seven properties is what it is");
  AddPath(parser, explain.path);
  parser.add_flag("--json", explain.json, "One JSON object");
  parser.footer(R"(Example:
  qmfinfo explain film.mkv)");
  return parser;
}

CLI::App& AddCompare(CLI::App& program, CompareOptions& compare) {
  CLI::App& parser =
      *program.add_subcommand("compare", "The seven properties beside what other programs say");
  AddPathList(parser, compare.list);
  parser.add_flag("--json", compare.json, "One JSON object a line");
  parser.footer(
      R"(Asks ffprobe, mediainfo and mkvmerge, where they are installed. '~' marks values that differ by a rule
of the Shell values, '!' those that differ.

Example:
  qmfinfo compare film.mkv)");
  return parser;
}

CLI::App& AddTables(CLI::App& program, TablesOptions& tables) {
  CLI::App& parser = *program.add_subcommand("tables", "The constant tables");
  parser.add_option("TABLE", tables.table, "Which one")
      ->required()
      ->check(CLI::IsMember(TableNames()))
      ->type_name("");
  parser.add_flag("--json", tables.json, "One JSON array");
  parser.footer(R"(Examples:
  qmfinfo tables results
  qmfinfo tables qids --json)");
  return parser;
}

CLI::App& AddCompletion(CLI::App& program, std::string& shell) {
  CLI::App& parser =
      *program.add_subcommand("completion", "A script that completes qmfinfo's words in a shell");
  parser.add_option("SHELL", shell, "bash, zsh or fish")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}))
      ->type_name("");
  parser.footer(R"(Examples:
  source <(qmfinfo completion bash)
  qmfinfo completion fish > ~/.config/fish/completions/qmfinfo.fish)");
  return parser;
}

// Any command takes it, before or behind the command's own options.
void AddLog(CLI::App& program) {
  qmf::SetLogOff();
  const auto setFolder = [](const std::string& word) {
    const std::u16string folder = PathFromArgument(word);
    std::error_code ignored;
    if (!std::filesystem::is_directory(NativePath(folder), ignored))
      throw CLI::ValidationError("--log", "no such folder: " + word);
    if (qmf::SetLogFolder(folder) != qmf::QMF_OK) throw std::bad_alloc();
  };
  program.fallthrough();
  program.add_option_function<std::string>("--log", setFolder, "Log every call in this folder's L1log.txt")
      ->type_name("DIR");
}

// What CLI11 fills, whichever command it finds.
struct AllOptions {
  ShowOptions show;
  QueryOptions query;
  BlocksOptions blocks;
  ProbeOptions probe;
  ExplainOptions explain;
  CompareOptions compare;
  TablesOptions tables;
};

// "qmfinfo a.mkv" means "qmfinfo show a.mkv".
std::vector<std::string> WithCommand(std::vector<std::string> arguments, const CLI::App& program) {
  static constexpr std::array kOfTheProgram = {"-h", "--help", "--version"};
  auto word = arguments.begin();
  if (arguments.size() > 2 && *word == "--log") word += 2;
  if (word == arguments.end() || std::ranges::find(kOfTheProgram, *word) != kOfTheProgram.end())
    return arguments;
  const auto commands = program.get_subcommands({});
  const bool named =
      std::ranges::any_of(commands, [&](const CLI::App* command) { return command->get_name() == *word; });
  if (!named) arguments.insert(word, "show");
  return arguments;
}

}  // namespace

std::variant<Options, ExitCode> ParseOptions(const std::vector<std::string>& arguments) {
  CLI::App program("What the QMF media framework says of media files", "qmfinfo");
  program.allow_windows_style_options(false);
  program.require_subcommand(1);
  program.set_version_flag("--version", std::string("qmfinfo ") + qmf::VersionText(),
                           "Print version, commit and compiler");
  program.footer("Without a command, 'show' is meant. 'qmfinfo COMMAND --help' tells more, with examples.");
  AddLog(program);
  AllOptions all;
  const CLI::App& show = AddShow(program, all.show);
  const CLI::App& query = AddQuery(program, all.query);
  const CLI::App& blocks = AddBlocks(program, all.blocks);
  const CLI::App& probe = AddProbe(program, all.probe);
  const CLI::App& explain = AddExplain(program, all.explain);
  const CLI::App& compare = AddCompare(program, all.compare);
  AddTables(program, all.tables);
  std::string shell;
  const CLI::App& completion = AddCompletion(program, shell);
  try {
    std::vector<std::string> words = WithCommand(arguments, program);
    std::ranges::reverse(words);  // CLI11 takes them from the back.
    program.parse(std::move(words));
  } catch (const CLI::ParseError& stopped) {
    return program.exit(stopped, std::cout, std::cerr) == 0 ? kAllAnswered : kWrongUsage;
  }
  if (completion.parsed()) {
    Print(CompletionScript(program, shell));
    return kAllAnswered;
  }
  if (show.parsed()) return all.show;
  if (query.parsed()) return all.query;
  if (blocks.parsed()) return all.blocks;
  if (probe.parsed()) return all.probe;
  if (explain.parsed()) return all.explain;
  if (compare.parsed()) return all.compare;
  return all.tables;
}

}  // namespace qmfinfo
