// The figures of a recording as series in time.
#ifndef TESSARY_TOOLS_VERDICT_RECORDED_H
#define TESSARY_TOOLS_VERDICT_RECORDED_H

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/figures/report.h"
#include "tools/statistics/series.h"

namespace tool {

struct RecordedFigure {
  const SectionSchema* section;
  const TableInfo* table;
  const ColumnInfo* column;
  Row row;           // the first with its labels
  std::string name;  // cpu.cores[core=3].load_percent

  std::size_t first = 0;      // the sample of the first value
  statistics::Series values;  // from there on, up to the last; NaN where it was absent
  std::string reason;         // why it was absent last

  statistics::Series present() const;                   // without the samples where it was absent
  statistics::Series aligned(std::size_t count) const;  // one value for each of the recording's samples
};

// Takes one sample after the other. Rows are told apart by a label that outlives a restart: a process is its
// name, not its id, and processes of one name count together.
class Recorded {
 public:
  using Wanted = std::function<bool(const Figure&)>;

  explicit Recorded(Wanted wanted) : wanted_{std::move(wanted)} {}

  void add(const Report& report);

  // Numbers alone, in the order of their first values.
  const std::deque<RecordedFigure>& figures() const { return figures_; }
  const statistics::Series& seconds() const { return seconds_; }  // the lengths of the samples
  std::size_t samples() const { return seconds_.size(); }

 private:
  using FiguresOfRow = std::vector<RecordedFigure*>;  // null: not wanted

  struct TableOf {
    std::optional<std::size_t> label;  // the column that tells the rows apart
    std::unordered_map<std::string, FiguresOfRow> rows;
    // The rows of the sample before: most are in the same places again.
    std::vector<std::pair<Value, FiguresOfRow*>> before;
  };

  TableOf& tableOf(const TableInfo& info);
  FiguresOfRow& figuresOf(TableOf& table, std::size_t at, const SectionSchema& section, const TableInfo& info,
                          const Row& row);
  RecordedFigure* addFigure(const Figure& figure, const TableOf& table);
  void put(RecordedFigure& figure, const Value& value);

  Wanted wanted_;
  std::deque<RecordedFigure> figures_;  // their places stay
  statistics::Series seconds_;
  std::unordered_map<const TableInfo*, TableOf> tables_;
};

}  // namespace tool

#endif
