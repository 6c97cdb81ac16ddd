// syscall, and pidfd_send_signal: the calls that take a process by its id, and waits on a futex, which some programs and the C++
// library make in this way.

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>

#include "simulator/board/machine.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/notices.h"
#include "simulator/seam/open_files.h"
#include "simulator/seam/process_owner.h"

namespace {

using namespace simulator;

constexpr int kArguments = 6;
using Arguments = long[kArguments];

// Which of its arguments is the process that a call acts on.
constexpr struct {
  long number;
  int place;
} kCallsOnProcesses[] = {
    {SYS_tkill, 0},         {SYS_rt_sigqueueinfo, 0},  {SYS_rt_tgsigqueueinfo, 0}, {SYS_pidfd_open, 0},
    {SYS_prlimit64, 0},     {SYS_process_vm_readv, 0}, {SYS_process_vm_writev, 0}, {SYS_sched_setattr, 0},
    {SYS_sched_getattr, 0}, {SYS_migrate_pages, 0},    {SYS_move_pages, 0},        {SYS_kcmp, 0},
    {SYS_kcmp, 1},          {SYS_perf_event_open, 1},  {SYS_ioprio_get, 1},        {SYS_ioprio_set, 1},
};

// Of a process alone: -1 is every one, and a group or a user is another matter.
bool isOfOneProcess(long number, const Arguments& arguments) {
  constexpr long kProcess = 1;  // IOPRIO_WHO_PROCESS
  const bool isPriority = number == SYS_ioprio_get || number == SYS_ioprio_set;
  return !isPriority || arguments[0] == kProcess;
}

int refusalOf(long number, const Arguments& arguments) {
  for (const auto& call : kCallsOnProcesses) {
    const auto process = static_cast<pid_t>(arguments[call.place]);
    if (call.number != number || process <= 0 || !isOfOneProcess(number, arguments)) continue;
    if (const int refusal = refusalFor(ownerOf(process))) return refusal;
  }
  return 0;
}

}  // namespace

// A folder of a process under /proc stands for it, too.
STANDS_IN int pidfd_send_signal(int process, int signal, siginfo_t* info, unsigned flags) noexcept {
  const auto file = openFile(process);
  if (file == nullptr)
    return static_cast<int>(machineCall(SYS_pidfd_send_signal, process, signal, info, flags));
  constexpr char kProcesses[] = "/proc/";
  const bool isProcess = file->folder.rfind(kProcesses, 0) == 0;
  const pid_t id = isProcess ? std::atoi(file->folder.c_str() + sizeof kProcesses - 1) : 0;
  return id > 0 ? ::kill(id, signal) : fail(EBADF);
}

STANDS_IN long syscall(long number, ...) noexcept {
  std::va_list list;
  va_start(list, number);
  Arguments all;
  for (long& argument : all) argument = va_arg(list, long);
  va_end(list);
  if (number == SYS_kill) return ::kill(static_cast<pid_t>(all[0]), static_cast<int>(all[1]));
  if (number == SYS_tgkill)
    return ::tgkill(static_cast<pid_t>(all[0]), static_cast<pid_t>(all[1]), static_cast<int>(all[2]));
  if (number == SYS_pidfd_send_signal)
    return ::pidfd_send_signal(static_cast<int>(all[0]), static_cast<int>(all[1]),
                               reinterpret_cast<siginfo_t*>(all[2]), static_cast<unsigned>(all[3]));
  long result = 0;
  if (number == SYS_futex && waitsOnFutex(all, result)) return result;
  if (const int refusal = refusalOf(number, all)) return fail(refusal);
  return NEXT(syscall)(number, all[0], all[1], all[2], all[3], all[4], all[5]);
}
