// For the calls that close files.
#ifndef TESSARY_SIMULATOR_SEAM_TIMERS_H
#define TESSARY_SIMULATOR_SEAM_TIMERS_H

namespace simulator {

void forgetTimer(int descriptor);  // a timer's file that is closed; any other is none

}  // namespace simulator

#endif
