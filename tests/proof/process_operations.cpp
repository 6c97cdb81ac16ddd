#include <algorithm>
#include <set>

#include "tessary/process_mon.h"
#include "tessary/procmem_mon.h"
#include "tests/proof/boards.h"
#include "tests/proof/operations.h"
#include "tests/proof/outcomes.h"

namespace proof {

namespace {

using process::PROCESS_MON;
using procmem::PERPROCMEM_MON;

const std::vector<int> kSome{1, 31};

std::string times(const std::vector<process::resultProcInfo>* results) {
  std::string text;
  for (const process::resultProcInfo& result : *results) {
    text += std::to_string(result.pid) + "/" + result.name + "/" + shown(result.userTime) + "/" +
            shown(result.systemTime) + "/" + shown(result.cpuShare) + " ";
  }
  return text;
}

std::string sizes(const std::vector<procmem::processMemoryMap>* results) {
  std::string text;
  for (const procmem::processMemoryMap& result : *results) {
    text += std::to_string(result.pid) + "/" + result.name + "/" + std::to_string(result.ppid) + "/" +
            std::to_string(result.vmSize) + "/" + std::to_string(result.rss) + "/" +
            std::to_string(result.pss) + "/" + std::to_string(result.privateMem) + " ";
  }
  return text;
}

// A process that could not be read is missing from the sample: it is taken for an ended one now, or for a new one next
// time, and may lend its name. None is reported that is not there.
bool isOfFewerProcesses(const Fault& fault, const std::string& outcome, const std::string& faultless) {
  if (outcome.empty() || fault.isOf("usleep")) return true;
  const std::vector<std::string> known = parts(faultless);
  for (const std::string& row : parts(outcome)) {
    const std::string id = row.substr(0, row.find('/') + 1);
    const auto isOfIt = [&](const std::string& other) { return beginsWith(other, id); };
    if (std::none_of(known.begin(), known.end(), isOfIt)) return false;
  }
  return true;
}

// What could not be read is 0, or what was read of a kernel thread before, whose parent is 0, too.
bool isOfPoorerRows(const Fault&, const std::string& outcome, const std::string& faultless) {
  const std::vector<std::string> known = parts(faultless);
  for (const std::string& row : parts(outcome)) {
    const std::vector<std::string> found = parts(row, '/');
    const auto same = std::find_if(known.begin(), known.end(), [&](const std::string& other) {
      return beginsWith(other, found[0] + "/");
    });
    if (same == known.end()) return false;
    const std::vector<std::string> expected = parts(*same, '/');
    for (std::size_t i = 1; i < found.size(); ++i) {
      if (found[i] != expected[i] && !isAny(found[i], {"0", "-1", "", "(kthreadd)"})) return false;
    }
  }
  return true;
}

// An empty smaps_rollup stays open.
Losses emptyRollup(const Fault& fault) { return {fault.isOf("read") ? 1 : 0, 0}; }

}  // namespace

std::vector<Operation> processOperations() {
  return {
      {"process: construct", kPlatform, constructing<PROCESS_MON>([](PROCESS_MON& monitor) {
         return times(monitor.tessary_getProcessStats());
       }),
       isOfFewerProcesses},
      {"process: all", kPlatform,
       calling<PROCESS_MON>([](PROCESS_MON& monitor) { return monitor.tessary_getProcessStats(); }, times),
       isOfFewerProcesses, 2},
      {"process: some", kPlatform,
       calling<PROCESS_MON>([](PROCESS_MON& monitor) { return monitor.tessary_getProcessStats(kSome); },
                            times, [](PROCESS_MON& monitor) { monitor.tessary_getProcessStats(kSome); }),
       isOfFewerProcesses, 2},
      {"procmem: construct", kPlatform, constructing<PERPROCMEM_MON>([](PERPROCMEM_MON& monitor) {
         return sizes(monitor.tessary_getPerProcessMemStats());
       })},
      {"procmem: all", kPlatform,
       calling<PERPROCMEM_MON>(
           [](PERPROCMEM_MON& monitor) { return monitor.tessary_getPerProcessMemStats(); }, sizes),
       isOfPoorerRows, 1, emptyRollup},
      {"procmem: some", kPlatform,
       calling<PERPROCMEM_MON>(
           [](PERPROCMEM_MON& monitor) { return monitor.tessary_getPerProcessMemStats(kSome); }, sizes),
       isOfPoorerRows, 1, emptyRollup},
  };
}

}  // namespace proof
