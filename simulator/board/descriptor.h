// An open file of the simulator's own, closed at the end of its scope.
#ifndef TESSARY_SIMULATOR_BOARD_DESCRIPTOR_H
#define TESSARY_SIMULATOR_BOARD_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace simulator {

class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) : descriptor_{descriptor} {}
  Descriptor(Descriptor&& other) noexcept : descriptor_{std::exchange(other.descriptor_, -1)} {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace simulator

#endif
