// What --help shows, written from the table of commands.
#ifndef TESSARY_TOOLS_COMMANDS_HELP_H
#define TESSARY_TOOLS_COMMANDS_HELP_H

#include <string>

#include "tools/commands/table.h"

namespace tool {

std::string helpText();
std::string helpText(const Command& command);

}  // namespace tool

#endif
