#include "tessary/procmem_mon.h"

#include "procmem/procmem_log.h"

namespace procmem {

PERPROCMEM_MON::PERPROCMEM_MON() : implementation(new PERPROCMEM_MON_INTERFACE) {
  TESSARY_LOG_VERBOSE(kLog, "The constructor of the perprocmem_mon is called\n");
}

PERPROCMEM_MON::~PERPROCMEM_MON() {
  implementation.reset();
  TESSARY_LOG_VERBOSE(kLog, "The destructor of the perprocmem_mon is called\n");
}

std::vector<processMemoryMap>* PERPROCMEM_MON::tessary_getPerProcessMemStats() {
  TESSARY_LOG_VERBOSE(kLog, "Prepping the vector to hold per process memory stats\n");
  std::vector<processMemoryMap>().swap(implementation->results);
  TESSARY_LOG_VERBOSE(kLog, "Retrieving the per process memory stats from /proc/ file system\n");
  implementation->getProcs();
  TESSARY_LOG_VERBOSE(kLog, "Returning the per process memory stats to the calling function\n");
  return &implementation->results;
}

std::vector<processMemoryMap>* PERPROCMEM_MON::tessary_getPerProcessMemStats(std::vector<int> pids) {
  std::vector<processMemoryMap>().swap(implementation->results);
  implementation->getProcs(std::move(pids));
  return &implementation->results;
}

}  // namespace procmem
