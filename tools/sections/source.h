// What the tool reads itself, because the library cannot say it. Nothing else in the tool opens a node: a
// figure that is not from here is the library's. docs/json.md has the list for users.
//
// These readings are taken beside the library's, a moment earlier or later.
#ifndef TESSARY_TOOLS_SECTIONS_SOURCE_H
#define TESSARY_TOOLS_SECTIONS_SOURCE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/figures/value.h"
#include "tools/sections/node.h"

namespace tool {

// Why nothing came from a node: what its check finds at `path`; `otherwise` when that finds nothing. The
// reason names the target as it stands, so that nodes that fail alike have one reason.
Absent absentBecause(const Node& node, const std::string& path, const char* otherwise);
Absent absentBecause(const Node& node, const char* otherwise);  // of a target that is a path itself

// Nodes behind one that was refused, where the library stops: the clock of a core, the temperature of a zone.
Value numberOf(const Node& node, const std::string& name);

// A node that the library does not read: the type of a zone.
Value textOf(const Node& node, const std::string& name);

// What trying a node finds, where the library's figure may stand for none: 0 for a counter, say.
Finding tried(const Node& node, const std::string& name);
Finding tried(const Node& node);  // of a target that is a path itself

// /proc/stat: which cores are online, and what the processor as a whole did. The library takes the lines of
// the cores by position; an offline core has none, so that the lines below it move up.
struct CpuTimes {
  struct Ticks {
    std::int64_t user = 0;  // that of guests included
    std::int64_t nice = 0;
    std::int64_t system = 0;
    std::int64_t ioWait = 0;
    std::int64_t total = 0;
  };
  struct Idle {
    double idle = 0;
    double total = 0;  // with the time of guests, which the library counts twice
  };
  std::vector<int> cores;    // those that have a line, in its order
  std::vector<Idle> idle;    // of each of them
  std::optional<Ticks> all;  // of the first line
};
CpuTimes cpuTimes();

// The processes that /proc lists, in ascending order: those that started since the library's last sample, and
// those that it could not read.
std::vector<int> processIds();

// What is there now: the library lists zones and interfaces once.
std::vector<std::string> zoneNames();
std::vector<std::string> interfaceNames();

// The name of the board; empty where it tells none.
std::string boardModel();

}  // namespace tool

#endif
