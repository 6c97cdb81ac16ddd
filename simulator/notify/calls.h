// The system calls that the kernel asks the simulator about, and those that it refuses on its own. Every call
// that takes a path or a process id is in one of the two tables, so that none of them reaches the machine's
// by accident; the rest are answered by the kernel, as if nothing stood in front of it.
#ifndef TESSARY_SIMULATOR_NOTIFY_CALLS_H
#define TESSARY_SIMULATOR_NOTIFY_CALLS_H

#include <cstdint>
#include <vector>

namespace simulator {

enum class Treatment {
  kOpen,           // other: flags
  kOpenHow,        // other: struct open_how
  kStatus,         // other: struct stat; flags follow it
  kStatusOfLink,   // the same, of a symbolic link itself
  kStatusOfFile,   // folder: the descriptor
  kStatx,          // other: struct statx; flags before the mask
  kTest,           // other: mode
  kReadLink,       // other: the buffer; its size follows it
  kFileSystem,     // other: struct statfs
  kChange,         // writes, makes, removes, renames, watches: not on the board
  kAttribute,      // extended attributes and file handles, which nodes do not have
  kEnter,          // chdir
  kExecute,        // execve
  kWorkingFolder,  // getcwd
  kReread,         // folder: the descriptor; reading goes back to the start of a file
  kRead,           // the same, reading anywhere
  kProcess,        // path: the process id
  kSignal,         // the same; below 0 it is a group's, and -1 everybody
  kAffinity,       // path: the process id, other: the buffer; its size is before it
  kMemory,         // sysinfo
  kSystemName,     // uname
  kNetwork,        // a request that shows the network's configuration
  kNetlink,        // a socket that may; other: its protocol
};

constexpr int kNoFolder = -1;  // paths are relative to the working folder

// Where a call has what it is about: positions of its arguments.
struct NotifiedCall {
  int number;
  Treatment treatment;
  int folder;
  int path;
  int other;
};

// A call with two paths is there twice.
const std::vector<NotifiedCall>& notifiedCalls();

// Asked about only if these of its arguments have these values: reading goes back to a file's start so seldom
// that it costs nothing to ask, and each read would cost much.
struct ArgumentTest {
  int number;
  int position;
  std::uint64_t mask;
  std::uint64_t value;
};
const std::vector<ArgumentTest>& argumentTests();

struct RefusedCall {
  int number;
  int error;
};
const std::vector<RefusedCall>& refusedCalls();

// Calls that are newer than these tables may take a path: programs are told that the kernel does not have
// them.
constexpr int kFirstUnknownCall = 463;

}  // namespace simulator

#endif
