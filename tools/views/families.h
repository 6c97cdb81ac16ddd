// Figures as series of metrics, in Prometheus' two text formats: the one place that says how they are called,
// what their labels are, and in which unit they are.
#ifndef TESSARY_TOOLS_VIEWS_FAMILIES_H
#define TESSARY_TOOLS_VIEWS_FAMILIES_H

#include <map>
#include <string>
#include <unordered_map>

#include "tools/figures/report.h"

namespace tool {

enum class MetricFormat {
  kOpenMetrics,  // application/openmetrics-text, version 1.0.0
  kPlainText,    // text/plain, version 0.0.4
};

struct MetricFamily {
  std::string name;  // of a counter: with _total
  std::string unit;  // empty: a bare number
  std::string help;
  bool isCounter = false;
};

MetricFamily familyOf(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column);

// The lines in front of a family's series.
std::string headOf(const MetricFamily& family, MetricFormat format);

// {board="VX4490P",core="0"}
std::string labelSet(const std::string& board, const TableInfo& table, const Row& row);
std::string labelSet(const std::string& board);

// A number of a figure in its base unit.
std::string metricValue(const Value& value, const Unit& unit);

// The present figures of several boards, and others, as what a scrape is answered with: families one after the
// other, each series once, without times.
class Exposition {
 public:
  explicit Exposition(MetricFormat format) : format_{format} {}

  void add(const std::string& board, const Report& report);
  void add(const MetricFamily& family, const std::string& labels, double value);

  std::string text() const;

 private:
  struct Series {
    std::string head;
    std::string lines;
  };
  Series& seriesOf(const MetricFamily& family);

  MetricFormat format_;
  std::map<std::string, Series> families_;
  std::unordered_map<const ColumnInfo*, std::pair<std::string, Series*>> columns_;  // name and place
};

}  // namespace tool

#endif
