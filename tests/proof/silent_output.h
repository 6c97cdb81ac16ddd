// Standard output and standard error go nowhere while one lives: some monitors report there.
#ifndef TESSARY_TESTS_PROOF_SILENT_OUTPUT_H
#define TESSARY_TESTS_PROOF_SILENT_OUTPUT_H

#include <fcntl.h>
#include <unistd.h>

#include <iostream>

namespace proof {

class SilentOutput {
 public:
  SilentOutput() : original_{::dup(STDOUT_FILENO)}, error_{::dup(STDERR_FILENO)} {
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    ::close(nowhere);
  }
  ~SilentOutput() {
    std::cout.flush();
    ::dup2(original_, STDOUT_FILENO);
    ::dup2(error_, STDERR_FILENO);
    ::close(original_);
    ::close(error_);
  }
  SilentOutput(const SilentOutput&) = delete;
  SilentOutput& operator=(const SilentOutput&) = delete;

 private:
  int original_;
  int error_;
};

}  // namespace proof

#endif
