#include "tessary/process_mon.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support.h"

namespace {

using process::PROCESS_MON;
using process::processStats;
using process::resultProcInfo;

struct ProcessMonitor : testing::Test {
  ProcessMonitor() { board.folder("/proc"); }

  void put(int pid, int userTicks, int startTicks, int systemTicks = 0) {
    std::ostringstream line;
    line << pid << " (p" << pid << ") R 1 2 3 4 -1 6 7 8 9 10 " << userTicks << ' ' << systemTicks
         << " 11 12 20 0 1 0 " << startTicks << " 4096\n";
    board.file("/proc/" + std::to_string(pid) + "/stat", line.str());
  }

  // The name, seconds and share of each record.
  static std::string show(const std::vector<resultProcInfo>* results) {
    std::ostringstream text;
    for (const resultProcInfo& record : *results)
      text << record.name << ' ' << record.totalTime << ' ' << record.cpuShare << '\n';
    return text.str();
  }

  simulator::Board board{simulator::Cores{3}};
};

TEST_F(ProcessMonitor, SharesAreOverTheIntervalOldestProcessFirst) {
  put(30, 100, 7);
  put(20, 100, 8);
  put(10, 100, 8);
  PROCESS_MON monitor;
  monitor.tessary_setSamplingTime(1500);
  board.clock().wait(7000000000);  // does not count
  board.afterWait([&] {
    put(30, 300, 7, 100);  // system time counts
    put(10, 175, 8);
  });
  EXPECT_EQ(show(monitor.tessary_getProcessStats()), "p30 3 2\np10 0.75 0.5\np20 0 0\n");
  EXPECT_EQ(board.waits(), std::vector<std::int64_t>{1500000});
  // At one piece: three records by themselves would have grown to room for four.
  EXPECT_EQ(monitor.implementation->results.capacity(), 3U);
}

TEST_F(ProcessMonitor, AHookWaitsInsteadAndMayEndTheCall) {
  put(10, 100, 7);
  Captured output;
  {
    PROCESS_MON monitor{hook<kProceed>, {5, 10}};
    EXPECT_EQ(monitor.numCores, 3);
    EXPECT_EQ(monitor.implementation->samplingTime, 1000);
    monitor.tessary_setSamplingTime(-20);
    for (const int ticks : {300, 500}) {
      put(10, ticks, 7);
      monitor.waitHook = hook<'y'>;
      EXPECT_EQ(show(monitor.tessary_getProcessStats()), "");
      EXPECT_EQ(hookCaller, 7);
      monitor.waitHook = hook<kProceed>;
      EXPECT_EQ(show(monitor.tessary_getProcessStats({10})), "p10 2 inf\n");  // since the last sample
    }
  }
  EXPECT_TRUE(board.waits().empty());
  EXPECT_EQ(output.text(),
            "Warning :/proc/5/stat Not able to be opened!\nThe constructor of the proc_mon is called\n"
            "Current Sample Time = -20\nDestructor of the proc_mon is called\n");
}

struct ProcessWalk : ProcessMonitor {
  // One process for each letter; A has used `time` seconds, B twice that, and so on.
  static std::vector<processStats> sample(const std::string& letters, double time) {
    std::vector<processStats> processes;
    for (const char letter : letters) {
      const double rank = letter - 'A' + 1;
      processes.push_back({letter, std::string(1, letter), time * rank, 0, rank});
    }
    return processes;
  }

  // A99 is the record of a process in both samples, A100 of a new and A1 of an ended one.
  std::string walk(const std::string& previous, const std::string& current) {
    std::vector<processStats> before = sample(previous, 1);
    std::vector<processStats> now = sample(current, 100);
    monitor.results.clear();
    ::gettimeofday(&monitor.startTime, nullptr);
    monitor.startTime.tv_sec -= 3;
    monitor.startTime.tv_usec += 500000;  // 2.5 s ago
    monitor.getDiff(before, now);
    std::ostringstream text;
    for (const resultProcInfo& record : monitor.results) {
      const bool ended = record.totalTime < 99;
      EXPECT_DOUBLE_EQ(record.cpuShare, ended ? 0.0 : record.totalTime / 2.5);
      EXPECT_EQ(record.pid, record.name[0]);
      text << record.name << record.totalTime << ' ';
    }
    return text.str();
  }

  PROCESS_MON::PROCESS_MON_INTERFACE monitor{std::vector<int>{}};
};

TEST_F(ProcessWalk, PairsByTheSizesOfTheSamples) {
  EXPECT_EQ(walk("ABC", "ACD"), "A99 B2 D297 D400 ");  // the times of C
  EXPECT_EQ(walk("ABCDE", "ACEFG"), "A99 B2 E297 D4 G495 F600 G700 ");
  EXPECT_EQ(walk("AB", "CD"), "A1 B2 C300 D400 ");
  // Fewer than before.
  EXPECT_EQ(walk("ABCD", "AC"), "A99 B2 C297 D4 ");
  EXPECT_EQ(walk("ABC", "AD"), "A99 B2 C3 D400 ");
  EXPECT_EQ(walk("ACD", "BC"), "A1 C3 D4 B200 C300 ");
  // More than before.
  EXPECT_EQ(walk("AB", "ABCD"), "A99 B198 C300 D400 ");
  EXPECT_EQ(walk("ABC", "ACDE"), "A99 B2 B2 B2 ");
  EXPECT_EQ(walk("BC", "ABC"), "B2 B198 C297 ");
}

TEST_F(ProcessWalk, WithoutMemoryThereAreNoResults) {
  board.failAllocation(1);
  EXPECT_EQ(outputOf([&] { EXPECT_EQ(walk("A", "A"), ""); }), "Calloc failed for result\n");
}

TEST_F(ProcessWalk, ANameMayFillItsFieldAndAbortsBeyondIt) {
  std::vector<processStats> none;
  std::vector<processStats> one{{1, std::string(64, 'n'), 1, 1, 1}};
  monitor.getDiff(none, one);
  EXPECT_EQ(std::string(monitor.results.at(0).name, 64), one[0].name);
  EXPECT_EQ(monitor.results[0].userTime, 1.0);
  one[0].name += 'n';
  EXPECT_DEATH(monitor.getDiff(none, one), "");
}

}  // namespace
