// Where the library's figures come from, and what stands between it and them. Each section keeps the list of
// its sources; the doctor goes through all of them, and a report asks here why a figure is absent.
#ifndef TESSARY_TOOLS_SOURCE_H
#define TESSARY_TOOLS_SOURCE_H

#include <string>
#include <string_view>
#include <vector>

#include "tools/sample.h"

namespace tool {

enum class State { kRead, kAbsent, kDenied, kMalformed };

struct Finding {
  State state = State::kRead;
  std::string error;  // the system's words; empty when it was read
};

inline constexpr char kEmptyNode[] = "empty";

using Check = Finding (*)(const std::string& target);

struct Source {
  const char* target;  // a path, in which a number stands for # and a name for *; or a command or a library
  Check check;
  const char* whenAbsent;  // what to do about it
};

Finding checkFolder(const std::string& path);   // it can be listed
Finding checkText(const std::string& path);     // it holds something
Finding checkNumber(const std::string& path);   // it begins with a number
Finding checkDevice(const std::string& path);   // it can be opened for reading and writing
Finding checkCommand(const std::string& line);  // it prints a word
Finding checkLibrary(const std::string& name);  // it can be loaded

Finding checkHolds(const std::string& path, std::string_view text);

// The text is in what can be read of the node at once.
template <const char* kText>
Finding checkHolding(const std::string& path) {
  return checkHolds(path, kText);
}

// The nodes that are there; the target itself when none is.
std::vector<std::string> expand(const std::string& target);

// The target with `name` for its # or *.
std::string expanded(const char* target, const std::string& name);

// The processes that /proc lists, in ascending order.
std::vector<int> processIds();

// The number that the node holds, or why there is none: for nodes that the library leaves out because it
// stops at another one.
Value numberOf(const Source& source, const std::string& node);

// Why nothing came from a source: what the check of the node finds; `otherwise` when that finds nothing. The
// reason names the target as it stands, so that nodes that fail alike have one reason.
Absent absentBecause(const Source& source, const std::string& node, const char* otherwise);

}  // namespace tool

#endif
