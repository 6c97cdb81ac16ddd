// For the calls that programs make without a function of their own.
#ifndef TESSARY_SIMULATOR_SEAM_NOTICES_H
#define TESSARY_SIMULATOR_SEAM_NOTICES_H

namespace simulator {

// True when the arguments of SYS_futex are a wait with a time limit on the board's clock; its result then.
bool waitsOnFutex(const long (&arguments)[6], long& result);

}  // namespace simulator

#endif
