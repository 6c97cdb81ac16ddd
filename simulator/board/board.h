// A board that does not exist. While one is there, its nodes, cores, properties and devices stand in front of
// the machine's for every call that goes through the C library: see interpose.cpp for which calls these are.
//
//   Board board{Cores{8}};
//   board.file("/sys/class/thermal/thermal_zone0/temp", "45000\n");   // millidegrees Celsius
//   board.refuse("/sys/class/thermal/thermal_zone1/temp", EAGAIN);
//   board.afterWait([&] { board.file("/proc/stat", kSecondReading); });
//
// Time is stepped in tests: a wait returns at once and moves the clock by what it asked for.
//
// A folder in which the board has a file is the board's own, with all that is in it: what the board does not
// define there does not exist. The folders /, /proc, /sys, /dev, /sys/class and /sys/devices alone are shared
// with the machine, unless folder() claims them: listed, they have the entries of both. Folders list their
// entries in the order of their definition.
#ifndef TESSARY_SIMULATOR_BOARD_BOARD_H
#define TESSARY_SIMULATOR_BOARD_BOARD_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/board/clock.h"
#include "simulator/board/fork_safe_mutex.h"
#include "simulator/board/history.h"
#include "simulator/board/path_map.h"

namespace simulator {

// The processors that sysconf reports as configured. An explicit type, so that Board{Cores{8}} reads as it
// means.
struct Cores {
  int configured;
};

struct LogLine {
  int priority;
  std::string tag;
  std::string text;
};

// A call of dlopen.
struct LibraryLoad {
  std::string name;
  int mode;
};

// A node as the calls that open it see it.
struct Node {
  std::function<std::string()> text;  // rendered at each opening
  int openError = 0;                  // errno of opening, listing or testing it; 0 when it opens
  int readError = 0;                  // errno of reading it
  std::size_t readLimit = 0;          // the most that one read returns; 0 for no limit
  std::function<int(unsigned long request, void* argument)> ioctl;  // a device: the result, or -errno
  bool isFolder = false;
  std::vector<std::string> entries;  // of a folder
  bool isLink = false;               // of a process: what it leads to is not to be seen
  bool isGone = false;               // it is not there now: not listed, ENOENT
};

// What a folder holds at the moment when it is asked, beside what the board defines in it.
struct Residents {
  std::function<std::vector<std::string>()> names;
  std::function<std::optional<Node>(std::string_view below)> find;  // "12" and "12/stat"; none: not there
};

class Board {
 public:
  using Text = std::function<std::string()>;

  // With cores, /sys/devices/system/cpu is the board's own, empty at first. Without, both are the machine's.
  // One board at a time.
  explicit Board(std::optional<Cores> cores = std::nullopt, Clock::Mode time = Clock::Mode::kStepped);
  explicit Board(Clock clock);
  ~Board();
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  static Board* active();

  // -- what is on the board

  void file(const std::string& path, std::string text);
  void file(const std::string& path, Text text);
  void folder(const std::string& path);
  void device(const std::string& path, std::function<int(unsigned long, void*)> ioctl);
  void property(const std::string& name, const std::string& value);  // as getprop prints it
  void cores(int configured, std::function<int()> online = nullptr);
  void ticksPerSecond(int ticks);
  void residents(const std::string& folder, Residents residents);
  void keep(std::shared_ptr<void> companion);  // as long as the board is there
  void remove(const std::string& path);        // with all below it; its folder stays the board's

  // A library that dlopen finds on this board, and the file that stands in for it; none: dlopen fails.
  void library(const std::string& name, const std::string& file);

  // -- faults

  void refuse(const std::string& path, int error);    // opening, listing and testing it fail; it stays listed
  void failRead(const std::string& path, int error);  // it opens, and reading it fails
  void limitReads(const std::string& path, std::size_t bytes);  // one read returns no more than this
  void refuseCommands(int error);                               // no shell can be started; 0 ends it
  void refuseCommands(std::function<int()> error);              // the same, asked at each start

  // The library's countdown-th zero-filled allocation from now on fails; 1 is the next.
  void failAllocation(int countdown);

  // Whatever else: the change sees the node, and every node below it, as it is about to be opened, listed or
  // tested, and makes of it what it likes. It is asked each time, so that it can come and go.
  void change(const std::string& path, std::function<void(Node&)> change);

  // -- time

  // Runs at the end of the next wait; several run at one wait each, in order.
  void afterWait(std::function<void()> change);
  Clock& clock() { return clock_; }
  const Clock& clock() const { return clock_; }

  // -- what happened

  std::vector<std::int64_t> waits() const;  // microseconds, in order
  std::vector<std::string> opened() const;  // paths of the board's files, in order, refused ones included
  std::vector<LibraryLoad> loads() const;   // in order, failed ones included
  std::vector<LogLine> log() const;
  std::vector<std::string> logged(int priority) const;  // texts alone
  void forgetHistory();

  // A board that runs for hours keeps no history: those above stay empty, and the log goes to the
  // platform's.
  void keepHistory(bool keep);
  bool keepsHistory() const;

  // -- for the calls that stand in front of the C library

  struct Opening {
    bool mine = false;  // false: the path is the machine's
    std::string path;   // its one name, whatever it was called by
    int error = 0;
    bool isFolder = false;
    Node node;
  };
  Opening open(const std::string& path);
  Opening look(const std::string& path) const;  // the same, not recorded as an opening
  std::vector<std::string> list(const std::string& path) const;
  std::vector<std::string> listShared(const std::string& path) const;  // what it adds to a shared folder
  std::optional<int> configuredCores() const;
  std::optional<int> onlineCores() const;
  std::optional<int> ticksPerSecond() const;
  int commandError() const;
  bool failsAllocations() const { return allocationCountdown_ > 0; }  // at all: asked at each one
  bool allocationFails();
  std::optional<std::string> libraryFile(const std::string& name) const;
  std::int64_t wait(std::int64_t microseconds);  // those that are left when a signal interrupts it
  void waited(std::int64_t microseconds);        // what a wait does beside that: history and changes
  void addLoad(LibraryLoad load);
  void addLogLine(LogLine line);

  // The board as it stands, as one text that a child process makes its own board of.
  std::string freeze() const;
  void thaw(std::string_view frozen);

 private:
  struct FolderEntries {
    std::vector<std::string> names;
    int openError = 0;
  };

  Node& node(const std::string& path);
  void enter(std::string_view path);
  std::optional<Node> find(const std::string& key) const;
  std::optional<Node> findResident(const std::string& key) const;
  std::optional<Node> findCommon(const std::string& key) const;
  void applyChanges(const std::string& key, Node& node) const;

  mutable ForkSafeMutex mutex_;
  Clock clock_;
  std::optional<int> cores_;
  std::function<int()> onlineCores_;
  std::optional<int> ticksPerSecond_;
  PathMap<Node> nodes_;
  PathMap<FolderEntries> folders_;
  std::map<std::string, std::string> libraries_;
  PathMap<Residents> residents_;
  std::map<std::string, std::vector<std::function<void(Node&)>>, std::less<>> nodeChanges_;
  std::function<int()> commandError_;
  std::atomic<int> allocationCountdown_{0};
  std::vector<std::function<void()>> changes_;
  History<std::int64_t> waits_;
  History<std::string> opened_;
  History<LibraryLoad> loads_;
  History<LogLine> log_;
  std::vector<std::shared_ptr<void>> companions_;
};

}  // namespace simulator

#endif
