#include "tools/figures/metric.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string_view>

#include "tools/sections/sections.h"

namespace tool {
namespace {

// key of the figure -> metric, of all figures of the tool
std::map<std::string, std::string> allMetrics() {
  std::map<std::string, std::string> metrics;
  for (const SectionInfo* const info : allSections()) {
    for (const TableInfo& table : info->schema.tables) {
      for (const ColumnInfo& column : table.columns) {
        if (column.role == kLabel) continue;
        metrics[figureKey(info->schema, table, column)] = metricName(info->schema, table, column);
      }
    }
  }
  return metrics;
}

TEST(MetricName, IsInBaseUnitsAndNamesTheItemOnce) {
  const std::map<std::string, std::string> metrics = allMetrics();
  EXPECT_EQ(metrics.at("cpu.load_percent"), "tessary_cpu_load_ratio");
  EXPECT_EQ(metrics.at("cpu.cores.clock_khz"), "tessary_cpu_core_clock_hertz");
  EXPECT_EQ(metrics.at("memory.used_kib"), "tessary_memory_used_bytes");
  EXPECT_EQ(metrics.at("thermal.zones.temperature_celsius"), "tessary_thermal_zone_celsius");
  EXPECT_EQ(metrics.at("process.top.cpu_percent"), "tessary_process_cpu_ratio");
  EXPECT_EQ(metrics.at("disk.disks.read_bytes_per_second"), "tessary_disk_read_bytes_per_second");
  EXPECT_EQ(metrics.at("net.interfaces.rx_packets_per_second"),
            "tessary_net_interface_rx_packets_per_second");
  EXPECT_EQ(metrics.at("gpu.max_clock_mhz"), "tessary_gpu_max_clock_hertz");
  EXPECT_EQ(metrics.at("ddr.a1"), "tessary_ddr_a1");
}

TEST(MetricName, IsOneFiguresAlone) {
  std::set<std::string> names;
  for (const auto& [key, name] : allMetrics())
    EXPECT_TRUE(names.insert(name).second) << key << " as " << name;
}

// What every table owes to the views.
TEST(Tables, TellTheirRowsApartAndSayWhatTheyHold) {
  for (const SectionInfo* const info : allSections()) {
    for (const TableInfo& table : info->schema.tables) {
      SCOPED_TRACE(std::string{info->schema.name} + " " + (table.isFields() ? "fields" : table.key));
      EXPECT_EQ(table.columns[0].role == kLabel, !table.isFields());
      for (const ColumnInfo& column : table.columns) {
        EXPECT_EQ(std::string_view{column.description}.back(), '.') << column.key;
        const std::string_view suffix = column.format.unit.suffix;
        const std::string_view key = column.key;
        EXPECT_TRUE(key.size() > suffix.size() && key.substr(key.size() - suffix.size()) == suffix) << key;
      }
    }
  }
}

}  // namespace
}  // namespace tool
