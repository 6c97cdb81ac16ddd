#include "simulator/notify/filter.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <set>
#include <utility>
#include <vector>

#include "simulator/notify/calls.h"

namespace simulator {

namespace {

#if defined(__x86_64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_AARCH64;
#endif

class FilterProgram {
 public:
  FilterProgram() {
    // Calls of another architecture, which have other numbers.
    load(offsetof(seccomp_data, arch));
    add(BPF_JMP | BPF_JEQ | BPF_K, kArchitecture, 1, 0);
    answer(SECCOMP_RET_ERRNO | ENOSYS);
    load(offsetof(seccomp_data, nr));
  }

  // Those from this number on; the x32 interface of x86-64 is among them.
  void refuseFrom(int number, int error) {
    add(BPF_JMP | BPF_JGE | BPF_K, static_cast<std::uint32_t>(number), 0, 1);
    answer(SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error));
  }

  void decide(int number, std::uint32_t action) {
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, 1);
    answer(action);
  }

  void askWhen(int number, const std::vector<ArgumentTest>& tests) {
    constexpr std::size_t kBytes = sizeof(std::uint32_t);
    constexpr unsigned kWords = 2;         // of an argument
    constexpr unsigned kInstructions = 3;  // for each of them
    unsigned left = static_cast<unsigned>(tests.size()) * kWords * kInstructions;
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, left + 2);
    for (const ArgumentTest& test : tests) {
      for (unsigned word = 0; word < kWords; ++word) {
        const auto wordOf = [&](std::uint64_t value) {
          return static_cast<std::uint32_t>(value >> 32 * word);
        };
        left -= kInstructions;
        load(offsetof(seccomp_data, args) +
             kBytes * (kWords * static_cast<std::size_t>(test.position) + word));
        add(BPF_ALU | BPF_AND | BPF_K, wordOf(test.mask));
        add(BPF_JMP | BPF_JEQ | BPF_K, wordOf(test.value), 0, left + 1);
      }
    }
    answer(SECCOMP_RET_USER_NOTIF);
    answer(SECCOMP_RET_ALLOW);
  }

  int install() {
    answer(SECCOMP_RET_ALLOW);
    const sock_fprog program{static_cast<unsigned short>(code_.size()), code_.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return -1;
    // Signals of the program's own, Go's preemption for one, are not to undo a call that is being
    // answered: 5.19.
    for (const unsigned long extra : {SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV, 0UL}) {
      const unsigned long flags = SECCOMP_FILTER_FLAG_NEW_LISTENER | extra;
      const long listener = ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program);
      if (listener >= 0 || errno != EINVAL) return static_cast<int>(listener);
    }
    return -1;
  }

 private:
  void add(unsigned code, std::uint32_t value, unsigned yes = 0, unsigned no = 0) {
    code_.push_back({static_cast<std::uint16_t>(code), static_cast<std::uint8_t>(yes),
                     static_cast<std::uint8_t>(no), value});
  }
  void load(std::size_t offset) { add(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset)); }
  void answer(std::uint32_t action) { add(BPF_RET | BPF_K, action); }

  std::vector<sock_filter> code_;
};

std::vector<ArgumentTest> testsOf(int number) {
  std::vector<ArgumentTest> tests;
  for (const ArgumentTest& test : argumentTests()) {
    if (test.number == number) tests.push_back(test);
  }
  return tests;
}

}  // namespace

int installFilter(const FilterOptions& options) {
  FilterProgram program;
  program.refuseFrom(kFirstUnknownCall, ENOSYS);
  for (const RefusedCall& call : refusedCalls())
    program.decide(call.number, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(call.error));
  std::set<int> decided;
  for (const NotifiedCall& call : notifiedCalls()) {
    const bool isRead = call.treatment == Treatment::kRead || call.treatment == Treatment::kReread;
    const bool isNetwork = call.treatment == Treatment::kNetwork || call.treatment == Treatment::kNetlink;
    if (options.machineNetwork && isNetwork) continue;
    if (!options.asksForReads && call.treatment == Treatment::kRead) continue;
    if (!decided.insert(call.number).second) continue;
    const bool asksAlways = options.asksForReads && isRead;
    const std::vector<ArgumentTest> tests = asksAlways ? std::vector<ArgumentTest>{} : testsOf(call.number);
    if (tests.empty()) {
      program.decide(call.number, SECCOMP_RET_USER_NOTIF);
    } else {
      program.askWhen(call.number, tests);
    }
  }
  return program.install();
}

bool filterIsSupported() {
  constexpr int kNeeded[] = {5, 14};  // where an answer and a descriptor go together
  utsname system{};
  int version = 0;
  int revision = 0;
  seccomp_notif_sizes sizes{};
  return ::uname(&system) == 0 && std::sscanf(system.release, "%d.%d", &version, &revision) == 2 &&
         std::make_pair(version, revision) >= std::make_pair(kNeeded[0], kNeeded[1]) &&
         ::syscall(SYS_seccomp, SECCOMP_GET_NOTIF_SIZES, 0, &sizes) == 0;
}

}  // namespace simulator
