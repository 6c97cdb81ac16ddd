#include "tessary/procmem_mon.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support.h"

namespace {

const std::string kHeader = "5b3e8c6d2000-7ffe4b9f1000 ---p 00000000 00:00 0                    [rollup]\n";
const std::string kRollup = kHeader + R"(Rss:                4664 kB
Pss:                 891 kB
Pss_Dirty:           520 kB
Shared_Clean:       3936 kB
Private_Clean:       208 kB
Private_Dirty:       520 kB
Referenced:         4664 kB
)";

struct ProcessMemory : testing::Test {
  ProcessMemory() { board.folder("/proc"); }

  void put(int pid, const std::string& name, int ppid, const std::string& vmBytes,
           const std::string& rollup = kRollup) {
    const std::string id = std::to_string(pid);
    board.file("/proc/" + id + "/stat", id + " (" + name + ") S " + std::to_string(ppid) +
                                            " 1 1 0 -1 4194560 5 6 7 8 9 10 11 12 20 -5 1 0 350 " + vmBytes +
                                            " 2048\n");
    board.file("/proc/" + id + "/smaps_rollup", rollup);
  }

  // pid, ppid, name, virtual size, then rss/pss/private of each record.
  static std::string show(const std::vector<procmem::processMemoryMap>* results) {
    std::ostringstream text;
    for (const procmem::processMemoryMap& record : *results) {
      text << record.pid << ' ' << record.ppid << ' ' << record.name << ' ' << record.vmSize << ' '
           << record.rss << '/' << record.pss << '/' << record.privateMem << '\n';
    }
    return text.str();
  }

  simulator::Board board;
};

TEST_F(ProcessMemory, LeavesOutTheKernelsThreads) {
  put(1, "init", 0, "1048575");
  put(2, "kthreadd", 0, "0");
  put(9, "kworker/0:1", 2, "0");
  put(612, "app", 1, "18446744073709551615");
  board.file("/proc/fs/stat", "no process");
  {
    procmem::PERPROCMEM_MON monitor;
    EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats()),
              "1 0 (init) 1023 4664/891/728\n612 1 (app) 18014398509481983 4664/891/728\n");
    EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats({612, 2, 9, 1})),
              "612 1 (app) 18014398509481983 4664/891/728\n1 0 (init) 1023 4664/891/728\n");
  }
  EXPECT_EQ(
      board.logged(kVerbose),
      (Lines{"The constructor of the class is called\n", "The constructor of the perprocmem_mon is called\n",
             "Prepping the vector to hold per process memory stats\n",
             "Retrieving the per process memory stats from /proc/ file system\n",
             "Returning the per process memory stats to the calling function\n",
             "The destructor of the class is called\n", "The destructor of the perprocmem_mon is called\n"}));
  EXPECT_EQ(board.logged(kError), Lines{});
}

TEST_F(ProcessMemory, ReportsWhatCannotBeRead) {
  put(30, "secret", 1, "2048");
  put(31, "zombie", 1, "0", " \n");
  board.refuse("/proc/30/smaps_rollup", EACCES);
  procmem::PERPROCMEM_MON monitor;
  const int before = openDescriptors();
  EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats({4, 30})), "30 1 (secret) 2 0/0/0\n");
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats({31})), "31 1 (zombie) 0 0/0/0\n");
  EXPECT_EQ(openDescriptors(), before + 1);  // the empty text's
  board.refuse("/proc", EMFILE);
  EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats()), "");
  EXPECT_EQ(board.logged(kError),
            (Lines{"Warning: /proc/4/stat Not able to be opened\n", "Process cannot be opened.\n",
                   "Warning: /proc/30/smaps_rollup Not able to be opened\n",
                   "Error: /proc/31/smaps_rollup is empty\n", "opendir(proc) failed\n"}));
}

TEST_F(ProcessMemory, RollupsAreRunsOfWords) {
  const std::pair<std::string, std::string> rows[] = {
      {"Rss: 1 Pss: 2 kB\nRss: 4 kB\n", "4/0/0"},  // the first row is skipped, whatever it is
      {kHeader + "Private_Dirty: 1 kB\nPrivate_Dirty: 2 kB\nPss: 4 kB\nRss: 8 kB\nRss: 16 kB\n", "8/4/3"},
      {kHeader + "Rss: 1 kB Pss: 2\n kB", "1/2/0"},
      {kHeader + "Rss: 1 kB\nPss: 2", "1/0/0"},
      {kHeader + "Rss: much kB\nPss: 2 kB\n", "0/2/0"},
      {kHeader + "rss: 1 kB\nPss_Anon: 2 kB\nPss:x 3 kB\n", "0/3/0"},
      {kHeader + std::string(300, 'k') + " 1 kB\nRss: 2 kB\n", "2/0/0"},
      {kHeader + "Rss: 18446744073709551616 kB\nPss: -1 kB\n", "18446744073709551615/18446744073709551615/0"},
      {kHeader, "0/0/0"},
  };
  procmem::PERPROCMEM_MON monitor;
  for (const auto& [rollup, figures] : rows) {
    put(30, "a", 1, "2048", rollup);
    EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats({30})), "30 1 (a) 2 " + figures + "\n") << rollup;
  }
}

TEST_F(ProcessMemory, ABlankInTheNamePutsTheRowOutOfStep) {
  put(9, "kworker/0:1", 2, "4096");
  put(30, "Web Content", 1, "8192");
  put(31, "x y 7", 1, "8192");
  put(32, std::string(200, 'n'), 1, "8192");  // cut to its field, and in step
  procmem::PERPROCMEM_MON monitor;
  EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats({30, 31, 32})),
            "30 -1 (Web 0 4664/891/728\n31 7 (x 0 4664/891/728\n"
            "32 1 (" +
                std::string(126, 'n') + " 8 4664/891/728\n");
  // Right after a kernel thread it has that one's parent.
  EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats({9, 30})), "");
}

TEST_F(ProcessMemory, WhatARollupLacksKeepsItsValue) {
  put(30, "a", 1, "2048", kHeader + "Rss: 4 kB\nPrivate_Dirty: 5 kB\n");
  procmem::PERPROCMEM_MON monitor;
  auto& state = *monitor.implementation;
  state.pss = 1;
  state.rss = 2;
  state.privateMem = 3;
  state.readProcSmapsRollup(30);
  EXPECT_EQ(state.pss, 1U);
  EXPECT_EQ(state.rss, 4U);
  EXPECT_EQ(state.privateMem, 8U);  // added to
}

TEST_F(ProcessMemory, RefusedMemoryIsAskedForAgain) {
  put(30, "a", 1, "2048");
  for (const int buffer : {1, 2}) {
    board.failAllocation(buffer);
    procmem::PERPROCMEM_MON monitor;
    board.failAllocation(1);
    EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats()), "");
    EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats()), "30 1 (a) 2 4664/891/728\n");
    board.failAllocation(1);  // the working space of a rollup
    EXPECT_EQ(show(monitor.tessary_getPerProcessMemStats()), "30 1 (a) 2 0/0/0\n");
  }
  EXPECT_EQ(board.logged(kError), Lines(6, "Error in calloc, null pointer returned.\n"));
}

}  // namespace
