// A query of the monitoring service on a DSP, step by step: set up, wait, read the profile, exit.
// dsp::DSP_MON takes its samples with these.
//
// The DSP is named "adsp", "sdsp", "cdsp" or "npu", in upper or lower case; "npu" is the neural processor in
// the domain of the cdsp. There is one query for each name in the process, unguarded: query one DSP from one
// thread at a time. Failures are written to standard output. The remote-call library must be loaded, which
// the construction of a dsp::DSP_MON does; without it every remote call has the status -1.
#ifndef TESSARY_DSP_QUERY_H
#define TESSARY_DSP_QUERY_H

#include <cstdint>

#include "tessary/export.h"

extern "C" {

// As the DSP's service fills it, in the service's own units.
struct dspProfile {
  float load;
  uint32_t clockFrequency;
  uint32_t unused;
};

// Starts the query: opens the service on the DSP, starts its measurement and allocates the profile record,
// zeroed. Returns 0; 1 for an unknown name; 2 when the record could not be allocated; else the status of
// starting the measurement, which may be 1 or 2 as well. A query of the same DSP that was not ended, or whose
// end failed, is overwritten: what it held is lost. Its handle serves once more when the service hands out no
// new one. After a failure nothing is held: when the measurement does not start, the record of such a query
// is released, too.
TESSARY_API int tremlo_query_setup(const char* name);

// Reads the profile record and the number of its metrics, of a query that was set up. The record belongs to
// the query and lives until tremlo_query_exit. Null when the reading failed, for an unknown name, or without
// no_metrics.
TESSARY_API dspProfile* tremlo_query_getprof(const char* name, uint32_t* no_metrics);

// Ends the query and releases what it holds. Returns 0; 1 for an unknown name; else the status of ending the
// measurement, which may be 1 as well: the query is kept then, and may be ended again until the next setup.
TESSARY_API int tremlo_query_exit(const char* name);

}  // extern "C"

#endif
