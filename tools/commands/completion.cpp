// Completions of the shells, written from the table of commands.

#include "tools/commands/options.h"
#include "tools/commands/table.h"
#include "tools/commands/words.h"

namespace tool {

namespace {

std::vector<std::string> optionWords(const Command& command) {
  std::vector<std::string> words{"--help"};
  for (const Option& option : command.options) {
    for (std::string& name : option.allNames()) {
      if (name[0] == '-') words.push_back(std::move(name));
    }
    if (!option.isOperand() || option.choices == nullptr) continue;
    for (std::string& choice : option.choices()) words.push_back(std::move(choice));
  }
  return words;
}

constexpr char kBashBegin[] = R"(# bash completion for tessary
_tessary_list() {
  local last=${2##*,}
  COMPREPLY=($(compgen -P "${2%"$last"}" -W "$1" -- "$last"))
}
_tessary() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
)";

// What follows an option, by "command option".
std::string bashArguments(const Command& command, const Option& option) {
  std::vector<std::string> patterns;
  for (const std::string& name : option.allNames()) {
    patterns.push_back("'" + std::string{command.name} + " " + name + "'");
  }
  std::string action;
  if (option.choices != nullptr) {
    const std::string words = "'" + joined(option.choices(), " ") + "'";
    action = option.isList ? "_tessary_list " + words + " \"$word\""
                           : "COMPREPLY=($(compgen -W " + words + " -- \"$word\"))";
  } else if (option.isFile) {
    action = "COMPREPLY=($(compgen -f -- \"$word\"))";
  }
  return "    " + joined(patterns, " | ") + ") " + action + (action.empty() ? "" : "; ") + "return ;;\n";
}

std::string bash() {
  std::string text = kBashBegin;
  text += "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n    COMPREPLY=($(compgen -W '" +
          joined(commandNames(), " ") +
          " --help --version' -- \"$word\"))\n    return\n  fi\n  case \"${COMP_WORDS[1]} $before\" in\n";
  for (const Command& command : commands()) {
    for (const Option& option : command.options) {
      if (!option.isOperand() && !option.isFlag()) text += bashArguments(command, option);
    }
  }
  text += "  esac\n  case ${COMP_WORDS[1]} in\n";
  for (const Command& command : commands()) {
    text += std::string{"    "} + command.name + ") COMPREPLY=($(compgen -W '" +
            joined(optionWords(command), " ") + "' -- \"$word\")) ;;\n";
  }
  return text + "  esac\n}\ncomplete -F _tessary tessary\n";
}

// Within single quotes and the brackets of what zsh is told.
std::string quotedForZsh(std::string_view text) {
  std::string quoted;
  for (const char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
      continue;
    }
    if (c == '[' || c == ']' || c == ':' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted;
}

std::string zshAction(const Option& option) {
  if (option.choices == nullptr) return option.isFile ? "_files" : " ";
  const std::string words = joined(option.choices(), " ");
  return option.isList ? "_values -s , name " + words : "(" + words + ")";
}

std::string zshOption(const Option& option) {
  const std::string tail =
      option.isFlag() ? "" : std::string{":"} + quotedForZsh(option.argument) + ":" + zshAction(option);
  if (option.isOperand()) return " \\\n      '1" + tail + "'";
  std::string text;
  for (const std::string& name : option.allNames()) {
    text.append(" \\\n      '").append(name).append("[").append(quotedForZsh(option.description)).append("]");
    text.append(tail).append("'");
  }
  return text;
}

std::string zsh() {
  std::string text = "#compdef tessary\n_tessary() {\n  local -a commands=(\n";
  for (const Command& command : commands()) {
    if (command.isHidden) continue;
    text += std::string{"    '"} + command.name + ":" + quotedForZsh(command.summary) + "'\n";
  }
  text +=
      "  )\n  if (( CURRENT == 2 )); then\n    _describe command commands\n    return\n  fi\n"
      "  shift words\n  (( CURRENT-- ))\n  case $words[1] in\n";
  for (const Command& command : commands()) {
    text += std::string{"    "} + command.name + ") _arguments '--help[what it takes]'";
    for (const Option& option : command.options) text += zshOption(option);
    text += " ;;\n";
  }
  // Sourced, or run as the completion function itself when it lies in zsh's folders.
  return text +
         "  esac\n}\nif [[ $funcstack[1] == _tessary ]]; then _tessary; else compdef _tessary tessary; fi\n";
}

}  // namespace

int completion(const Options& options, Streams& streams) {
  streams.out.write(options.operand == "zsh" ? zsh() : bash());
  return kOk;
}

}  // namespace tool
