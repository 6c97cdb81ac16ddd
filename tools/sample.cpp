#include "tools/sample.h"

#include <algorithm>
#include <cmath>

namespace tool {

namespace {

Gap& gapFor(std::vector<Gap>& all, const std::string& reason) {
  const auto known =
      std::find_if(all.begin(), all.end(), [&](const Gap& gap) { return gap.reason == reason; });
  if (known != all.end()) return *known;
  return all.emplace_back(Gap{reason, {}});
}

void addColumn(std::vector<Gap>& all, std::size_t block, const Column& column, const std::vector<Row>& rows,
               std::size_t position) {
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const auto* const absent = std::get_if<Absent>(&rows[row][position]);
    if (absent == nullptr) continue;
    std::vector<Gap::Item>& items = gapFor(all, absent->reason).items;
    if (items.empty() || items.back().block != block || items.back().column != &column) {
      items.push_back({block, &column, {}});
    }
    items.back().rows.push_back(row);
    if (items.back().rows.size() == rows.size()) items.back().rows.clear();
  }
}

// Fields that are all absent for one reason are one item.
void mergeFields(std::vector<Gap>& all, std::size_t block, const std::vector<Column>& columns) {
  const auto figures =
      std::count_if(columns.begin(), columns.end(), [](const Column& c) { return !c.label; });
  for (Gap& gap : all) {
    if (static_cast<std::ptrdiff_t>(gap.items.size()) == figures && figures > 1) {
      gap.items = {{block, nullptr, {}}};
    }
  }
}

}  // namespace

Value finite(double value, const char* reason) {
  if (std::isfinite(value)) return value;
  return Absent{reason};
}

bool wrapped(std::uint64_t difference) { return difference > static_cast<std::uint64_t>(INT64_MAX); }

std::vector<Gap> gaps(const std::vector<Block>& blocks, const Sample& sample) {
  std::vector<Gap> all;
  for (std::size_t block = 0; block < sample.size(); ++block) {
    const std::vector<Column>& columns = blocks[block].columns;
    for (std::size_t position = 0; position < columns.size(); ++position) {
      addColumn(all, block, columns[position], sample[block].rows, position);
    }
    if (blocks[block].key == nullptr) mergeFields(all, block, columns);
    if (!sample[block].absent.empty()) {
      gapFor(all, sample[block].absent).items.push_back({block, nullptr, {}});
    }
  }
  return all;
}

bool hasFigures(const std::vector<Block>& blocks, const Sample& sample) {
  for (std::size_t block = 0; block < sample.size(); ++block) {
    for (const Row& row : sample[block].rows) {
      for (std::size_t position = 0; position < row.size(); ++position) {
        if (!blocks[block].columns[position].label && row[position].index() != 0) return true;
      }
    }
  }
  return false;
}

}  // namespace tool
