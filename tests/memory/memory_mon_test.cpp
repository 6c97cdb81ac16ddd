#include "tessary/memory_mon.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "tests/support.h"

namespace {

using simulator::Board;

constexpr char kMeminfo[] = "/proc/meminfo";

struct MeminfoBoard : Board {
  explicit MeminfoBoard(const std::string& text) { file(kMeminfo, text); }
};

// What a call returns and what it writes.
struct Sample {
  memory::finalMemStats* figures;
  std::string written;
};

Sample sample(memory::MEMORY_MON& monitor) {
  Captured output;
  memory::finalMemStats* const figures = monitor.tessary_getMemStats();
  return {figures, output.text()};
}

TEST(MemoryMonitor, UsedIsWhatIsNotAvailable) {
  MeminfoBoard board{
      "MemTotal:        8000000 kB\nMemFree:         1000000 kB\nMemAvailable:    5000000 kB\n"
      "Buffers:           11 kB\nCached:           12 kB\nSwapCached:            13 kB\n"
      "SwapTotal:       2000000 kB\nSwapFree:        1500000 kB\n"};
  memory::MEMORY_MON monitor;
  const auto [figures, written] = sample(monitor);
  EXPECT_EQ(figures->totalMem, 8000000U);
  EXPECT_EQ(figures->availableMem, 5000000U);
  EXPECT_EQ(figures->usedMem, 3000000U);
  EXPECT_EQ(figures->totalSwap, 2000000U);
  EXPECT_EQ(figures->freeSwap, 1500000U);
  EXPECT_EQ(figures->usedSwap, 500000U);
  EXPECT_EQ(monitor.implementation->memStats->freeMem, 1000000U);
  EXPECT_EQ(monitor.implementation->memStats->buffers, 11U);
  EXPECT_EQ(monitor.implementation->memStats->cached, 12U);
  EXPECT_EQ(written, "");
}

TEST(MemoryMonitor, EntriesAreThreeTokensWhateverTheLines) {
  const struct {
    const char* text;
    uint64_t total;
    uint64_t available;
  } rows[] = {
      {"MemTotal: 5 kB MemAvailable:\n3 kB", 5, 3},
      {"MemTotalLater: 5 kB\n", 5, 0},
      {"MemTotal: 5 kB\nMemTotal: 6 an-extraordinarily-long-unit-word\n", 6, 0},
      // No unit: the next key is taken for it, and its number for a key. A number that fails to scan brings
      // the tokens back into step.
      {"HugePages_Total: 0\nMemTotal: 5 kB\nMemAvailable: 3 kB\n", 0, 3},
      {"MemTotal: x kB\nMemAvailable: 3 kB\n", 0, 3},
      {"MemTotal: 5", 0, 0},
      {"", 0, 0},
      {"MemTotal: 18446744073709551616 kB\nMemAvailable: -1 kB", UINT64_MAX, UINT64_MAX},
  };
  for (const auto& row : rows) {
    MeminfoBoard board{row.text};
    memory::MEMORY_MON monitor;
    const memory::finalMemStats* const figures = monitor.tessary_getMemStats();
    EXPECT_EQ(figures->totalMem, row.total) << row.text;
    EXPECT_EQ(figures->availableMem, row.available) << row.text;
    EXPECT_EQ(figures->usedMem, row.total - row.available) << row.text;
  }
}

// Behind the last of the seven keys the text is only searched for one of them, and scanned where it holds
// one.
TEST(MemoryMonitor, KeysCountWhereverTheyStand) {
  const std::string seven =
      "MemTotal:              1 kB\nMemFree:               2 kB\nMemAvailable:          3 kB\n"
      "Buffers:               4 kB\nCached:                5 kB\nSwapCached:            0 kB\n"
      "SwapTotal:             6 kB\nSwapFree:              7 kB\nMapped:               11 kB\n";
  const struct {
    const char* rest;
    memory::memStats figures;  // total, available, free, cached, buffers, total and free swap
  } rows[] = {
      {"", {1, 3, 2, 5, 4, 6, 7}},
      {"Shmem: 12 kB\nMemTotalLater:\t20000000000000000001 kB\nCache: 13 kB", {UINT64_MAX, 3, 2, 5, 4, 6, 7}},
      {"HugePages_Total: 0\nCached: 8 kB\nBuffers: 9 pages", {1, 3, 2, 5, 9, 6, 7}},
      {"MemAvailable: 8 kB\nMemFree: 9 kB\nSwapTotal: 10 kB\nSwapFree: 11 kB\n", {1, 8, 9, 5, 4, 10, 11}},
      {"SReclaimable: 1 SwapFree: 8 kB\n", {1, 3, 2, 5, 4, 6, 7}},
      {"NotMemFree: 8 kB\nM", {1, 3, 2, 5, 4, 6, 7}},
  };
  for (const auto& row : rows) {
    MeminfoBoard board{seven + row.rest};
    memory::MEMORY_MON monitor;
    monitor.tessary_getMemStats();
    EXPECT_EQ(std::memcmp(monitor.implementation->memStats, &row.figures, sizeof row.figures), 0) << row.rest;
  }
}

TEST(MemoryMonitor, AKeyThatIsMissingKeepsItsValue) {
  MeminfoBoard board{"MemTotal: 8 kB\nSwapTotal: 9 kB\n"};
  memory::MEMORY_MON monitor;
  EXPECT_EQ(monitor.tessary_getMemStats()->usedSwap, 9U);  // less the free swap, which was never there
  board.file(kMeminfo, "MemAvailable: 3 kB\n");
  const memory::finalMemStats* const figures = monitor.tessary_getMemStats();
  EXPECT_EQ(figures->totalMem, 8U);
  EXPECT_EQ(figures->usedMem, 5U);
  EXPECT_EQ(figures->totalSwap, 9U);
}

TEST(MemoryMonitor, AFileThatCannotBeOpenedLeavesTheFiguresOfTheLastReading) {
  MeminfoBoard board{"MemTotal: 5 kB\n"};
  memory::MEMORY_MON monitor;
  memory::finalMemStats* const first = sample(monitor).figures;
  board.refuse(kMeminfo, EMFILE);
  const auto [figures, written] = sample(monitor);
  EXPECT_EQ(figures, first);
  EXPECT_EQ(figures->totalMem, 5U);
  EXPECT_EQ(written, "/proc/meminfo cannot be opened. Failed.\n");
}

TEST(MemoryMonitor, RefusedMemoryIsReportedAndAskedForAgain) {
  MeminfoBoard board{"MemTotal: 5 kB\n"};
  const char* const complaints[] = {"Calloc failed for memStats\n", "Calloc failed for finalMemStats\n"};
  for (const int record : {1, 2}) {
    Captured output;
    board.failAllocation(record);
    memory::MEMORY_MON monitor;
    EXPECT_EQ(output.text(), std::string{"Constructor entered for memory mon interface\n"} +
                                 complaints[record - 1] + "Entered the memory mon constructor\n");
    EXPECT_EQ(monitor.implementation->memStats, nullptr);
    board.failAllocation(record);
    EXPECT_EQ(sample(monitor).figures, nullptr);
    EXPECT_EQ(sample(monitor).figures->totalMem, 5U);

    board.failAllocation(1);
    const auto [figures, written] = sample(monitor);
    EXPECT_EQ(figures->totalMem, 5U);
    EXPECT_EQ(written, "calloc failed for memItem\n");
  }
}

TEST(MemoryMonitor, SpeaksAtOnce) {
  Captured output;
  const memory::MEMORY_MON monitor;
  const std::string flushed = output.flushedText();
  EXPECT_EQ(flushed.substr(flushed.rfind("Entered")), "Entered the memory mon constructor\n");
}

TEST(MemoryMonitor, SpeaksOnStandardOutputInTheOrderOfItsLife) {
  MeminfoBoard board{""};
  EXPECT_EQ(
      outputOf([] { const memory::MEMORY_MON monitor; }),
      "Constructor entered for memory mon interface\nConstructor done\nEntered the memory mon constructor\n"
      "Destructor for memory mon interface entered.\nDestructor for the memory mon reached\n");
  EXPECT_TRUE(board.log().empty());
}

}  // namespace
