// A file descriptor that is owned from the line that opens it.
#ifndef TESSARY_TOOLS_RECORDING_DESCRIPTOR_H
#define TESSARY_TOOLS_RECORDING_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace tool {

// The first number above the standard streams'.
constexpr int kAboveStandard = 3;

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_{number} {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_{std::exchange(other.number_, -1)} {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  int number() const { return number_; }
  int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

}  // namespace tool

#endif
