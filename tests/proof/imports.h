// The functions that a loaded object calls in others, by the slots through which it does: the shipped library is looked
// at, and led elsewhere, without being built in another way.
#ifndef TESSARY_TESTS_PROOF_IMPORTS_H
#define TESSARY_TESTS_PROOF_IMPORTS_H

#include <string>
#include <vector>

namespace proof {

struct Import {
  std::string name;
  void** slot;
};

// Of the object that holds the address. Writing to a slot is allowed from then on.
std::vector<Import> importsOf(const void* address);

}  // namespace proof

#endif
