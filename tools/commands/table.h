// The commands and their options, declared once: the command line is read by this table, and help and
// completions are written from it.
#ifndef TESSARY_TOOLS_COMMANDS_TABLE_H
#define TESSARY_TOOLS_COMMANDS_TABLE_H

#include <string>
#include <vector>

#include "tools/commands/options.h"

namespace tool {

struct Option {
  const char* names;     // "-o,--output"; without a dash: a word that stands alone
  const char* argument;  // in help: "FILE"; null: a flag
  const char* description;

  // Takes an argument, one after the other where there are several. What is wrong with it, after the
  // argument: "is no number"; empty when nothing is.
  std::string (*take)(Options& options, const std::string& argument);

  std::vector<std::string> (*choices)() = nullptr;  // for completion; null: any text
  bool isFile = false;                              // for completion
  bool isList = false;                              // of arguments, separated by commas
  bool isRequired = false;
  bool isMany = false;  // arguments one behind the other

  bool isFlag() const { return argument == nullptr; }
  bool isOperand() const { return names[0] != '-'; }
  std::vector<std::string> allNames() const;  // "-o", "--output"
};

struct Command {
  const char* name;
  const char* summary;
  const char* example;
  std::vector<Option> options;
  int (*run)(const Options& options, Streams& streams);
  bool isHidden = false;
};

const std::vector<Command>& commands();

// Null when there is none of this name.
const Command* findCommand(const std::string& name);

// The names of the commands that are not hidden.
std::vector<std::string> commandNames();

}  // namespace tool

#endif
