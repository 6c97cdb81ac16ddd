// The line of /proc/<pid>/stat.
#ifndef TESSARY_PROCESS_STAT_LINE_H
#define TESSARY_PROCESS_STAT_LINE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace process {

// What is read of the line, its end included.
constexpr std::size_t kLongestLine = 255;

// Parts of the line, which must outlive them.
struct StatLine {
  std::string_view name;
  std::string_view fields;  // from the process state on
};

struct CpuTicks {
  std::uint64_t user = 0;
  std::uint64_t system = 0;
  std::uint64_t start = 0;  // after the system's start
};

// None when there is no name in parentheses, or nothing behind it. The line must be followed by a NUL.
std::optional<StatLine> splitStatLine(std::string_view line);

// None when one of the fields up to the start time is missing or no number.
std::optional<CpuTicks> parseCpuTicks(std::string_view fields);

}  // namespace process

#endif
