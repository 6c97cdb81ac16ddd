// For the requests that programs make of a socket.
#ifndef TESSARY_SIMULATOR_SEAM_NETWORK_H
#define TESSARY_SIMULATOR_SEAM_NETWORK_H

namespace simulator {

// True when the request is about a network interface and the board answers it; the result, -1 and errno
// included, is in `result` then.
bool boardAnswersNetwork(unsigned long request, void* argument, int& result);

}  // namespace simulator

#endif
