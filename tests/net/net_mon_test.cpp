#include "tessary/net_mon.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

#include "tests/support.h"

namespace {

using Figures = std::vector<uint64_t>;

constexpr char kUnable[] = "Unable to open files.\n";

const Lines kStatNames = {"tx_bytes",   "rx_bytes",   "tx_packets", "rx_packets",
                          "tx_dropped", "rx_dropped", "collisions"};

struct NetBoard : simulator::Board {
  NetBoard() { folder("/sys/class/net"); }

  static std::string node(const std::string& name, const std::string& counter) {
    return "/sys/class/net/" + name + "/statistics/" + counter;
  }

  // The counters are start, 2 * start .. 7 * start.
  void interface(const std::string& name, uint64_t start) {
    uint64_t value = 0;
    for (const std::string& counter : kStatNames)
      file(node(name, counter), std::to_string(value += start) + "\n");
  }
};

Figures figures(const net::netStats& record) {
  return {record.tx_bytes,   record.rx_bytes,   record.tx_packets, record.rx_packets,
          record.tx_dropped, record.rx_dropped, record.collisions};
}

std::string repeated(const std::string& text, int times) {
  std::string result;
  while (times-- > 0) result += text;
  return result;
}

TEST(NetMonitor, ReportsTheGrowthOfEachInterfaceSinceTheLastSample) {
  NetBoard board;
  board.interface("lo", 10);
  board.interface("..eth", 1000);  // only the two entries of the folder itself are left out
  net::NET_MON monitor;
  EXPECT_EQ(monitor.getInterfaceNames(), (Lines{"lo", "..eth"}));
  EXPECT_EQ(monitor.getvalueVector(), kStatNames);
  board.interface("late", 1);
  board.afterWait([&] { board.interface("lo", 11), board.interface("..eth", 1500); });
  const auto grown = monitor.tessary_getNetstats();
  ASSERT_EQ(grown.size(), 2U);
  EXPECT_EQ(grown[0].name, "lo");
  EXPECT_EQ(figures(grown[0]), (Figures{1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(grown[1].name, "..eth");
  EXPECT_EQ(figures(grown[1]), (Figures{500, 1000, 1500, 2000, 2500, 3000, 3500}));
  const auto still = monitor.tessary_getNetstats();
  ASSERT_EQ(still.size(), 2U);
  EXPECT_EQ(figures(still[1]), Figures(7, 0));
  EXPECT_EQ(board.waits(), (std::vector<int64_t>{1000000, 1000000}));
  EXPECT_EQ(monitor.implementation->currentSample.capacity(), 0U);
}

TEST(NetMonitor, SamplesTakeTheCountersThatAreNamed) {
  NetBoard board;
  board.interface("eth0", 10);
  net::NET_MON monitor{hook<kProceed>};
  auto& state = *monitor.implementation;
  state.previousSample.assign(1, {"eth0"});
  state.statNames = {"collisions", "rx_bytes"};
  Captured output;
  const auto grown = monitor.tessary_getNetstats();
  EXPECT_EQ(output.text(), repeated(kUnable, 5));
  EXPECT_EQ(figures(grown.at(0)), (Figures{70, 20, 0, 0, 0, 0, 0}));
  EXPECT_EQ(state.getValues(0, 0), 70U);
}

TEST(NetMonitor, LongNamesAreNotCut) {
  NetBoard board;
  net::NET_MON monitor;
  auto& state = *monitor.implementation;
  state.interfaceNames = {std::string(400, 'i')};
  state.statNames = {std::string(400, 's')};
  const std::string node = NetBoard::node(state.interfaceNames[0], state.statNames[0]);
  outputOf([&] { state.getValues(0, 0); });
  EXPECT_EQ(board.opened().back(), node);
  outputOf([&] { state.getNetStats(); });
  EXPECT_EQ(board.opened().back(), "/sys/class/net/" + state.interfaceNames[0] + "/statistics");
}

TEST(NetMonitor, ListingStaysOpen) {
  NetBoard board;
  const int before = openDescriptors();
  net::NET_MON{};
  EXPECT_EQ(openDescriptors(), before + 1);
}

TEST(NetMonitor, InterfaceThatIsGoneReadsAsZeroAndWraps) {
  NetBoard board;
  board.interface("eth0", 1500);
  net::NET_MON monitor;
  board.remove("/sys/class/net/eth0");
  Captured output;
  const auto gone = monitor.tessary_getNetstats();
  EXPECT_EQ(output.text(), repeated(kUnable, 7));
  ASSERT_EQ(gone.size(), 1U);
  EXPECT_EQ(gone[0].tx_bytes, 18446744073709550116U);
}

TEST(NetMonitor, CounterThatCannotBeReadIsZeroAndLeavesTheOthersAlone) {
  NetBoard board;
  board.interface("eth0", 10);
  board.file(NetBoard::node("eth0", "rx_bytes"), "many\n");
  board.refuse(NetBoard::node("eth0", "tx_packets"), EMFILE);
  board.failRead(NetBoard::node("eth0", "rx_packets"), EIO);
  board.file(NetBoard::node("eth0", "tx_dropped"), "-1\n");
  Captured output;
  net::NET_MON monitor;
  EXPECT_EQ(output.text(), kUnable);
  EXPECT_EQ(figures(monitor.implementation->previousSample.at(0)),
            (Figures{10, 0, 0, 0, UINT64_MAX, 60, 70}));
}

TEST(NetMonitor, SingleCountersAreAddressedByPosition) {
  NetBoard board;
  board.interface("lo", 10);
  board.interface("eth0", 1000);
  net::NET_MON monitor;
  auto& state = *monitor.implementation;
  EXPECT_EQ(state.getValues(0, 6), 70U);
  EXPECT_EQ(state.getValues(1, 0), 1000U);
  board.refuse(NetBoard::node("eth0", "tx_bytes"), EACCES);
  const int missing[][2] = {{1, 0}, {2, 0}, {-1, 0}, {0, 7}, {0, -1}};
  Captured output;
  for (const auto& at : missing) EXPECT_EQ(state.getValues(at[0], at[1]), 0U) << at[0] << ", " << at[1];
  EXPECT_EQ(output.text(), repeated(kUnable, 5));
}

TEST(NetMonitor, HookThatRefusesKeepsThePreviousSample) {
  NetBoard board;
  board.interface("eth0", 10);
  net::NET_MON monitor{hook<kProceed>};
  monitor.tessary_getNetstats();
  board.interface("eth0", 15);
  monitor.waitHook = hook<1>;
  EXPECT_TRUE(monitor.tessary_getNetstats().empty());
  EXPECT_EQ(monitor.implementation->results.capacity(), 0U);
  EXPECT_EQ(hookCaller, 10);
  monitor.waitHook = hook<kProceed>;
  board.interface("eth0", 17);
  EXPECT_EQ(monitor.tessary_getNetstats().at(0).tx_bytes, 7U);
  EXPECT_TRUE(board.waits().empty());
}

TEST(NetMonitor, PositionsWhoseNamesDifferAreLeftOut) {
  NetBoard board;
  board.interface("lo", 10);
  board.interface("eth0", 10);
  net::NET_MON monitor{hook<kProceed>};
  monitor.implementation->previousSample[0].name = "other";
  const auto grown = monitor.tessary_getNetstats();
  ASSERT_EQ(grown.size(), 1U);
  EXPECT_EQ(grown[0].name, "eth0");
  EXPECT_EQ(monitor.implementation->getDifVal().size(), 3U);  // appends to the results
}

TEST(NetMonitor, ListLongerThanThePreviousSampleThrows) {
  NetBoard board;
  board.interface("eth0", 10);
  net::NET_MON monitor{hook<kProceed>};
  board.interface("eth1", 10);
  monitor.implementation->getInterfaceNames();
  EXPECT_EQ(monitor.getInterfaceNames(), (Lines{"eth0", "eth0", "eth1"}));
  EXPECT_THROW(monitor.tessary_getNetstats(), std::out_of_range);
  EXPECT_TRUE(monitor.implementation->currentSample.empty());
  EXPECT_EQ(monitor.implementation->previousSample.size(), 1U);
}

TEST(NetMonitor, WithoutInterfacesResultsAreEmptyAndNothingIsPrinted) {
  simulator::Board board;
  board.folder("/sys/class/net");
  board.refuse("/sys/class/net", EACCES);
  EXPECT_EQ(outputOf([] { EXPECT_TRUE(net::NET_MON{}.tessary_getNetstats().empty()); }), "");
  EXPECT_EQ(board.logged(kVerbose),
            (Lines{"Entered the NET_MON_INTERFACE constructor\n", "Entered the constructor\n",
                   "Entered the NET_MON_INTERFACE distructor\n", "Entered the destructor\n"}));
  EXPECT_EQ(board.log().size(), 4U);
  EXPECT_EQ(board.log().front().tag, "libtessary : net_mon");
}

TEST(NetMonitor, SamplingTimeIsPrintedBeforeAndAfterTheChange) {
  NetBoard board;
  net::NET_MON monitor;
  EXPECT_EQ(outputOf([&] { monitor.tessary_setSamplingTime(250); }),
            "Current Sample Time = 1000\nChanged Sample Time = 250\n");
  monitor.tessary_getNetstats();
  EXPECT_EQ(board.waits(), std::vector<int64_t>{250000});
}

}  // namespace
