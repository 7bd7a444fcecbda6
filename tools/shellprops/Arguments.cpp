#include "tools/shellprops/Arguments.h"

#include <utf8.h>

#include <CLI/CLI.hpp>
#include <iterator>
#include <string_view>

#include "framework/Version.h"

namespace qmf {
namespace {

constexpr int kWrongUsage = 2;

bool IsPair(std::u16string_view text, std::size_t at) {
  return text[at] >= 0xD800 && text[at] <= 0xDBFF && at + 1 < text.size() && text[at + 1] >= 0xDC00 &&
         text[at + 1] <= 0xDFFF;
}

// The command line as bytes for the parser and back, without loss: a surrogate without partner, which file
// names may contain, is encoded like any other character.
std::string Pack(std::u16string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t character = text[i];
    if (IsPair(text, i)) character = 0x10000 + ((character - 0xD800) << 10) + (text[++i] - 0xDC00U);
    utf8::unchecked::append(character, std::back_inserter(bytes));
  }
  return bytes;
}

std::u16string Unpack(const std::string& bytes) {
  std::u16string text;
  for (auto at = bytes.begin(); at != bytes.end();) {
    const std::uint32_t character = utf8::unchecked::next(at);
    if (character >= 0x10000) text.push_back(static_cast<char16_t>(0xD7C0 + (character >> 10)));
    text.push_back(static_cast<char16_t>(character >= 0x10000 ? 0xDC00 + (character & 0x3FF) : character));
  }
  return text;
}

// The parser wants them last one first.
std::vector<std::string> PackReversed(int count, wchar_t** texts) {
  std::vector<std::string> packed;
  for (int i = count - 1; i > 0; --i) packed.push_back(Pack(reinterpret_cast<const char16_t*>(texts[i])));
  return packed;
}

void AddCommands(CLI::App& app, Arguments& arguments) {
  CLI::App* const doctor =
      app.add_subcommand("doctor", "Whether the Shell shows our properties, and if not, why");
  doctor->add_flag("--json", arguments.json, "One object");
  doctor->callback([&] { arguments.command = Arguments::kDoctor; });
  app.add_subcommand("refresh", "Tell a running Shell that handlers have changed")->callback([&] {
    arguments.command = Arguments::kRefresh;
  });
}

}  // namespace

bool ReadArguments(int count, wchar_t** texts, Arguments& arguments, int& exitCode) {
  std::string library;
  std::vector<std::string> files;
  CLI::App app(
      "Shows what the Shell gets to see of media files: the properties as the registered property handler "
      "gives them, as one JSON object a file.",
      "shellprops");
  // A slash begins a path, never an option.
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", std::string("shellprops ") + VersionText());
  app.add_flag("--json", arguments.json, "One object a line");
  app.add_option("--dll", library, "Create the handler by this library, registered or not")
      ->type_name("PATH");
  app.add_option("file", files, "Media files")->type_name("FILE");
  AddCommands(app, arguments);
  app.callback([&] {
    if (files.empty() && app.get_subcommands().empty()) throw CLI::RequiredError("FILE");
  });
  try {
    app.parse(PackReversed(count, texts));
  } catch (const CLI::ParseError& error) {
    exitCode = app.exit(error) == 0 ? 0 : kWrongUsage;
    return false;
  }
  arguments.library = Unpack(library);
  for (const std::string& file : files) arguments.files.push_back(Unpack(file));
  return true;
}

}  // namespace qmf
