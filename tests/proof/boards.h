// A small board on which everything is there, and moves at rates that never change: what is measured is the same at any
// time.
#ifndef TESSARY_TESTS_PROOF_BOARDS_H
#define TESSARY_TESTS_PROOF_BOARDS_H

#include <string>

namespace proof {

// "brindle" has the newer of the two interfaces to the memory bus, any other the older.
constexpr char kPlatform[] = "brindle";
constexpr char kOlderPlatform[] = "older";

inline std::string boardText(const std::string& platform) {
  return R"json({
  "model": "Proof", "soc": "VX4490P", "feature_id": 1, "ticks_per_second": 1000, "platform": ")json" +
         platform + R"json(",
  "cores": [{"capacity": 256, "min_khz": 300000, "max_khz": 1800000, "load": {"user": 37.5, "system": 12.5}},
            {"capacity": 768, "min_khz": 600000, "max_khz": 2400000, "load": {"user": 25}}],
  "thermal_zones": [{"type": "cpu", "temperature": 45}, {"type": "skin", "temperature": 30},
                    {"type": "frost", "temperature": -40}],
  "memory": {"total_kb": 8000000, "available_kb": 5000000, "free_kb": 2000000, "buffers_kb": 1000,
             "cached_kb": 2500000, "swap_total_kb": 1000, "swap_free_kb": 400},
  "processes": [
    {"pid": 1, "ppid": 0, "name": "init", "user": 12.5, "started_s": 1, "vsize_kb": 10000, "rss_kb": 9800,
     "pss_kb": 3100, "private_kb": 2200},
    {"pid": 2, "ppid": 0, "name": "kthreadd", "started_s": 1},
    {"pid": 30, "name": "a_service_of_long_name", "user": 25, "system": 12.5, "started_s": 2, "vsize_kb": 64000,
     "rss_kb": 4000, "pss_kb": 2000, "private_kb": 1500},
    {"pid": 31, "name": "app", "user": 50, "started_s": 3, "vsize_kb": 32000, "rss_kb": 3000, "pss_kb": 1000,
     "private_kb": 500}],
  "disks": [{"name": "sda", "reads": 100, "sectors_read": 2048, "writes": 50, "sectors_written": 1024},
            {"name": "sdb", "minor": 16, "reads": 1, "sectors_read": 8}],
  "interfaces": [
    {"name": "lo", "tx_bytes": 1000, "rx_bytes": 2000, "tx_packets": 10, "rx_packets": 20, "rx_dropped": 1},
    {"name": "an_interface", "tx_bytes": 50000, "rx_bytes": 125000, "tx_packets": 100, "rx_packets": 250}],
  "gpu": {"busy": 37, "max_mhz": 670, "metrics": [
    {"id": 1, "name": "Clocks / Second", "value": 585000000}, {"id": 3, "name": "GPU % Utilization", "value": 37.5},
    {"id": 4, "name": "GPU % Bus Busy", "value": 12.5}, {"id": 5, "name": "Read Total (Bytes/sec)", "value": 1000000},
    {"id": 6, "name": "Write Total (Bytes/sec)", "value": 500000}]},
  "dsps": [{"name": "adsp", "load": 12.5, "clock": 614400}, {"name": "cdsp", "load": 50, "clock": 998400}],
  "ddr": {"a1": 1000, "a2": 800, "b1": 1200, "b2": 600}
})json";
}

// One of everything, for whole programs, which read it all.
inline std::string smallBoardText() {
  return R"json({
  "model": "Proof", "soc": "VX4490P", "feature_id": 1, "ticks_per_second": 1000, "platform": "brindle",
  "cores": [{"capacity": 256, "min_khz": 300000, "max_khz": 1800000, "load": {"user": 37.5, "system": 12.5}},
            {"capacity": 768, "min_khz": 600000, "max_khz": 2400000, "load": {"user": 25}}],
  "thermal_zones": [{"type": "cpu", "temperature": 45}],
  "memory": {"total_kb": 8000000, "available_kb": 5000000, "free_kb": 2000000, "swap_total_kb": 1000, "swap_free_kb": 400},
  "processes": [
    {"pid": 1, "ppid": 0, "name": "init", "user": 12.5, "started_s": 1, "vsize_kb": 10000, "rss_kb": 9800,
     "pss_kb": 3100, "private_kb": 2200},
    {"pid": 31, "name": "app", "user": 50, "started_s": 3, "vsize_kb": 32000, "rss_kb": 3000, "pss_kb": 1000,
     "private_kb": 500}],
  "disks": [{"name": "sda", "reads": 100, "sectors_read": 2048, "writes": 50, "sectors_written": 1024}],
  "interfaces": [{"name": "eth0", "tx_bytes": 50000, "rx_bytes": 125000, "tx_packets": 100, "rx_packets": 250}],
  "gpu": {"busy": 37, "max_mhz": 670, "metrics": [
    {"id": 1, "name": "Clocks / Second", "value": 585000000}, {"id": 3, "name": "GPU % Utilization", "value": 37.5},
    {"id": 4, "name": "GPU % Bus Busy", "value": 12.5}, {"id": 5, "name": "Read Total (Bytes/sec)", "value": 1000000},
    {"id": 6, "name": "Write Total (Bytes/sec)", "value": 500000}]},
  "dsps": [{"name": "adsp", "load": 12.5, "clock": 614400}],
  "ddr": {"a1": 1000, "a2": 800, "b1": 1200, "b2": 600}
})json";
}

}  // namespace proof

#endif
