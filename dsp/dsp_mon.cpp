#include "tessary/dsp_mon.h"

#include <unistd.h>

#include <cstring>

#include "base/console.h"
#include "base/log.h"
#include "base/waiting.h"
#include "dsp/dsp_ids.h"
#include "tessary/dsp_query.h"

namespace dsp {

namespace {

constexpr tessary::LogChannel kLog{"libtessary : dsp_mon"};

constexpr long kDefaultSamplingTime = 500000;  // microseconds

enum State { kUnusable = -1, kNotInitialised = 0, kUsable = 1 };

struct DspRow {
  int id;
  char name[8];
};

// The last row is no DSP. It takes every name that the others leave, for no name is too short to begin with
// its own, and the id 0.
constexpr DspRow kDsps[] = {{kAdspId, "adsp"}, {kCdspId, "cdsp"}, {0, ""}};

template <typename Matches>
const DspRow* findDsp(Matches matches) {
  for (const DspRow& row : kDsps) {
    if (matches(row)) return &row;
  }
  TESSARY_LOG_ERROR(kLog, "DSP_MON : dsp_mon constructor : ERR : Please enter the correct id for the dsp.\n");
  return nullptr;
}

int takeOn(DSP_MON::DSP_MON_INTERFACE& target, const DspRow& row) {
  TESSARY_LOG_VERBOSE(kLog, "dsp_mon constructor : %s profiler.\n", row.name);
  static_assert(sizeof target.name == sizeof row.name);
  std::memcpy(target.name, row.name, sizeof target.name);
  target.dspId = row.id;
  const int result = target.dsp_library_open();
  target.state = result != -1 ? kUsable : kUnusable;
  return result;
}

// Modulo 2^64, for a sampling time that does not fit in microseconds.
long microseconds(long milliseconds) {
  return static_cast<long>(static_cast<unsigned long>(milliseconds) * 1000UL);
}

void logConstruction() { TESSARY_LOG_VERBOSE(kLog, "DSP_MON_INTERFACE : Constructor done.\n"); }

}  // namespace

DSP_MON::DSP_MON(int dspId) : DSP_MON(dspId, nullptr) {}

DSP_MON::DSP_MON(int dspId, int (*hook)(int))
    : implementation(new DSP_MON_INTERFACE(dspId)), waitHook(hook) {}

DSP_MON::DSP_MON(int dspId, long samplingTimeMs)
    : implementation(new DSP_MON_INTERFACE(dspId, samplingTimeMs)), waitHook(nullptr) {}

DSP_MON::DSP_MON(char* name) : DSP_MON(name, nullptr) {}

DSP_MON::DSP_MON(char* name, int (*hook)(int))
    : implementation(new DSP_MON_INTERFACE(name)), waitHook(hook) {}

DSP_MON::DSP_MON(char* name, long samplingTimeMs)
    : implementation(new DSP_MON_INTERFACE(name, samplingTimeMs)), waitHook(nullptr) {}

DSP_MON::~DSP_MON() = default;

int DSP_MON::tessary_getDSPSample() {
  DSP_MON_INTERFACE& dsp = *implementation;
  if (dsp.state != kUsable) {
    TESSARY_LOG_ERROR(kLog, "DSP_MON : Init not happened properly.\n");
    return -1;
  }
  if (tremlo_query_setup(dsp.name) != 0) {
    tessary::printLine("tremlo_query_setup failed");
    return -1;
  }
  if (waitHook == nullptr) {
    ::usleep(static_cast<useconds_t>(dsp.samplingTime));
  } else if (waitHook(dsp.dspId) != tessary::kHookProceeds) {
    tremlo_query_exit(dsp.name);
    return -1;
  }
  uint32_t metrics = 0;
  const dspProfile* const profile = tremlo_query_getprof(dsp.name, &metrics);
  if (profile == nullptr) {
    tremlo_query_exit(dsp.name);
    return -1;
  }
  dsp.load = profile->load;
  dsp.clockFrequency = profile->clockFrequency;
  return tremlo_query_exit(dsp.name);
}

unsigned long DSP_MON::tessary_getDSPFrequency() {
  const unsigned long frequency = implementation->clockFrequency;
  TESSARY_LOG_VERBOSE(kLog, "DSP_MON : %s clock_freq = %lu\n", implementation->name, frequency);
  return frequency;
}

float DSP_MON::tessary_getDSPUtilization() {
  const float load = implementation->load;
  TESSARY_LOG_VERBOSE(kLog, "DSP_MON : %s load = %lf\n", implementation->name, static_cast<double>(load));
  return load;
}

DSP_MON::DSP_MON_INTERFACE::DSP_MON_INTERFACE(int id) {
  dsp_mon_init_by_id(id);
  logConstruction();
}

DSP_MON::DSP_MON_INTERFACE::DSP_MON_INTERFACE(int id, long samplingTimeMs) {
  dsp_mon_init_by_id(id);
  samplingTime = microseconds(samplingTimeMs);
  logConstruction();
}

DSP_MON::DSP_MON_INTERFACE::DSP_MON_INTERFACE(char* dspName) {
  dsp_mon_init_by_name(dspName);
  logConstruction();
}

DSP_MON::DSP_MON_INTERFACE::DSP_MON_INTERFACE(char* dspName, long samplingTimeMs) {
  dsp_mon_init_by_name(dspName);
  samplingTime = microseconds(samplingTimeMs);
  logConstruction();
}

DSP_MON::DSP_MON_INTERFACE::~DSP_MON_INTERFACE() {
  std::memset(name, 0, sizeof name);
  dspId = -1;
  state = kNotInitialised;
  TESSARY_LOG_VERBOSE(kLog, "DSP_MON_INTERFACE : Destructor done.\n");
}

int DSP_MON::DSP_MON_INTERFACE::dsp_mon_init_by_id(int id) {
  std::memset(name, 0, sizeof name);
  samplingTime = kDefaultSamplingTime;
  const DspRow* const row = findDsp([id](const DspRow& dsp) { return dsp.id == id; });
  return row != nullptr ? takeOn(*this, *row) : -1;
}

int DSP_MON::DSP_MON_INTERFACE::dsp_mon_init_by_name(char* dspName) {
  std::memset(name, 0, sizeof name);
  samplingTime = kDefaultSamplingTime;
  const char* const wanted = dspName != nullptr ? dspName : "";
  const DspRow* const row = findDsp(
      [wanted](const DspRow& dsp) { return std::strncmp(wanted, dsp.name, std::strlen(dsp.name)) == 0; });
  if (row == nullptr) {
    state = kUnusable;
    return -1;
  }
  return takeOn(*this, *row);
}

}  // namespace dsp
