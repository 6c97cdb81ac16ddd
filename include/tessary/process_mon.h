// CPU time of each process over an interval.
#ifndef TESSARY_PROCESS_MON_H
#define TESSARY_PROCESS_MON_H

#include <sys/time.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tessary/export.h"

namespace process {

// What one process had used when a sample was taken, from /proc/<pid>/stat.
struct processStats {
  int pid;
  std::string name;   // the command name, without its parentheses
  double userTime;    // seconds since the process started
  double systemTime;  // likewise
  double startTime;   // seconds after the system's start
};

// What one process used between two samples.
struct resultProcInfo {
  int pid;
  char name[64];      // NUL-terminated when it is shorter than that
  double userTime;    // seconds
  double systemTime;  // seconds
  double totalTime;   // userTime + systemTime
  double cpuShare;    // of one processor: 2.0 is two processors, busy for the whole interval
};

// The order of samples: a comes before b when it started earlier or, of two that started at the same time,
// has the smaller id.
TESSARY_API bool comparePid(processStats a, processStats b);

// Compares a sample of the processes with the one that the call before took; the first call compares with one
// taken at construction. A sample is every process that /proc lists, kernel threads included, or those of a
// list of ids, an id that stands there twice twice.
//
// All messages go to standard output. A process that cannot be read (it ended, no permission) or whose line
// cannot be parsed gets one and is missing from the sample. Only the first 255 characters of the line count,
// and its first closing parenthesis ends the name: a name with one in it is cut there, and mostly leaves a
// line that cannot be parsed.
//
// One object must not be used from two threads at once. The results belong to the monitor; the next call
// empties and refills them. A call needs 64 KiB of stack, and opens a folder and a node at the same time.
class TESSARY_API PROCESS_MON {
 public:
  class PROCESS_MON_INTERFACE;

  // `waitHook`, where there is one, waits instead of the sleep, on the caller's thread: it is given 7 and
  // returns 110 ('n') when the new sample may be taken. `pids` are the processes of the first sample, without
  // it all.
  PROCESS_MON();
  explicit PROCESS_MON(int (*waitHook)(int));
  PROCESS_MON(int (*waitHook)(int), std::vector<int> pids);
  ~PROCESS_MON();
  PROCESS_MON(const PROCESS_MON&) = delete;
  PROCESS_MON& operator=(const PROCESS_MON&) = delete;

  // Waits for one sampling interval, takes a sample of all processes, or of `pids`, and returns what has
  // changed since the sample before. Never null; empty when the wait hook returned something else than 110,
  // and the sample before stays the one to compare with.
  //
  // Processes in both samples have the time they used in between; new ones all they have used so far. Ended
  // ones come with all they had used, too, and the share 0. The samples are paired in the order of their
  // start times, by one walk that looks neither back nor ahead and expects new processes behind the old ones:
  // - With as many processes as before, the records after an ended process keep their own times but carry the
  //   id and the name of a process further on.
  // - With more than before, the walk stays at a process that ended, and reports it once for each of the
  //   processes after it.
  // - With fewer, each process has its own record. One that is new among the old ones (in a different list of
  //   ids) makes those after it both ended and new.
  //
  // The share is over this call's wait and reading, although the times count from the sample before: it comes
  // out too large for a host that pauses between calls. It is not finite when no time has passed.
  //
  // A name of more than 64 characters aborts the program. The kernel's names have 63 at most.
  std::vector<resultProcInfo>* tessary_getProcessStats();
  std::vector<resultProcInfo>* tessary_getProcessStats(std::vector<int> pids);

  // The interval in milliseconds, 1000 at first; not used where there is a wait hook. Not checked: 0 does not
  // wait, a negative one waits very long. Writes "Current Sample Time = " and the value to standard output.
  void tessary_setSamplingTime(int ms);

  int numCores;  // read by nothing
  std::unique_ptr<PROCESS_MON_INTERFACE> implementation;
  int (*waitHook)(int);  // null: sleep
};

// The state behind the facade.
class TESSARY_API PROCESS_MON::PROCESS_MON_INTERFACE {
 public:
  // Take the first sample, of all processes or of those of the list.
  PROCESS_MON_INTERFACE();
  explicit PROCESS_MON_INTERFACE(std::vector<int> pids);
  ~PROCESS_MON_INTERFACE();
  PROCESS_MON_INTERFACE(const PROCESS_MON_INTERFACE&) = delete;
  PROCESS_MON_INTERFACE& operator=(const PROCESS_MON_INTERFACE&) = delete;

  // Appends one process to currentSample.
  void readSchedStat(int pid);

  // Appends all processes, in the order in which /proc lists them, or those of the list, in its order.
  void getData();
  void getData(std::vector<int> pids);

  // Sets endTime to now and appends the records of two sorted samples, whose interval began at startTime, to
  // results; none when memory is refused. Leaves a record unreleased at each call, by design.
  void getDiff(std::vector<processStats>& previous, std::vector<processStats>& current);

  std::vector<processStats> previousSample;  // sorted
  std::vector<processStats> currentSample;   // empty between calls
  std::vector<resultProcInfo> results;
  struct timeval startTime;
  struct timeval endTime;
  int64_t numCores;
  int64_t clockTicks;  // the kernel's ticks per second
  int samplingTime;    // milliseconds
};

}  // namespace process

#endif
