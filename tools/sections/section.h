// The part of a report that one monitor fills: the only code of the tool that touches the library.
#ifndef TESSARY_TOOLS_SECTIONS_SECTION_H
#define TESSARY_TOOLS_SECTIONS_SECTION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tools/figures/report.h"
#include "tools/sections/node.h"

namespace tool {

struct Plan {
  int intervalMs = 1000;  // as it was asked for
  std::size_t top = 10;   // rows of the tables of processes
  std::vector<int> pids;  // sorted, each once; empty: all processes
  bool keep = false;      // a process that had a row once has one while it lives
};

// One object serves all samples of a run. An exception of the library makes its sample absent, with the
// exception's text for a reason where the section knows no better one.
class Section {
 public:
  virtual ~Section() = default;

  // Right before the interval, of which so many milliseconds are left to wait: takes the first reading of a
  // monitor that compares with the one before.
  virtual void begin(int waitMs) { static_cast<void>(waitMs); }

  // What has to go through the interval, each on a thread of its own.
  virtual std::vector<std::function<void()>> waits() { return {}; }

  // After the interval, on the thread of begin(): the tables of the section's schema.
  virtual std::vector<TableSample> read() = 0;
};

// Takes a step of a sample. Where it throws, as for want of memory, what the monitor has of the sample before is not
// known any more: the monitor goes, and the next sample begins with another.
template <typename Monitor, typename Step>
auto orBeginAnew(std::optional<Monitor>& monitor, const Step& step) {
  try {
    return step();
  } catch (...) {
    monitor.reset();
    throw;
  }
}

struct SectionInfo {
  using Open = std::unique_ptr<Section>(const Plan& plan);

  SectionInfo(SectionSchema itsSchema, std::vector<Node> itsNodes, Open* itsOpening, bool isOnRequest = false)
      : schema{std::move(itsSchema)}, nodes{std::move(itsNodes)}, open{itsOpening}, onRequest{isOnRequest} {}

  SectionSchema schema;
  std::vector<Node> nodes;  // for the doctor
  Open* open;
  bool onRequest;  // a recording has it only when it is named
};

// Nanoseconds since the machine started, its sleep included.
std::int64_t bootTime();

// The same without its sleep.
std::int64_t awakeTime();

// Nanoseconds since 1970 by the wall clock, which may be set at any time.
std::int64_t unixTime();

// The seconds since the call before.
class Stopwatch {
 public:
  double lap();

 private:
  std::int64_t last_ = bootTime();
};

// The wait of a section whose monitor does not wait itself.
std::function<void()> sleepFor(int waitMs);

template <typename Concrete>
std::unique_ptr<Section> openSection(const Plan& plan) {
  return std::make_unique<Concrete>(plan);
}

}  // namespace tool

#endif
