// OpenMetrics text: families one after the other, and within them the series. So the values wait in a file,
// series by series, until the end of the recording; a file that is to be imported has to be in this order,
// and within a series in that of time.
//
//   # TYPE tessary_cpu_core_clock_hertz gauge
//   # UNIT tessary_cpu_core_clock_hertz hertz
//   # HELP tessary_cpu_core_clock_hertz The present clock ..
//   tessary_cpu_core_clock_hertz{board="VX4490P",core="0"} 1804800000 1700000001.002
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <utility>

#include "tools/figures/metric.h"
#include "tools/figures/time_units.h"
#include "tools/output.h"
#include "tools/views/export.h"
#include "tools/views/families.h"
#include "tools/views/spool.h"
#include "tools/views/words.h"

namespace tool {

namespace {

class OpenMetrics : public Export {
 public:
  OpenMetrics(Write write, ExportOptions options) : write_{std::move(write)}, options_{std::move(options)} {}

  void begin(const Origin& origin) override {
    board_ = clean(boardOf(origin));
    if (origin.unixTimeNs) offsetNs_ = *origin.unixTimeNs - origin.bootTimeNs;
    if (options_.startUnixNs) offsetNs_ = *options_.startUnixNs - origin.bootTimeNs;
  }

  void add(const Report& report) override {
    // A board's wall clock is set at some time after its start. The last pair of clocks is the best known,
    // and one for all samples keeps them in order.
    if (report.unixTimeNs && !options_.startUnixNs) offsetNs_ = *report.unixTimeNs - report.bootTimeNs;
    forEachFigure(report, [&](const Figure& figure) {
      if (!isNumber(figure.value)) return;
      const std::string value = metricValue(figure.value, figure.column.format.unit);
      spool_.append(seriesOf(figure), std::to_string(report.bootTimeNs) + " " + value + "\n");
    });
  }

  void end() override {
    if (!offsetNs_) {
      throw Failure{"the recording has no wall clock: --start tells when it began, as 2026-11-21T18:36:22Z"};
    }
    for (const auto& [name, family] : families_) {
      write_(family.head);
      for (const auto& [labels, id] : family.series) writeSeries(name + labels, id);
    }
    write_("# EOF\n");
  }

 private:
  struct Family {
    std::string head;
    std::map<std::string, Spool::Id> series;
  };

  Spool::Id seriesOf(const Figure& figure) {
    const auto [family, isNew] =
        families_.try_emplace(metricName(figure.section, figure.table, figure.column));
    if (isNew) {
      family->second.head =
          headOf(familyOf(figure.section, figure.table, figure.column), MetricFormat::kOpenMetrics);
    }
    const std::string labels = labelSet(board_, figure.table, figure.row) + " ";
    const auto [series, first] = family->second.series.try_emplace(labels, 0);
    if (first) series->second = spool_.add();
    return series->second;
  }

  void writeSeries(const std::string& series, Spool::Id id) {
    std::string line;
    spool_.read(id, [&](std::string_view piece) {
      std::string out;
      for (const char c : piece) {
        if (c != '\n') {
          line += c;
          continue;
        }
        out += point(series, line);
        line.clear();
      }
      write_(out);
    });
  }

  std::string point(const std::string& series, const std::string& line) const {
    char* value = nullptr;
    const std::int64_t bootTimeNs = std::strtoll(line.c_str(), &value, 10);
    const std::int64_t milliseconds = (bootTimeNs + *offsetNs_) / kNanosecondsInMillisecond;
    char time[32];
    std::snprintf(time, sizeof time, "%" PRId64 ".%03d\n", milliseconds / kMillisecondsInSecond,
                  static_cast<int>(milliseconds % kMillisecondsInSecond));
    return series + (value + 1) + " " + time;
  }

  Write write_;
  ExportOptions options_;
  std::string board_;
  std::optional<std::int64_t> offsetNs_;  // from boot time to the wall clock
  std::map<std::string, Family> families_;
  Spool spool_;
};

}  // namespace

std::unique_ptr<Export> openOpenMetrics(Write write, const ExportOptions& options) {
  return std::make_unique<OpenMetrics>(std::move(write), options);
}

}  // namespace tool
