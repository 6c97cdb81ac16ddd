#include "tests/proof/matrix.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <set>

#include "simulator/devices/dsp_service.h"
#include "simulator/model/model.h"
#include "tessary/board.h"
#include "tessary/gpu_mon.h"
#include "tessary/remote_call.h"
#include "tests/proof/boards.h"

namespace proof {

namespace {

constexpr int kMostDescriptors = 128;
constexpr std::int64_t kBetweenCalls = 20000000;  // microseconds: longer than any operation waits

char cell[512] = "none";  // that runs now

std::set<int> openDescriptors() {
  std::set<int> open;
  for (int descriptor = 0; descriptor < kMostDescriptors; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) >= 0) open.insert(descriptor);
  }
  return open;
}

// What outlives a monitor, by design, and would let one run see another.
void forgetProcessWide() {
  requiredIndices = {};
  gpuHeaders = {};
  requiredIndices.shrink_to_fit();
  gpuHeaders.shrink_to_fit();
  gpuMap = nullptr;
  local_remote_handle64_open = nullptr;
  local_remote_handle64_invoke = nullptr;
  local_remote_handle64_close = nullptr;
  local_rpcmem_alloc = nullptr;
  local_rpcmem_free = nullptr;
  gen3Machine = false;
}

void layOut(simulator::Board& board, const std::string& platform) {
  simulator::loadBoardText(board, boardText(platform));
  board.keepHistory(false);
  answerCommand("getprop ro.board.platform", platform + "\n");
  answerCommand("cat /sys/devices/soc0/machine", "VX4490P\n");
  answerCommand("cat /sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem | od -An -t d4", "   1048576\n");
}

struct Observed {
  std::string outcome;
  std::string next;
  Losses losses;
};

std::string outcomeOf(const std::function<void()>& act, const std::function<std::string()>& outcome) {
  try {
    act();
    return outcome();
  } catch (const std::bad_alloc&) {
    return "bad_alloc";
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

class Counting {
 public:
  template <typename Begin>
  explicit Counting(Begin begin) {
    begin();
  }
  ~Counting() { endCounting(); }
  Counting(const Counting&) = delete;
  Counting& operator=(const Counting&) = delete;
};

// A world of its own, from the board to the last release.
template <typename Begin>
Observed observe(const Operation& operation, Begin begin) {
  forgetProcessWide();
  const std::set<int> open = openDescriptors();
  const long blocks = liveMemory().blocks;
  Observed observed;
  {
    simulator::Board board;
    layOut(board, operation.platform);
    {
      Trial trial = operation.begin();
      const std::int64_t start = board.clock().now() / 1000;
      const auto act = [&] {
        const Counting counting{begin};
        trial.act();
      };
      // Its waits cut short or not, the next call begins at the same time.
      observed.outcome = outcomeOf(act, trial.outcome);
      for (int call = 1; call <= operation.recovery; ++call) {
        board.wait(start + call * kBetweenCalls - board.clock().now() / 1000);
        try {
          observed.next = trial.next();
        } catch (const std::exception& exception) {
          observed.next = exception.what();
        }
      }
    }
    for (const int descriptor : openDescriptors()) {
      if (open.count(descriptor) != 0) continue;
      ++observed.losses.descriptors;
      ::close(descriptor);
    }
    const simulator::DspService* const dsps = simulator::DspService::active();
    if (dsps != nullptr && dsps->wrongReleases() != 0) observed.next += " (released twice)";
  }
  observed.losses.blocks = liveMemory().blocks - blocks;
  return observed;
}

std::string describe(const Operation& operation, const Fault& fault) {
  return std::string{operation.name} + ", " + fault.text();
}

bool isAccepted(const Operation& operation, const Fault& fault, const Observed& found,
                const Observed& faultless) {
  if (found.outcome == faultless.outcome) return true;
  if (&kNew == fault.call && found.outcome == "bad_alloc") return true;
  return operation.accepts && operation.accepts(fault, found.outcome, faultless.outcome);
}

void judge(const Operation& operation, const Fault& fault, const Observed& found, const Observed& faultless,
           Summary& summary) {
  const std::string name = describe(operation, fault);
  const Losses allowed = operation.leaves ? operation.leaves(fault) : Losses{};
  const auto blame = [&](const std::string& what) { summary.mistakes.push_back(name + ": " + what); };
  if (fault.call->made < fault.time) blame("was not made again");
  if (!isAccepted(operation, fault, found, faultless)) {
    blame("ends with \"" + found.outcome + "\", without a fault with \"" + faultless.outcome + "\"");
  }
  if (found.next != faultless.next) {
    blame("next, \"" + found.next + "\" instead of \"" + faultless.next + "\"");
  }
  if (found.losses.descriptors > faultless.losses.descriptors + allowed.descriptors) {
    blame(std::to_string(found.losses.descriptors) + " descriptors stay open, without a fault " +
          std::to_string(faultless.losses.descriptors));
  }
  if (found.losses.blocks > faultless.losses.blocks + allowed.blocks) {
    blame(std::to_string(found.losses.blocks) + " blocks stay, without a fault " +
          std::to_string(faultless.losses.blocks));
  }
}

// In real time: the board's is stepped.
void watchTheClock() {
  static timer_t timer{};
  static const bool isThere = [] {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    return ::timer_create(CLOCK_MONOTONIC, &event, &timer) == 0;
  }();
  itimerspec limit{};
  limit.it_value.tv_sec = kLongestSeconds;
  if (isThere) ::timer_settime(timer, 0, &limit, nullptr);
}

}  // namespace

Counts countsOfCalls() {
  Counts counts;
  for (Call* const call : allCalls()) counts.emplace_back(call, call->made.load());
  return counts;
}

std::string Fault::text() const {
  return std::string{call->name} + " " + std::to_string(time) + ": " + failure->name;
}

void run(const Operation& operation, Summary& summary) {
  std::snprintf(cell, sizeof cell, "%s, without a fault", operation.name);
  watchTheClock();
  const Observed faultless = observe(operation, beginCounting);
  ++summary.operations;
  for (const auto& [call, count] : countsOfCalls()) {
    summary.calls += call->failures.empty() ? 0 : count;
    for (std::size_t time = 1; time <= count; ++time) {
      for (const Failure& failure : call->failures) {
        const Fault fault{call, time, &failure};
        std::snprintf(cell, sizeof cell, "%s", describe(operation, fault).c_str());
        watchTheClock();
        const auto fail = [&fault] { beginFailing(*fault.call, fault.time, *fault.failure); };
        judge(operation, fault, observe(operation, fail), faultless, summary);
        ++summary.cells;
      }
    }
  }
}

void tellOfTheEnd() {
  struct sigaction action {};
  action.sa_handler = [](int signal) {
    constexpr char kText[] = "the fault matrix ends here: ";
    static_cast<void>(!::write(STDERR_FILENO, kText, sizeof kText - 1));
    static_cast<void>(!::write(STDERR_FILENO, cell, std::strlen(cell)));
    static_cast<void>(!::write(STDERR_FILENO, "\n", 1));
    ::signal(signal, SIG_DFL);
    ::raise(signal);
  };
  for (const int signal : {SIGALRM, SIGSEGV, SIGBUS, SIGFPE, SIGABRT}) ::sigaction(signal, &action, nullptr);
}

}  // namespace proof
