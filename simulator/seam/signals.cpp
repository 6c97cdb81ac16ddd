// Signals, and what else takes a process by its id: kill, killpg, tgkill, sigqueue, pidfd_open, ptrace,
// process_vm_readv, process_vm_writev; getpriority, setpriority, prlimit, the sched_ family; getpgid,
// setpgid, getsid; acct and klogctl, which tell of all processes. A process of the board is to the program one of another user; none of the machine's is
// reached that the program did not start.

#include <sched.h>
#include <sys/klog.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>

#include "simulator/board/board.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/process_owner.h"

namespace {

using namespace simulator;

// A signal of 0 asks whether the process is there.
int refuseSignal(ProcessOwner owner, int signal) {
  if (owner == ProcessOwner::kBoard && signal == 0) return 0;
  return fail(refusalFor(owner));
}

// To every process that the program may signal, but itself: those of the board's programs.
int killAll(int signal) {
  int reached = 0;
  for (const pid_t process : Board::active()->clock().processesOnBoard()) {
    if (process != ::getpid() && NEXT(kill)(process, signal) == 0) ++reached;
  }
  return reached != 0 ? 0 : fail(ESRCH);
}

int killAs(pid_t process, int signal) {
  constexpr pid_t kAll = -1;
  if (process == kAll) return hasProcesses() ? killAll(signal) : NEXT(kill)(process, signal);
  const ProcessOwner owner = process < 0 ? ownerOfGroup(-process) : ownerOf(process);
  return owner == ProcessOwner::kProgram ? NEXT(kill)(process, signal) : refuseSignal(owner, signal);
}

}  // namespace

// `call` where the process is the program's own, the error of one of another user's otherwise.
#define UNLESS_OTHERS(process, call)                \
  const int refusal = refusalFor(ownerOf(process)); \
  return refusal == 0 ? (call) : fail(refusal)

// The same, where everyone may ask: `answer` is the board's.
#define UNLESS_BOARDS(process, call, answer)          \
  const ProcessOwner owner = ownerOf(process);        \
  if (owner == ProcessOwner::kBoard) return (answer); \
  return owner == ProcessOwner::kProgram ? (call) : fail(ESRCH)

STANDS_IN int kill(pid_t process, int signal) noexcept { return killAs(process, signal); }

STANDS_IN int killpg(pid_t group, int signal) noexcept {
  if (group < 0) return fail(EINVAL);
  return killAs(group == 0 ? 0 : -group, signal);
}

STANDS_IN int tgkill(pid_t process, pid_t thread, int signal) {
  const ProcessOwner owner = ownerOf(process);
  return owner == ProcessOwner::kProgram ? NEXT(tgkill)(process, thread, signal)
                                         : refuseSignal(owner, signal);
}

STANDS_IN int sigqueue(pid_t process, int signal, sigval value) noexcept {
  const ProcessOwner owner = ownerOf(process);
  return owner == ProcessOwner::kProgram ? NEXT(sigqueue)(process, signal, value)
                                         : refuseSignal(owner, signal);
}

// Not in every C library: by the system call, which is checked where all of them are.
STANDS_IN int pidfd_open(pid_t process, unsigned flags) noexcept {
  return static_cast<int>(::syscall(SYS_pidfd_open, process, flags));
}

// Its first parameter is an enumeration, which arguments cannot follow unnamed.
extern "C" __attribute__((visibility("default"))) long ptraceByNumber(int request, ...) noexcept
    __asm__("ptrace");

long ptraceByNumber(int request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  const auto process = va_arg(arguments, pid_t);
  void* const address = va_arg(arguments, void*);
  void* const data = va_arg(arguments, void*);
  va_end(arguments);
  static std::atomic<void*> known{nullptr};
  const auto trace = simulator::next<long(int, ...)>("ptrace", known);
  if (request == PTRACE_TRACEME) return trace(request, process, address, data);
  UNLESS_OTHERS(process, trace(request, process, address, data));
}

STANDS_IN ssize_t process_vm_readv(pid_t process, const iovec* own, unsigned long ownCount,
                                   const iovec* others, unsigned long otherCount,
                                   unsigned long flags) noexcept {
  UNLESS_OTHERS(process, NEXT(process_vm_readv)(process, own, ownCount, others, otherCount, flags));
}

STANDS_IN ssize_t process_vm_writev(pid_t process, const iovec* own, unsigned long ownCount,
                                    const iovec* others, unsigned long otherCount,
                                    unsigned long flags) noexcept {
  UNLESS_OTHERS(process, NEXT(process_vm_writev)(process, own, ownCount, others, otherCount, flags));
}

// -- priorities and limits. The board's processes run as their nodes say: at the usual priority, on every
// core.

namespace {

ProcessOwner ownerFor(int which, id_t who) {
  if (which == PRIO_PROCESS) return ownerOf(static_cast<pid_t>(who));
  return which == PRIO_PGRP && who != 0 ? ownerOfGroup(static_cast<pid_t>(who)) : ProcessOwner::kProgram;
}

}  // namespace

STANDS_IN int getpriority(__priority_which_t which, id_t who) noexcept {
  const ProcessOwner owner = ownerFor(static_cast<int>(which), who);
  if (owner == ProcessOwner::kBoard) return 0;
  return owner == ProcessOwner::kProgram ? NEXT(getpriority)(which, who) : fail(ESRCH);
}

STANDS_IN int setpriority(__priority_which_t which, id_t who, int priority) noexcept {
  const int refusal = refusalFor(ownerFor(static_cast<int>(which), who));
  return refusal == 0 ? NEXT(setpriority)(which, who, priority) : fail(refusal);
}

STANDS_IN int prlimit(pid_t process, __rlimit_resource resource, const rlimit* limit, rlimit* old) noexcept {
  UNLESS_OTHERS(process, NEXT(prlimit)(process, resource, limit, old));
}
STANDS_IN int prlimit64(pid_t process, __rlimit_resource resource, const rlimit64* limit,
                        rlimit64* old) noexcept {
  UNLESS_OTHERS(process, NEXT(prlimit64)(process, resource, limit, old));
}

STANDS_IN int sched_getscheduler(pid_t process) noexcept {
  UNLESS_BOARDS(process, NEXT(sched_getscheduler)(process), SCHED_OTHER);
}
STANDS_IN int sched_setscheduler(pid_t process, int policy, const sched_param* parameter) noexcept {
  UNLESS_OTHERS(process, NEXT(sched_setscheduler)(process, policy, parameter));
}
STANDS_IN int sched_getparam(pid_t process, sched_param* parameter) noexcept {
  UNLESS_BOARDS(process, NEXT(sched_getparam)(process, parameter), (*parameter = {}, 0));
}
STANDS_IN int sched_setparam(pid_t process, const sched_param* parameter) noexcept {
  UNLESS_OTHERS(process, NEXT(sched_setparam)(process, parameter));
}
STANDS_IN int sched_rr_get_interval(pid_t process, timespec* interval) noexcept {
  UNLESS_BOARDS(process, NEXT(sched_rr_get_interval)(process, interval), (*interval = {}, 0));
}
STANDS_IN int sched_setaffinity(pid_t process, std::size_t bytes, const cpu_set_t* cores) noexcept {
  UNLESS_OTHERS(process, NEXT(sched_setaffinity)(process, bytes, cores));
}

// -- groups and sessions, of which each process of the board leads its own

STANDS_IN pid_t getpgid(pid_t process) noexcept { UNLESS_BOARDS(process, NEXT(getpgid)(process), process); }
STANDS_IN pid_t getsid(pid_t process) noexcept { UNLESS_BOARDS(process, NEXT(getsid)(process), process); }
STANDS_IN int setpgid(pid_t process, pid_t group) noexcept {
  UNLESS_OTHERS(process, NEXT(setpgid)(process, group));
}

// -- what the machine's kernel tells of processes that are none of the board's: those that end, with acct, and what
// it has logged

STANDS_IN int acct(const char* file) noexcept { return hasProcesses() ? fail(EPERM) : NEXT(acct)(file); }

STANDS_IN int klogctl(int action, char* text, int bytes) noexcept {
  return hasProcesses() ? fail(EPERM) : NEXT(klogctl)(action, text, bytes);
}
