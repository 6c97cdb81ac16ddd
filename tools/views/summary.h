// The figures of a whole recording: what goes into a bug report.
#ifndef TESSARY_TOOLS_VIEWS_SUMMARY_H
#define TESSARY_TOOLS_VIEWS_SUMMARY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
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

  // The recording, its figures and what was not read. Short: the figures of most interest alone, and of items
  // those that stand out.
  std::string text(bool everything) const;
  std::string json() const;

  bool hasFigures() const { return !series_.empty(); }

 private:
  struct Series {
    const SectionSchema* section;
    const TableInfo* table;
    const ColumnInfo* column;
    std::string path;
    std::vector<double> values;
  };
  struct Gap {
    Absence absence;
    std::int64_t lengthNs;
    std::size_t times = 1;
  };

  struct ClockStep {
    std::int64_t afterNs;  // the recording's start
    std::int64_t byNs;
  };

  void followWallClock(const Report& report);
  Series& seriesOf(const Figure& figure);
  std::size_t sectionRank(const SectionSchema* section) const;
  std::vector<const Series*> ordered() const;
  std::vector<const Series*> shortened() const;
  void sort(std::vector<const Series*>& all) const;
  std::vector<const Series*> largest(const ColumnInfo* column, std::size_t count) const;
  std::vector<Gap> addedGaps() const;
  std::string heading() const;
  std::string clockLines() const;
  std::string gapLines(bool everything) const;

  Origin origin_;
  std::vector<Series> series_;
  std::map<std::string, std::size_t> places_;
  Absences absences_;
  std::vector<Gap> gaps_;
  std::size_t samples_ = 0;
  std::optional<std::int64_t> wallClockOffsetNs_;  // the wall clock's time without the time since boot
  std::vector<ClockStep> clockSteps_;
  double suspendedMs_ = 0;
  std::int64_t missed_ = 0;
  std::int64_t firstNs_ = 0;
  std::int64_t lastNs_ = 0;
};

}  // namespace tool

#endif
