// A section of two tables, for tests of what stands on tables: the machine's fans.
#ifndef TESSARY_TESTS_TOOLS_SAMPLE_TABLES_H
#define TESSARY_TESTS_TOOLS_SAMPLE_TABLES_H

#include <string>

#include "tools/figures/report.h"

namespace tool {

struct Airflow {
  Value total;
  Value limit;
};

inline constexpr Column<Airflow> kAirflowColumns[] = {
    {"load_percent", "load", kPercent, "Of all fans.", get<&Airflow::total>, kFigure, kMoreIsWorse},
    {"limit_kib", "limit", kKibibytes, "Built in.", get<&Airflow::limit>, kFixed},
};
inline constexpr Table<Airflow> kAirflow{nullptr, "", kAirflowColumns};

struct Fan {
  std::string name;
  Value clock;
  Value driver;
};

inline constexpr Column<Fan> kFanColumns[] = {
    {"fan", "fan", kPlain, "Its name.", get<&Fan::name>, kLabel},
    {"clock_khz", "clock", kKilohertz, "Of its motor.", get<&Fan::clock>, kFigure, kNeither, 1},
    {"driver", "driver", kPlain, "Who drives it.", get<&Fan::driver>, kFixed, kNeither, 2},
};
inline constexpr Table<Fan> kFans{"fans", "fan", kFanColumns};

inline const SectionSchema& fanSchema() {
  static const SectionSchema schema{"cooling", "Cooling", {kAirflow.info(), kFans.info()}};
  return schema;
}

// The section with the given fans and own fields.
inline SectionSample cooling(const Airflow& airflow, const std::vector<Fan>& fans) {
  SectionSample sample{&fanSchema(), {{{kAirflow.row(airflow)}, {}}, {}}};
  for (const Fan& fan : fans) sample.tables[1].rows.push_back(kFans.row(fan));
  return sample;
}

}  // namespace tool

#endif
