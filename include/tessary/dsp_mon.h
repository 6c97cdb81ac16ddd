// Load and clock of a DSP, as the monitoring service that runs on it measures them.
#ifndef TESSARY_DSP_MON_H
#define TESSARY_DSP_MON_H

#include <cstdint>
#include <memory>

#include "tessary/export.h"

namespace dsp {

// Samples one DSP: id 2 is "adsp", id 3 is "cdsp". Construction for one of them loads the remote-call library
// libcdsprpc.so, the first time and every time, and never unloads it; it always succeeds. A monitor of any
// other id or name, or without that library, stays in place and fails each sample. A name is compared with
// its first four letters, in lower case only: "adspX" is the adsp, "ADSP" is none, nor is a null pointer. Its
// text is neither changed nor kept.
//
// Messages go to the platform log under "libtessary : dsp_mon"; those of the loader and of the query
// (dsp_query.h) go to standard output.
//
// One object must not be used from two threads at once, nor two objects of the same DSP: the query behind
// them is the process's.
class TESSARY_API DSP_MON {
 public:
  class DSP_MON_INTERFACE;

  // The sampling time is in milliseconds, 500 where it is not given. It is not checked: 0 does not wait, a
  // negative one waits very long. Give it as a long: a plain 0 could be a hook as well.
  //
  // A hook is called with the id of the DSP instead of sleeping; the sample goes on when it returns 110, and
  // ends without figures on any other value.
  explicit DSP_MON(int dspId);
  DSP_MON(int dspId, int (*hook)(int));
  DSP_MON(int dspId, long samplingTimeMs);
  explicit DSP_MON(char* name);
  DSP_MON(char* name, int (*hook)(int));
  DSP_MON(char* name, long samplingTimeMs);
  ~DSP_MON();
  DSP_MON(const DSP_MON&) = delete;
  DSP_MON& operator=(const DSP_MON&) = delete;

  // Starts a query on the DSP, waits one sampling time on the caller's thread, takes the figures and ends the
  // query. Returns 0; -1 when the monitor is not usable, the query could not be started, the hook stopped it
  // or the DSP gave no figures: load and clock keep their values then. When only the end of the query failed,
  // load and clock are new, and the result is the status of the end, which may be -1 as well.
  int tessary_getDSPSample();

  // The clock of the last sample, in the unit of the DSP's service; 0 before the first.
  unsigned long tessary_getDSPFrequency();

  // The load of the last sample, in the unit of the DSP's service; 0 before the first.
  float tessary_getDSPUtilization();

  std::unique_ptr<DSP_MON_INTERFACE> implementation;
  int (*waitHook)(int);  // null: sleep
};

// The identity of the DSP and the last sample.
class TESSARY_API DSP_MON::DSP_MON_INTERFACE {
 public:
  explicit DSP_MON_INTERFACE(int id);
  DSP_MON_INTERFACE(int id, long samplingTimeMs);
  explicit DSP_MON_INTERFACE(char* dspName);
  DSP_MON_INTERFACE(char* dspName, long samplingTimeMs);

  // Ends no query and leaves the remote-call library loaded, by design.
  ~DSP_MON_INTERFACE();
  DSP_MON_INTERFACE(const DSP_MON_INTERFACE&) = delete;
  DSP_MON_INTERFACE& operator=(const DSP_MON_INTERFACE&) = delete;

  // Each takes on the identity of a DSP, opens the remote-call library, sets the state from that and the
  // sampling time to 500 ms. Returns 0, or -1 when the library is not there. The ids known are 2, 3 and 0,
  // the last being no DSP, without a name and a library; any other id returns -1, clears the
  // name, sets the sampling time to 500 ms, and changes neither id nor state. A name that is not a DSP's is
  // taken for id 0.
  int dsp_mon_init_by_id(int id);
  int dsp_mon_init_by_name(char* dspName);

  // Loads libcdsprpc.so and stores its entry points (remote_call.h); for an id other than 2 and 3 it takes
  // the handle that is there already. Returns 0; without a library -1, and a line on standard output with
  // what the dynamic loader has to say: nothing, or an older failure, where it was not asked.
  int dsp_library_open();

  char name[8];    // empty: no DSP
  int dspId = -1;  // -1 until initialised
  int state = 0;   // 1 usable, -1 not usable, 0 not initialised
  void* libraryHandle = nullptr;
  long samplingTime;            // microseconds; a wait takes its low 32 bits
  float load = 0;               // of the last sample
  uint64_t clockFrequency = 0;  // of the last sample
};

}  // namespace dsp

#endif
