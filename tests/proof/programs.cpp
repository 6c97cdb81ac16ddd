#include "tests/proof/programs.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <vector>

#include "simulator/model/model.h"
#include "tests/proof/boards.h"
#include "tests/proof/documents.h"

namespace proof {

namespace {

constexpr int kHangs = -1;
constexpr int kTerminated = 99;
constexpr int kMillisecondsInSecond = 1000;

using Main = int(int, char**);

struct Program {
  const char* name;
  std::vector<const char*> arguments;
  bool (*isAbout)(const std::string& found, const std::string& faultless, std::string& mistake);
};

const Program kPrograms[] = {
    {"report", {"tessary", "report", "--json"}, isPartOfReport},
    {"record", {"tessary", "record", "-o", "-", "--duration", "2", "--interval", "1000"}, isPartOfRecording},
};

// What a process leaves for the one that has started it.
struct Left {
  std::size_t made[64];  // of each call
  int descriptors;
};

struct Ended {
  int code = 0;  // as a shell has it
  std::string output;
  std::string error;
};

std::string textOf(int file) {
  std::string text(static_cast<std::size_t>(::lseek(file, 0, SEEK_END)), '\0');
  const ssize_t length = ::pread(file, text.data(), text.size(), 0);
  text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return text;
}

int openDescriptors() {
  int count = 0;
  for (int descriptor = 0; descriptor < 256; ++descriptor) count += ::fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
  return count;
}

class Runner {
 public:
  explicit Runner(const std::string& module)
      : left_{static_cast<Left*>(
            ::mmap(nullptr, sizeof(Left), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))} {
    void* const object = ::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (object == nullptr) throw std::runtime_error{::dlerror()};
    main_ = reinterpret_cast<Main*>(::dlsym(object, "main"));
  }

  const void* address() const { return reinterpret_cast<const void*>(main_); }
  const Left& left() const { return *left_; }

  // No fault: the calls are counted.
  Ended run(const Program& program, const Fault* fault = nullptr) {
    const int output = ::memfd_create("output", MFD_CLOEXEC);
    const int error = ::memfd_create("error", MFD_CLOEXEC);
    const pid_t child = ::fork();
    if (child == 0) {
      ::dup2(output, STDOUT_FILENO);
      ::dup2(error, STDERR_FILENO);
      ::_exit(runHere(program, fault));
    }
    Ended ended;
    ended.code = wait(child);
    ended.output = textOf(output);
    ended.error = textOf(error);
    ::close(output);
    ::close(error);
    return ended;
  }

 private:
  int runHere(const Program& program, const Fault* fault) {
    std::set_terminate([] { ::_exit(kTerminated); });
    simulator::Board board;
    simulator::loadBoardText(board, smallBoardText());
    board.keepHistory(false);
    std::vector<char*> arguments;
    for (const char* const argument : program.arguments) arguments.push_back(const_cast<char*>(argument));
    const int open = openDescriptors();
    fault != nullptr ? beginFailing(*fault->call, fault->time, *fault->failure) : beginCounting();
    const int code = main_(static_cast<int>(arguments.size()), arguments.data());
    endCounting();
    left_->descriptors = openDescriptors() - open;
    std::size_t* made = left_->made;
    for (const auto& [call, count] : countsOfCalls()) *made++ = count;
    return code;
  }

  static int wait(pid_t child) {
    pollfd ended{static_cast<int>(::syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
    const bool hangs = ::poll(&ended, 1, kLongestSeconds * kMillisecondsInSecond) == 0;
    ::close(ended.fd);
    if (hangs) ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (hangs) return kHangs;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  Left* left_;
  Main* main_;
};

// 0: there are figures, right ones alone; 1: there are none, and a reason why.
std::string mistakeOf(const Program& program, const Fault& fault, const Ended& found,
                      const Ended& faultless) {
  if (found.code == kHangs) return "hangs";
  // The JSON library asks for memory in a destructor.
  if (found.code == kTerminated && fault.call == &kNew) return {};
  if (found.code != 0 && found.code != 1) return "ends with " + std::to_string(found.code);
  if (found.code == 1 && found.error.empty()) return "fails without a word";
  // Nobody reads it; the interval is another; a listing that breaks off looks like a shorter one.
  if (fault.isOf("write") && fault.failure->code == EPIPE) return {};
  if (fault.isOf("usleep") || fault.isOf("readdir")) return {};
  std::string mistake;
  if (found.code == 0 && !program.isAbout(found.output, faultless.output, mistake)) return mistake;
  return {};
}

void runCell(const Program& program, const Fault& fault, Runner& runner, const Ended& faultless,
             int descriptors, Summary& summary) {
  const Ended found = runner.run(program, &fault);
  std::string mistake = mistakeOf(program, fault, found, faultless);
  const int left = runner.left().descriptors;
  if (mistake.empty() && left > descriptors + 1) {  // one of an empty smaps_rollup, by design
    mistake = std::to_string(left) + " descriptors stay open, without a fault " + std::to_string(descriptors);
  }
  ++summary.cells;
  if (!mistake.empty())
    summary.mistakes.push_back(std::string{program.name} + ", " + fault.text() + ": " + mistake);
}

void run(const Program& program, Runner& runner, const Strides& strides, Summary& summary) {
  const Ended faultless = runner.run(program);
  if (faultless.code != 0) {
    summary.mistakes.push_back(std::string{program.name} + " fails without a fault: " + faultless.error);
    return;
  }
  const Left counted = runner.left();
  ++summary.operations;
  std::size_t cell = 0;
  for (std::size_t kind = 0; kind < allCalls().size(); ++kind) {
    const Call* const call = allCalls()[kind];
    if (!call->failures.empty()) summary.calls += counted.made[kind];
    for (std::size_t time = 1; time <= counted.made[kind]; time += call == &kNew ? strides.memory : 1) {
      for (const Failure& failure : call->failures) {
        if (cell++ % strides.cells != 0) continue;
        runCell(program, {call, time, &failure}, runner, faultless, counted.descriptors, summary);
      }
    }
  }
}

void answerCommands() {
  answerCommand("getprop ro.board.platform", "brindle\n");
  answerCommand("getprop ro.product.model 2>/dev/null", "Proof\n");
  answerCommand("cat /sys/devices/soc0/machine", "VX4490P\n");
  answerCommand("cat /sys/devices/platform/soc/780130.otpbank/otpbank0/nvmem | od -An -t d4", "   1048576\n");
}

}  // namespace

Summary runPrograms(const std::string& module, std::string_view wanted, const Strides& strides) {
  Runner runner{module};
  Summary summary;
  for (const void* const address :
       {runner.address(), static_cast<const void*>(::dlsym(RTLD_NEXT, "_ZNSt6threadD1Ev"))}) {
    if (address == nullptr) continue;
    for (const std::string& name : standInFor(address)) {
      summary.mistakes.push_back("the tool calls " + name + ", and nothing says how that fails");
    }
  }
  answerCommands();
  for (const Program& program : kPrograms) {
    if (wanted == program.name) run(program, runner, strides, summary);
  }
  return summary;
}

}  // namespace proof
