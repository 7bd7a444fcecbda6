#include "tools/qmfinfo/Completion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

namespace qmfinfo {
namespace {

using Parsers = std::vector<const CLI::App*>;

Parsers Commands(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App*) { return true; });
}

std::string CommandNames(const CLI::App& program) {
  std::vector<std::string> names;
  for (const CLI::App* command : Commands(program)) names.push_back(command->get_name());
  return fmt::format("{}", fmt::join(names, " "));
}

std::string OptionWords(const CLI::App& parser) {
  std::vector<std::string> words;
  for (const CLI::Option* option : parser.get_options()) {
    for (const std::string& name : option->get_snames()) words.push_back("-" + name);
    for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
  }
  return fmt::format("{}", fmt::join(words, " "));
}

// Words that a command takes besides options and files, as the shells find them out.
std::string OtherWords(const std::string& command) {
  if (command == "tables") return " results qids modules elements codecs fourccs";
  if (command == "query") return " $(qmfinfo tables qids | cut -f1)";
  if (command == "completion") return " bash zsh fish";
  return {};
}

std::string BashScript(const CLI::App& program) {
  std::string script = fmt::format(R"(_qmfinfo() {{
  local command= words word
  for word in "${{COMP_WORDS[@]}}"; do
    case " {0} " in *" $word "*) command=$word; break ;; esac
  done
  case $command in
)",
                                   CommandNames(program));
  for (const CLI::App* command : Commands(program)) {
    script += fmt::format("    {}) words=\"{} {}{}\" ;;\n", command->get_name(), OptionWords(program),
                          OptionWords(*command), OtherWords(command->get_name()));
  }
  return script + fmt::format(R"(    *) words="{} {}" ;;
  esac
  COMPREPLY=($(compgen -W "$words" -- "${{COMP_WORDS[COMP_CWORD]}}"))
}}
complete -o default -F _qmfinfo qmfinfo
)",
                              OptionWords(program), CommandNames(program));
}

std::string FishQuoted(std::string text) {
  for (std::size_t at = 0; (at = text.find('\'', at)) != std::string::npos; at += 2) text.insert(at, "\\");
  return "'" + text + "'";
}

std::string FishOptions(const CLI::App& parser, const std::string& condition) {
  std::string script;
  for (const CLI::Option* option : parser.get_options()) {
    if (option->get_positional()) continue;
    script += "complete -c qmfinfo" + condition;
    for (const std::string& name : option->get_snames()) script += " -s " + name;
    for (const std::string& name : option->get_lnames()) script += " -l " + name;
    script += " -d " + FishQuoted(option->get_description()) + "\n";
  }
  return script;
}

std::string FishScript(const CLI::App& program) {
  std::string script = FishOptions(program, "");
  for (const CLI::App* command : Commands(program)) {
    const std::string& name = command->get_name();
    script += fmt::format("complete -c qmfinfo -n __fish_use_subcommand -a {} -d {}\n", name,
                          FishQuoted(command->get_description()));
    const std::string condition = fmt::format(" -n '__fish_seen_subcommand_from {}'", name);
    script += FishOptions(*command, condition);
    std::string others = OtherWords(name);
    if (const auto at = others.find('$'); at != std::string::npos) others.erase(at, 1);
    if (!others.empty())
      script += fmt::format("complete -c qmfinfo{} -a '{}'\n", condition, others.substr(1));
  }
  return script;
}

}  // namespace

std::string CompletionScript(const CLI::App& program, const std::string& shell) {
  if (shell == "fish") return FishScript(program);
  const std::string bash = BashScript(program);
  if (shell == "bash") return bash;
  // Found by name, the script is itself the function that is asked for the first words.
  return "#compdef qmfinfo\nautoload -Uz bashcompinit && bashcompinit\n" + bash +
         "[[ ${funcstack[1]-} != _qmfinfo ]] || _bash_complete -o default -F _qmfinfo\n";
}

}  // namespace qmfinfo
