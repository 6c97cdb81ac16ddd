#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/console.h"
#include "base/table.h"
#include "tessary/process_mon.h"

namespace process {

namespace {

using Sample = std::vector<processStats>;

constexpr std::int64_t kMicrosecondsInSecond = 1000000;

double secondsBetween(const timeval& start, const timeval& end) {
  const std::int64_t microseconds = (std::int64_t{end.tv_usec} - start.tv_usec) +
                                    (std::int64_t{end.tv_sec} - start.tv_sec) * kMicrosecondsInSecond;
  return static_cast<double>(microseconds) / static_cast<double>(kMicrosecondsInSecond);
}

// Appends the records, each built in the scratch record first.
class Recorder {
 public:
  Recorder(resultProcInfo& scratch, double elapsed, std::vector<resultProcInfo>& results)
      : scratch_(scratch), elapsed_(elapsed), results_(results) {}

  // In both samples, and reported as `shown`.
  void matched(const processStats& before, const processStats& now, const processStats& shown) {
    fill(shown, now.userTime - before.userTime, now.systemTime - before.systemTime);
    scratch_.cpuShare = scratch_.totalTime / elapsed_;
    results_.push_back(scratch_);
  }

  void started(const processStats& now) {
    fill(now, now.userTime, now.systemTime);
    scratch_.cpuShare = scratch_.totalTime / elapsed_;
    results_.push_back(scratch_);
  }

  void gone(const processStats& before) {
    fill(before, before.userTime, before.systemTime);
    results_.push_back(scratch_);
  }

 private:
  void fill(const processStats& shown, double userTime, double systemTime) {
    if (shown.name.size() > sizeof scratch_.name) std::abort();
    scratch_ = {};
    std::memcpy(scratch_.name, shown.name.data(), shown.name.size());
    scratch_.pid = shown.pid;
    scratch_.userTime = userTime;
    scratch_.systemTime = systemTime;
    scratch_.totalTime = userTime + systemTime;
  }

  resultProcInfo& scratch_;
  double elapsed_;
  std::vector<resultProcInfo>& results_;
};

// The three walks look alike and are not: each pairs and reports in its own way, and what becomes of
// processes after an ended one depends on it. Previous [A, B, C] and current [A, C, D] give A, B (gone), the
// times of C under the name of D, and D.
void walkAsMany(const Sample& previous, const Sample& current, Recorder& record) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < previous.size() || j < current.size()) {
    if (i == previous.size()) {
      record.started(current.at(j));
      ++j;
    } else if (previous.at(i).pid == current.at(j).pid) {
      record.matched(previous.at(i), current.at(j), current.at(i));
      ++i;
      ++j;
    } else {
      record.gone(previous.at(i));
      ++i;
    }
  }
}

// Previous [A, B, C] and current [A, C] give A, B (gone) and C.
void walkFewer(const Sample& previous, const Sample& current, Recorder& record) {
  std::size_t j = 0;
  for (const processStats& before : previous) {
    if (j < current.size() && before.pid == current.at(j).pid) {
      record.matched(before, current.at(j), current.at(j));
      ++j;
    } else {
      record.gone(before);
    }
  }
  for (; j < current.size(); ++j) record.started(current.at(j));
}

// Previous [A, B, C] and current [A, C, D, E] give A and three times B (gone).
void walkMore(const Sample& previous, const Sample& current, Recorder& record) {
  std::size_t i = 0;
  for (const processStats& now : current) {
    if (i == previous.size()) {
      record.started(now);
    } else if (now.pid == previous.at(i).pid) {
      record.matched(previous.at(i), now, now);
      ++i;
    } else {
      record.gone(previous.at(i));
    }
  }
}

}  // namespace

void PROCESS_MON::PROCESS_MON_INTERFACE::getDiff(std::vector<processStats>& previous,
                                                 std::vector<processStats>& current) {
  ::gettimeofday(&endTime, nullptr);
  auto* const scratch = tessary::allocateForever<resultProcInfo>();
  if (scratch == nullptr) {
    tessary::printLine("Calloc failed for result");
    return;
  }
  results.reserve(results.size() + std::max(previous.size(), current.size()));
  Recorder record{*scratch, secondsBetween(startTime, endTime), results};
  if (previous.size() == current.size()) {
    walkAsMany(previous, current, record);
  } else if (current.size() < previous.size()) {
    walkFewer(previous, current, record);
  } else {
    walkMore(previous, current, record);
  }
}

}  // namespace process
