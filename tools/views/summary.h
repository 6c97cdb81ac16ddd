// The figures of a whole recording: what goes into a bug report.
#ifndef TESSARY_TOOLS_VIEWS_SUMMARY_H
#define TESSARY_TOOLS_VIEWS_SUMMARY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/figures/report.h"
#include "tools/views/absences.h"

namespace tool {

struct Spread {
  double mean;
  double p50;
  double p95;
  double max;
  double min;
};

// Of values that are there; in any order.
Spread spreadOf(std::vector<double> values);

class Summary {
 public:
  void begin(const Origin& origin) { origin_ = origin; }
  void add(const Report& report);
  void end();

  // The recording, its figures and what was not read. Short: without single items, but for the items of each
  // table that stand out most.
  std::string text(bool everything, bool colour) const;
  std::string json() const;

  bool hasFigures() const { return !series_.empty(); }

 private:
  struct Series {
    const SectionSchema* section;
    const TableInfo* table;
    const ColumnInfo* column;
    std::string path;
    std::string item;
    std::vector<double> values;
  };
  struct Gap {
    Absence absence;
    std::int64_t toNs;
  };

  Series& seriesOf(const Figure& figure);
  std::vector<const Series*> shown(bool everything) const;

  Origin origin_;
  std::vector<Series> series_;
  std::map<std::string, std::size_t> places_;
  Absences absences_;
  std::vector<Gap> gaps_;
  std::size_t samples_ = 0;
  std::int64_t missed_ = 0;
  std::int64_t firstNs_ = 0;
  std::int64_t lastNs_ = 0;
};

}  // namespace tool

#endif
