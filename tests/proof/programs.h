// The fault matrix of whole programs: `tessary report` and `tessary record`, each run in a process of its own that has
// the tool as a loaded object.
#ifndef TESSARY_TESTS_PROOF_PROGRAMS_H
#define TESSARY_TESTS_PROOF_PROGRAMS_H

#include <cstddef>
#include <string>
#include <string_view>

#include "tests/proof/matrix.h"

namespace proof {

// Of the places at which memory is asked for, of which there are thousands, every so many are taken, and of the cells
// that there are then.
struct Strides {
  std::size_t memory;
  std::size_t cells;
};

Summary runPrograms(const std::string& module, std::string_view wanted, const Strides& strides);

}  // namespace proof

#endif
