// What every fuzz target shares: the bytes become the text of a node, on a board that the monitor under test
// reads.
#ifndef TESSARY_FUZZ_TARGET_H
#define TESSARY_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "simulator/board/board.h"

#define FUZZ_TARGET(text)                                                             \
  static void sample(const std::string& text);                                        \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
    sample({reinterpret_cast<const char*>(data), size});                              \
    simulator::Board::active()->forgetHistory();                                      \
    return 0;                                                                         \
  }                                                                                   \
  static void sample(const std::string& text)

#endif
