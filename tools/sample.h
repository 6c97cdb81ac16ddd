// What a report is made of. A section describes its figures once, in tables of columns, and both outputs,
// text and JSON, follow from them. A figure that could not be read is not a number but the reason why.
#ifndef TESSARY_TOOLS_SAMPLE_H
#define TESSARY_TOOLS_SAMPLE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace tool {

struct Absent {
  std::string reason;
};

using Value = std::variant<Absent, bool, std::int64_t, double, std::string>;
using Row = std::vector<Value>;  // one value a column

// A fraction that is not finite is absent for `reason`.
Value finite(double value, const char* reason);

// A counter that went backwards comes out of an unsigned difference as a number of nearly 2^64.
bool wrapped(std::uint64_t difference);

// How a column's figures are written. JSON has them in the unit that the column's key names, text scaled.
struct Format {
  const char* unit = "";
  int decimals = 0;       // in text
  double scale = 1;       // from JSON's unit to that of the text
  bool prefixes = false;  // KiB, MiB ..: the scale leads to bytes then
  int jsonDecimals = 3;
};

inline constexpr Format kPlain{"", 0};
inline constexpr Format kFraction{"", 3, 1, false, 6};
inline constexpr Format kPercent{" %", 1};
inline constexpr Format kCelsius{" C", 1};
inline constexpr Format kSeconds{" s", 2};
inline constexpr Format kMilliseconds{" ms", 3};
inline constexpr Format kPerSecond{" /s", 1};
inline constexpr Format kMegahertz{" MHz", 0};
inline constexpr Format kKilohertz{" MHz", 0, 0.001};
inline constexpr Format kKibibytes{"B", 1, 1024, true};
inline constexpr Format kBytesPerSecond{"B/s", 1, 1, true};

struct Column {
  const char* key;     // in JSON, with the unit
  const char* header;  // in text
  Format format = kPlain;
  bool label = false;  // names the row, or describes the machine: no figure that was read
};

// A table, or, without a key, the section's own fields: one row, whose keys stand in the section itself.
struct Block {
  const char* key;
  std::vector<Column> columns;
};

struct BlockSample {
  std::vector<Row> rows;
  std::string absent;  // why there are no rows, or why some are missing
};

using Sample = std::vector<BlockSample>;  // one for each block

// All that is absent for one reason.
struct Gap {
  struct Item {
    std::size_t block;
    const Column* column;           // null: rows of the table, or all of the section's own fields
    std::vector<std::size_t> rows;  // empty: all of them
  };
  std::string reason;
  std::vector<Item> items;
};

std::vector<Gap> gaps(const std::vector<Block>& blocks, const Sample& sample);

bool hasFigures(const std::vector<Block>& blocks, const Sample& sample);

}  // namespace tool

#endif
