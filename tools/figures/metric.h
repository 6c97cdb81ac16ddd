// The names of figures as metrics: tessary_cpu_core_clock_hertz. Metrics are in base units, and the names say
// so.
#ifndef TESSARY_TOOLS_FIGURES_METRIC_H
#define TESSARY_TOOLS_FIGURES_METRIC_H

#include <string>

#include "tools/figures/report.h"

namespace tool {

// tessary, the section, the table's item unless it is called like the section, the column's stem, and the
// base unit, joined by underscores.
std::string metricName(const SectionSchema& section, const TableInfo& table, const ColumnInfo& column);

}  // namespace tool

#endif
