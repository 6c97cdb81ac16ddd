// A recording in parts: when a new one begins, and what it is called.
#ifndef TESSARY_TOOLS_RECORDING_ROTATION_H
#define TESSARY_TOOLS_RECORDING_ROTATION_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// A part ends with the sample that reaches either limit; 0 is no limit.
struct Rotation {
  std::uint64_t bytes = 0;
  std::int64_t nanoseconds = 0;

  bool wanted() const { return bytes != 0 || nanoseconds != 0; }
};

// 500K, 64M, 2G (of 1024), or 90s, 10min, 1h, 1d; none when it is neither.
std::optional<Rotation> parseRotation(std::string_view text);

// drive.jsonl.gz, 3: drive-0003.jsonl.gz
std::string partName(std::string_view name, int number);

// The number behind the highest of the parts of `name` that are there, so that no part is ever overwritten.
int nextPart(std::string_view name, const std::vector<std::string>& there);

}  // namespace tool

#endif
