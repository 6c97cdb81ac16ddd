#include "tools/serve/web/metrics.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "tools/figures/time_units.h"

namespace tool {

namespace {

const MetricFamily kUp{"tessary_up", "", "Whether the board's last sample is younger than three intervals."};
const MetricFamily kBoards{"tessary_serve_boards", "", "Sources that are served."};
const MetricFamily kCpu{"tessary_serve_cpu_seconds_total", "seconds", "CPU time of the server.", true};
const MetricFamily kResident{"tessary_serve_resident_bytes", "bytes", "Memory of the server."};
const MetricFamily kKept{"tessary_serve_kept_bytes", "bytes", "Of that, samples that are kept."};
const MetricFamily kScrape{"tessary_serve_scrape_seconds", "seconds", "What the last scrape took."};
const MetricFamily kSamples{"tessary_serve_samples_total", "", "Samples that were read.", true};
const MetricFamily kBadLines{"tessary_serve_bad_lines_total", "", "Lines that could not be read.", true};
const MetricFamily kConnections{"tessary_serve_connections", "", "Connections that are open."};
const MetricFamily kViewers{"tessary_serve_viewers", "", "Pages that are fed."};
const MetricFamily kLost{"tessary_serve_viewer_lost_samples_total", "",
                         "Samples that viewers were too slow for.", true};

double cpuSeconds() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / kNanosecondsInSecond;
}

// 24102 5311 3210 ..: pages of address space, in memory, shared
double residentBytes() {
  long pages = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "re");
  if (file == nullptr) return 0;
  if (std::fscanf(file, "%*d %ld", &pages) != 1) pages = 0;
  std::fclose(file);
  return static_cast<double>(pages) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

}  // namespace

std::string metricsText(const Fleet& fleet, MetricFormat format, std::int64_t now) {
  Exposition text{format};
  std::uint64_t samples = 0;
  std::uint64_t badLines = 0;
  for (const auto& board : fleet.boards) {
    const bool isUp = board->state(now) == BoardState::kUp;
    text.add(kUp, labelSet(board->name()), isUp ? 1 : 0);
    if (isUp) text.add(board->name(), *board->last());
    samples += board->samples();
    badLines += board->badLines();
  }
  const auto own = [&](const MetricFamily& family, auto value) {
    text.add(family, "", static_cast<double>(value));
  };
  own(kBoards, fleet.boards.size());
  own(kCpu, cpuSeconds());
  own(kResident, residentBytes());
  own(kKept, fleet.keptBytes());
  own(kScrape, fleet.scrapeSeconds);
  own(kSamples, samples);
  own(kBadLines, badLines);
  own(kConnections, fleet.connections);
  own(kViewers, fleet.viewers);
  own(kLost, fleet.lostSamples);
  return text.text();
}

}  // namespace tool
