#include "tools/sections/source.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace tool {

namespace {

// The node's text up to its end of line, or why there is none.
Value lineOf(const Node& node, const std::string& path) {
  Finding finding;
  const std::optional<std::string> text = readSome(path, finding);
  const std::string line = text ? text->substr(0, text->find('\n')) : "";
  return line.empty() ? Value{absentBecause(node, path, "it could not be read")} : Value{line};
}

// cpu  10132153 290696 3084719 46828483 16683 0 25195 0 175628 0
// user nice system idle iowait irq softirq steal guest guest_nice: guests are in user and nice already.
std::optional<CpuTimes::Ticks> ticksOf(const std::string& line) {
  CpuTimes::Ticks ticks;
  std::int64_t idle = 0;
  std::int64_t irq = 0;
  std::int64_t softIrq = 0;
  std::int64_t steal = 0;
  constexpr int kCounters = 8;
  const int read = std::sscanf(
      line.c_str(),
      "cpu %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64,
      &ticks.user, &ticks.nice, &ticks.system, &idle, &ticks.ioWait, &irq, &softIrq, &steal);
  if (read != kCounters) return std::nullopt;
  ticks.total = ticks.user + ticks.nice + ticks.system + idle + ticks.ioWait + irq + softIrq + steal;
  return ticks;
}

// The counters behind a core's label; none when there are fewer than the library takes.
std::optional<CpuTimes::Idle> idleOf(const char* counters) {
  constexpr int kCounters = 10;
  constexpr int kIdle = 3;
  CpuTimes::Idle times;
  for (int counter = 0; counter < kCounters; ++counter) {
    char* end = nullptr;
    const double ticks = std::strtod(counters, &end);
    if (end == counters) return std::nullopt;
    if (counter == kIdle) times.idle = ticks;
    times.total += ticks;
    counters = end;
  }
  return times;
}

}  // namespace

Absent absentBecause(const Node& node, const std::string& path, const char* otherwise) {
  const Finding finding = node.check(path);
  if (finding.state == State::kRead) return {otherwise};
  return {std::string{node.target} + ": " + finding.error};
}

Absent absentBecause(const Node& node, const char* otherwise) {
  return absentBecause(node, node.target, otherwise);
}

Value numberOf(const Node& node, const std::string& name) {
  Finding finding;
  const std::string path = pathOf(node, name);
  const std::optional<std::string> text = readSome(path, finding);
  if (text && beginsWithNumber(*text)) {
    return static_cast<std::int64_t>(std::strtoll(text->c_str(), nullptr, 10));
  }
  return absentBecause(node, path, "it could not be read");
}

Value textOf(const Node& node, const std::string& name) { return lineOf(node, pathOf(node, name)); }

Finding tried(const Node& node, const std::string& name) { return node.check(pathOf(node, name)); }

Finding tried(const Node& node) { return node.check(node.target); }

CpuTimes cpuTimes() {
  std::ifstream stat{"/proc/stat"};
  CpuTimes times;
  std::string line;
  if (std::getline(stat, line)) times.all = ticksOf(line);
  while (std::getline(stat, line)) {
    int core = 0;
    int label = 0;
    if (std::sscanf(line.c_str(), "cpu%d%n", &core, &label) != 1) break;
    const std::optional<CpuTimes::Idle> idle = idleOf(line.c_str() + label);
    if (!idle) break;
    times.cores.push_back(core);
    times.idle.push_back(*idle);
  }
  return times;
}

std::vector<int> processIds() {
  std::vector<int> ids;
  for (const std::string& name : matches("/proc", "#")) ids.push_back(std::atoi(name.c_str()));
  return ids;
}

std::vector<std::string> zoneNames() { return matches("/sys/class/thermal", "thermal_zone#"); }

std::vector<std::string> interfaceNames() { return matches("/sys/class/net", "*"); }

// The property is what the board's maker calls it; the device tree, which only root may read on a board, is where other
// systems have it.
std::string boardModel() {
  std::string model;
  if (std::FILE* const property = ::popen("getprop ro.product.model 2>/dev/null", "re")) {
    char line[256] = "";
    if (std::fgets(line, sizeof line, property) != nullptr) model.assign(line, std::strcspn(line, "\n"));
    ::pclose(property);
  }
  if (!model.empty()) return model;
  Finding finding;
  const std::string text = readSome("/sys/firmware/devicetree/base/model", finding).value_or("");
  return text.substr(0, text.find('\0'));
}

}  // namespace tool
