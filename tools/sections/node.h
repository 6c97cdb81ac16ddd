// The nodes, commands and libraries that the figures come from, and what stands between them and us. Each
// section keeps the list of its own: the doctor goes through all of them, and a report asks here why a figure
// is absent.
#ifndef TESSARY_TOOLS_SECTIONS_NODE_H
#define TESSARY_TOOLS_SECTIONS_NODE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

enum class State { kRead, kAbsent, kDenied, kMalformed };

struct Finding {
  State state = State::kRead;
  std::string error;  // the system's words; empty when it was read
};

inline constexpr char kEmptyNode[] = "empty";

using Check = Finding (*)(const std::string& target);

struct Node {
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

// The node's target with `name` for its # or *.
std::string pathOf(const Node& node, const std::string& name);

// Entries of `folder` that `part` stands for: "cpu#" for cpu0, cpu1 .., in numerical order.
std::vector<std::string> matches(const std::string& folder, std::string_view part);

// The first piece of a node's text. The error, when there is none, is in `finding`.
std::optional<std::string> readSome(const std::string& path, Finding& finding);

bool beginsWithNumber(std::string_view text);

}  // namespace tool

#endif
