// The names of figures, as budgets and --figures have them: cpu.load_percent, cpu.cores[core=3].load_percent,
// process.top[name=navigation].cpu_percent; without [..], or with [], all rows of the table.
#ifndef TESSARY_TOOLS_VERDICT_SELECTOR_H
#define TESSARY_TOOLS_VERDICT_SELECTOR_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/figures/report.h"

namespace tool {

struct Selector {
  std::string text;   // as it was written
  std::string key;    // figureKey()
  std::string label;  // key of the label that is looked at; empty: all rows
  std::string item;   // what it has to be

  bool names(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column) const;
  bool matches(const Figure& figure) const;
};

// None when the text is no such name.
std::optional<Selector> parseSelector(std::string_view text);

// Why the selector can never match anything of these sections, in words; empty when it can.
std::string unknownIn(const Selector& selector, const std::vector<const SectionSchema*>& sections);

}  // namespace tool

#endif
