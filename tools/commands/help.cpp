#include "tools/commands/help.h"

#include <algorithm>

#include "tools/commands/words.h"

namespace tool {

namespace {

struct ListedWord {
  std::string what;
  std::string meaning;
};

// Two columns.
std::string listed(const std::vector<ListedWord>& lines) {
  std::size_t width = 0;
  for (const ListedWord& line : lines) width = std::max(width, line.what.size());
  std::string text;
  for (const ListedWord& line : lines) {
    text += "  " + line.what + std::string(width - line.what.size() + 2, ' ') + line.meaning + "\n";
  }
  return text;
}

std::string operands(const Command& command) {
  std::string text;
  for (const Option& option : command.options) {
    if (option.isOperand())
      text += option.isRequired ? std::string{" "} + option.names : std::string{" ["} + option.names + "]";
    if (!option.isOperand() && option.isRequired)
      text += " " + option.allNames().front() + " " + option.argument;
  }
  return text;
}

}  // namespace

std::string helpText() {
  std::string text =
      "Examples:\n" +
      listed({{"tessary report", "everything at a glance, over a second"},
              {"tessary report --monitors cpu,process --top 5", "what keeps the cores busy"},
              {"tessary report --json --interval 200", "the same for programs"},
              {"tessary record -o drive.jsonl --duration 600", "ten minutes, sample after sample"},
              {"tessary doctor --monitors gpu,dsp,ddr", "why a figure is missing"}}) +
      "\nUsage: tessary COMMAND [OPTION ..]\n\n"
      "What the board is doing: its cores, processes, memory, temperatures, disks, networks, GPU, DSPs\n"
      "and memory bus, read through libtessary.\n\nCommands:\n";
  std::vector<ListedWord> lines;
  for (const Command& command : commands()) {
    if (!command.isHidden) lines.push_back({command.name, command.summary});
  }
  return text + listed(lines) + "\nOptions:\n" +
         listed({{"-h, --help", "This, or behind a command what that takes"},
                 {"--version", "The library's version"}}) +
         "\nExit codes: 0 done, 1 nothing could be read or a failure, 2 wrong usage.\n";
}

std::string helpText(const Command& command) {
  std::vector<ListedWord> lines;
  for (const Option& option : command.options) {
    const std::string argument =
        option.isFlag() || option.isOperand() ? "" : std::string{" "} + option.argument;
    const std::string choices =
        option.isList && option.choices != nullptr ? ": " + joined(option.choices(), ", ") : "";
    lines.push_back({joined(option.allNames(), ", ") + argument, option.description + choices});
  }
  lines.push_back({"-h, --help", "This"});
  return std::string{"Example:\n  "} + command.example + "\n\nUsage: tessary " + command.name +
         operands(command) + " [OPTION ..]\n\n" + command.summary + "\n\nOptions:\n" + listed(lines);
}

int help(const Options& options, Streams& streams) {
  streams.out.write(options.operand.empty() ? helpText() : helpText(*findCommand(options.operand)));
  return kOk;
}

}  // namespace tool
