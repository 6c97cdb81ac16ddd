// What the commands that read a recording have in common.
#ifndef TESSARY_TOOLS_COMMANDS_RECORDINGS_H
#define TESSARY_TOOLS_COMMANDS_RECORDINGS_H

#include <memory>
#include <string>

#include "tools/output.h"
#include "tools/recording/recording.h"

namespace tool {

// A file, or standard input for "-". What is wrong with it, but can be read all the same, is told on standard
// error.
std::unique_ptr<Recording> openForReading(const std::string& path, Streams& streams,
                                          Ending ending = kAtItsEnd);

}  // namespace tool

#endif
