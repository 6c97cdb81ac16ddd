// tessary: the library's monitors on the command line.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <stdexcept>

#include "tools/commands/help.h"
#include "tools/commands/table.h"
#include "tools/commands/words.h"
#include "tools/sections/library.h"

namespace {

using tool::Command;
using tool::Option;
using tool::Options;
using tool::Streams;

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void takeAll(const Option& option, const std::vector<std::string>& arguments, Options& options) {
  for (const std::string& argument : arguments) {
    const std::vector<std::string> parts =
        option.isList ? tool::split(argument, ',') : std::vector<std::string>{argument};
    for (const std::string& part : parts) {
      const std::string wrong = option.take(options, part);
      if (wrong.empty()) continue;
      std::string message = option.isOperand() ? "" : option.allNames().back() + ": ";
      message.append("'").append(part).append("' ").append(wrong);
      throw UsageError{message};
    }
  }
}

void declare(CLI::App& app, const Option& option, Options& options) {
  if (option.isFlag()) {
    app.add_flag_callback(option.names, [&] { option.take(options, {}); });
    return;
  }
  CLI::Option& declared = *app.add_option(option.names, [&](const CLI::results_t& arguments) {
    takeAll(option, arguments, options);
    return true;
  });
  declared.type_name(option.argument)->required(option.isRequired);
  declared.multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->allow_extra_args(option.isMany);
  if (option.isMany) declared.expected(1, CLI::detail::expected_max_vector_size);
}

// The words that nothing takes, in their order.
std::string unexpected(const Command& command, const std::vector<std::string>& words) {
  std::vector<std::string> known;
  for (const Option& option : command.options) {
    for (std::string& name : option.allNames()) known.push_back(std::move(name));
  }
  return std::string{command.name} + " does not take '" + tool::joined(words, "' '") + "'" +
         tool::suggestion(words.front(), known);
}

// Whether the command is to run; else its help was asked for.
bool parse(const Command& command, const std::vector<std::string>& words, Options& options) {
  CLI::App app;
  app.allow_extras();
  for (const Option& option : command.options) declare(app, option, options);
  try {
    app.parse(std::vector<std::string>{words.rbegin(), words.rend()});  // CLI11 takes them from the back
  } catch (const CLI::CallForHelp&) {
    return false;
  } catch (const CLI::ParseError& error) {
    throw UsageError{error.what()};
  }
  if (!app.remaining().empty()) throw UsageError{unexpected(command, app.remaining())};
  return true;
}

int run(const std::vector<std::string>& words, Streams& streams) {
  if (words.empty()) throw UsageError{"a command is missing"};
  const std::string& first = words.front();
  if (first == "--help" || first == "-h") {
    streams.out.write(tool::helpText());
    return tool::kOk;
  }
  if (first == "--version") {
    streams.out.write("tessary " + tool::libraryVersion() + "\n");
    return tool::kOk;
  }
  const Command* const command = tool::findCommand(first);
  if (command == nullptr) {
    throw UsageError{"'" + first + "' is no command" + tool::suggestion(first, tool::commandNames())};
  }
  Options options;
  if (!parse(*command, {words.begin() + 1, words.end()}, options)) {
    streams.out.write(tool::helpText(*command));
    return tool::kOk;
  }
  return command->run(options, streams);
}

int runTold(const std::vector<std::string>& words, Streams& streams) {
  try {
    return run(words, streams);
  } catch (const UsageError& error) {
    const bool known = !words.empty() && tool::findCommand(words.front()) != nullptr;
    streams.error.write(std::string{"tessary: "} + error.what() + "\nWhat is possible: tessary " +
                        (known ? words.front() + " " : "") + "--help\n");
    return tool::kUsage;
  }
}

}  // namespace

int main(int argc, char** argv) {
  // A write that nobody reads, or that a file has no room for, is an error of the write alone.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  Streams streams;
  try {
    return runTold({argv + std::min(argc, 1), argv + argc}, streams);
  } catch (const tool::ClosedPipe&) {
    return tool::kOk;
  } catch (const std::exception& exception) {
    try {
      streams.error.write(std::string{"tessary: "} + exception.what() + "\n");
    } catch (...) {  // nobody is left to be told
    }
    return tool::kNothingRead;
  }
}
