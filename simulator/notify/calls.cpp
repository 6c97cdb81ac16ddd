#include "simulator/notify/calls.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <cerrno>

namespace simulator {

namespace {

constexpr int kNone = -1;
constexpr std::uint64_t kWhole = ~std::uint64_t{0};
constexpr std::uint64_t kInt = 0xffffffff;
constexpr std::uint64_t kRequestKind = 0xff00;
constexpr std::uint64_t kPriorityOfProcess = 1;    // IOPRIO_WHO_PROCESS
constexpr std::uint64_t kSocketRequests = 0x8900;  // SIOCGIFCONF and its kin

// Newer than the headers of some systems that this is built on; the numbers are those of all architectures.
constexpr int kFchmodat2 = 452;
constexpr int kStatmount = 457;
constexpr int kListmount = 458;

}  // namespace

const std::vector<NotifiedCall>& notifiedCalls() {
  using T = Treatment;
  static const std::vector<NotifiedCall> calls{
#ifdef SYS_open
      // What 64-bit Arm never had.
      {SYS_open, T::kOpen, kNoFolder, 0, 1},
      {SYS_creat, T::kChange, kNoFolder, 0, kNone},
      {SYS_stat, T::kStatus, kNoFolder, 0, 1},
      {SYS_lstat, T::kStatusOfLink, kNoFolder, 0, 1},
      {SYS_access, T::kTest, kNoFolder, 0, 1},
      {SYS_readlink, T::kReadLink, kNoFolder, 0, 1},
      {SYS_chmod, T::kChange, kNoFolder, 0, kNone},
      {SYS_chown, T::kChange, kNoFolder, 0, kNone},
      {SYS_lchown, T::kChange, kNoFolder, 0, kNone},
      {SYS_utime, T::kChange, kNoFolder, 0, kNone},
      {SYS_utimes, T::kChange, kNoFolder, 0, kNone},
      {SYS_futimesat, T::kChange, 0, 1, kNone},
      {SYS_rename, T::kChange, kNoFolder, 0, kNone},
      {SYS_rename, T::kChange, kNoFolder, 1, kNone},
      {SYS_link, T::kChange, kNoFolder, 0, kNone},
      {SYS_link, T::kChange, kNoFolder, 1, kNone},
      {SYS_symlink, T::kChange, kNoFolder, 1, kNone},
      {SYS_unlink, T::kChange, kNoFolder, 0, kNone},
      {SYS_rmdir, T::kChange, kNoFolder, 0, kNone},
      {SYS_mkdir, T::kChange, kNoFolder, 0, kNone},
      {SYS_mknod, T::kChange, kNoFolder, 0, kNone},
#endif
      {SYS_openat, T::kOpen, 0, 1, 2},
      {SYS_openat2, T::kOpenHow, 0, 1, 2},
      {SYS_newfstatat, T::kStatus, 0, 1, 2},
      {SYS_fstat, T::kStatusOfFile, 0, kNone, 1},
      {SYS_statx, T::kStatx, 0, 1, 4},
      {SYS_faccessat, T::kTest, 0, 1, 2},
      {SYS_faccessat2, T::kTest, 0, 1, 2},
      {SYS_readlinkat, T::kReadLink, 0, 1, 2},
      {SYS_statfs, T::kFileSystem, kNoFolder, 0, 1},

      {SYS_truncate, T::kChange, kNoFolder, 0, kNone},
      {SYS_fchmodat, T::kChange, 0, 1, kNone},
      {kFchmodat2, T::kChange, 0, 1, kNone},
      {SYS_fchownat, T::kChange, 0, 1, kNone},
      {SYS_utimensat, T::kChange, 0, 1, kNone},
      {SYS_renameat, T::kChange, 0, 1, kNone},
      {SYS_renameat, T::kChange, 2, 3, kNone},
      {SYS_renameat2, T::kChange, 0, 1, kNone},
      {SYS_renameat2, T::kChange, 2, 3, kNone},
      {SYS_linkat, T::kChange, 0, 1, kNone},
      {SYS_linkat, T::kChange, 2, 3, kNone},
      {SYS_symlinkat, T::kChange, 1, 2, kNone},
      {SYS_unlinkat, T::kChange, 0, 1, kNone},
      {SYS_mkdirat, T::kChange, 0, 1, kNone},
      {SYS_mknodat, T::kChange, 0, 1, kNone},
      {SYS_inotify_add_watch, T::kChange, kNoFolder, 1, kNone},
      {SYS_fanotify_mark, T::kChange, 3, 4, kNone},

      {SYS_setxattr, T::kAttribute, kNoFolder, 0, kNone},
      {SYS_lsetxattr, T::kAttribute, kNoFolder, 0, kNone},
      {SYS_getxattr, T::kAttribute, kNoFolder, 0, kNone},
      {SYS_lgetxattr, T::kAttribute, kNoFolder, 0, kNone},
      {SYS_listxattr, T::kAttribute, kNoFolder, 0, kNone},
      {SYS_llistxattr, T::kAttribute, kNoFolder, 0, kNone},
      {SYS_removexattr, T::kAttribute, kNoFolder, 0, kNone},
      {SYS_lremovexattr, T::kAttribute, kNoFolder, 0, kNone},
      {SYS_name_to_handle_at, T::kAttribute, 0, 1, kNone},

      {SYS_chdir, T::kEnter, kNoFolder, 0, kNone},
      {SYS_execve, T::kExecute, kNoFolder, 0, kNone},
      {SYS_execveat, T::kExecute, 0, 1, kNone},
      {SYS_getcwd, T::kWorkingFolder, kNone, kNone, 0},

      {SYS_read, T::kRead, 0, kNone, kNone},
      {SYS_readv, T::kRead, 0, kNone, kNone},
      {SYS_sendfile, T::kRead, 1, kNone, kNone},
      {SYS_splice, T::kRead, 0, kNone, kNone},
      {SYS_copy_file_range, T::kRead, 0, kNone, kNone},
      {SYS_lseek, T::kReread, 0, kNone, kNone},
      {SYS_pread64, T::kReread, 0, kNone, kNone},
      {SYS_preadv, T::kReread, 0, kNone, kNone},
      {SYS_preadv2, T::kReread, 0, kNone, kNone},

      {SYS_kill, T::kSignal, kNone, 0, kNone},
      {SYS_tkill, T::kSignal, kNone, 0, kNone},
      {SYS_tgkill, T::kSignal, kNone, 0, kNone},
      {SYS_rt_sigqueueinfo, T::kSignal, kNone, 0, kNone},
      {SYS_rt_tgsigqueueinfo, T::kSignal, kNone, 0, kNone},
      {SYS_pidfd_open, T::kProcess, kNone, 0, kNone},
      {SYS_setpriority, T::kProcess, kNone, 1, kNone},
      {SYS_getpriority, T::kProcess, kNone, 1, kNone},
      {SYS_prlimit64, T::kProcess, kNone, 0, kNone},
      {SYS_sched_setaffinity, T::kProcess, kNone, 0, kNone},
      {SYS_sched_getaffinity, T::kAffinity, kNone, 0, 2},
      {SYS_sched_setparam, T::kProcess, kNone, 0, kNone},
      {SYS_sched_getparam, T::kProcess, kNone, 0, kNone},
      {SYS_sched_setscheduler, T::kProcess, kNone, 0, kNone},
      {SYS_sched_getscheduler, T::kProcess, kNone, 0, kNone},
      {SYS_sched_setattr, T::kProcess, kNone, 0, kNone},
      {SYS_sched_getattr, T::kProcess, kNone, 0, kNone},
      {SYS_sched_rr_get_interval, T::kProcess, kNone, 0, kNone},
      {SYS_ioprio_set, T::kProcess, kNone, 1, kNone},
      {SYS_ioprio_get, T::kProcess, kNone, 1, kNone},
      {SYS_setpgid, T::kProcess, kNone, 0, kNone},
      {SYS_getpgid, T::kProcess, kNone, 0, kNone},
      {SYS_getsid, T::kProcess, kNone, 0, kNone},
      {SYS_ptrace, T::kProcess, kNone, 1, kNone},
      {SYS_process_vm_readv, T::kProcess, kNone, 0, kNone},
      {SYS_process_vm_writev, T::kProcess, kNone, 0, kNone},
      {SYS_kcmp, T::kProcess, kNone, 0, kNone},
      {SYS_migrate_pages, T::kProcess, kNone, 0, kNone},
      {SYS_move_pages, T::kProcess, kNone, 0, kNone},
      {SYS_perf_event_open, T::kProcess, kNone, 1, kNone},

      {SYS_sysinfo, T::kMemory, kNone, kNone, 0},
      {SYS_uname, T::kSystemName, kNone, kNone, 0},
      {SYS_socket, T::kNetlink, kNone, kNone, 2},
      {SYS_ioctl, T::kNetwork, kNone, kNone, kNone},
  };
  return calls;
}

const std::vector<ArgumentTest>& argumentTests() {
  static const std::vector<ArgumentTest> tests{
      {SYS_lseek, 1, kWhole, 0},
      {SYS_lseek, 2, kInt, 0},  // SEEK_SET
      {SYS_pread64, 3, kWhole, 0},
      {SYS_preadv, 3, kWhole, 0},
      {SYS_preadv2, 3, kWhole, 0},
      {SYS_socket, 0, kInt, AF_NETLINK},
      {SYS_ioctl, 1, kRequestKind, kSocketRequests},
      // The others are about groups and users.
      {SYS_setpriority, 0, kInt, PRIO_PROCESS},
      {SYS_getpriority, 0, kInt, PRIO_PROCESS},
      {SYS_ioprio_set, 0, kInt, kPriorityOfProcess},
      {SYS_ioprio_get, 0, kInt, kPriorityOfProcess},
  };
  return tests;
}

const std::vector<RefusedCall>& refusedCalls() {
  static const std::vector<RefusedCall> calls{
      // Their paths go past every filter; programs fall back to the calls that they are short for.
      {SYS_io_uring_setup, ENOSYS},
      {SYS_io_uring_enter, ENOSYS},
      {SYS_io_uring_register, ENOSYS},
      {kStatmount, ENOSYS},
      {kListmount, ENOSYS},
      // With these a path or a process id would mean something else to the program than to the simulator.
      {SYS_chroot, EPERM},
      {SYS_pivot_root, EPERM},
      {SYS_mount, EPERM},
      {SYS_umount2, EPERM},
      {SYS_open_tree, EPERM},
      {SYS_move_mount, EPERM},
      {SYS_fsopen, EPERM},
      {SYS_fspick, EPERM},
      {SYS_mount_setattr, EPERM},
      {SYS_unshare, EPERM},
      {SYS_setns, EPERM},
      {SYS_open_by_handle_at, EPERM},
      // These tell of the machine's processes.
      {SYS_acct, EPERM},
      {SYS_syslog, EPERM},
  };
  return calls;
}

}  // namespace simulator
