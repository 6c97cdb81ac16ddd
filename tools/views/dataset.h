// A recording as the page of charts has it: what is drawn together, and the series from the first sample to
// the last. It is all in memory, since a page is one text.
#ifndef TESSARY_TOOLS_VIEWS_DATASET_H
#define TESSARY_TOOLS_VIEWS_DATASET_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/figures/report.h"
#include "tools/views/absences.h"

namespace tool {

class Dataset {
 public:
  explicit Dataset(std::string name) : name_{std::move(name)} {}

  void begin(const Origin& origin);
  void add(const Report& report);
  void end();

  std::string title() const;
  std::vector<const SectionSchema*> sections() const { return origin_.sections; }
  std::string json() const;

 private:
  struct Series {
    std::string figure;  // its key
    std::string item;
    std::string name;
    bool isWhole;                // it stands for all items of its chart
    std::size_t first;           // sample
    std::vector<double> values;  // NaN: absent
  };
  struct Chart {
    const SectionSchema* section;
    std::string key;
    std::string title;
    std::string description;
    Format format;
    std::vector<Series> series;
  };
  struct Gap {
    Absence absence;
    std::size_t last;  // sample
  };
  using Place = std::pair<std::size_t, std::size_t>;  // chart and series

  Place placeOf(const Figure& figure);
  std::size_t chartOf(const Figure& figure);

  std::string name_;
  Origin origin_;
  std::vector<std::int64_t> timesMs_;                               // from the start
  std::vector<std::pair<std::size_t, std::int64_t>> wallOffsetMs_;  // from a sample on: wall clock less time
  std::vector<Chart> charts_;
  std::map<std::string, std::size_t> chartsByKey_;
  std::map<std::string, Place> places_;
  Absences absences_;
  std::vector<Gap> gaps_;
};

}  // namespace tool

#endif
