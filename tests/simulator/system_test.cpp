// What a program asks of the system itself, and not of a node.

#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/model/model.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;

struct SmallBoard : Board {
  SmallBoard() {
    simulator::loadBoardText(*this, R"({"model": "x", "kernel": "6.1.0-car", "cores": [
      {"count": 3, "load": {"user": 50}}], "memory": {"total_kb": 4096, "free_kb": 1024},
      "faults": [{"core": 1, "kind": "offline"}],
      "processes": [{"pid": 7, "name": "one", "threads": 3}, {"pid": 8, "name": "other", "ended_ms": 1000}],
      "interfaces": [{"name": "lo"}, {"name": "eth0", "rx_bytes": 1000, "tx_dropped": 2}]})");
  }
};

TEST(SystemCalls, AnswerForTheBoard) {
  SmallBoard board;
  ::usleep(60000000);
  struct sysinfo info {};
  ASSERT_EQ(::sysinfo(&info), 0);
  EXPECT_EQ(info.totalram * info.mem_unit, 4096U * 1024);
  EXPECT_EQ(info.freeram * info.mem_unit, 1024U * 1024);
  EXPECT_EQ(info.uptime, 3660);
  double loads[3];
  ASSERT_EQ(::getloadavg(loads, 3), 3);
  EXPECT_EQ(loads[0], 1);
  EXPECT_EQ(info.loads[0], 1U << SI_LOAD_SHIFT);
  EXPECT_EQ(info.procs, 3U);  // threads, as in the node
  EXPECT_EQ(textOf("/proc/loadavg").find("1.00 0.20 0.06 1/3 "), 0U) << textOf("/proc/loadavg");
  EXPECT_EQ(::sysconf(_SC_PHYS_PAGES), 1024);
  EXPECT_EQ(::sysconf(_SC_AVPHYS_PAGES), 256);

  cpu_set_t cores;
  ASSERT_EQ(::sched_getaffinity(0, sizeof cores, &cores), 0);
  EXPECT_EQ(CPU_COUNT(&cores), 2);
  EXPECT_FALSE(CPU_ISSET(1, &cores));
  EXPECT_EQ(::sched_getaffinity(0, 0, &cores), -1);
  EXPECT_EQ(errno, EINVAL);
  utsname names{};
  ASSERT_EQ(::uname(&names), 0);
  EXPECT_STREQ(names.release, "6.1.0-car");
  char host[sizeof "board"];
  EXPECT_EQ(::gethostname(host, sizeof host - 1), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  ASSERT_EQ(::gethostname(host, sizeof host), 0);
  EXPECT_STREQ(host, "board");
}

// What programs take the number of processors, and which of them are there, from.
TEST(SystemCalls, AgreeWithTheNodesOfTheCores) {
  SmallBoard board;
  EXPECT_EQ(textOf("/sys/devices/system/cpu/cpu2/topology/core_cpus"), "4\n");
  EXPECT_EQ(textOf("/sys/devices/system/cpu/cpu2/topology/package_cpus"), "7\n");
  EXPECT_EQ(textOf("/sys/devices/system/cpu/cpu1/topology/core_id"), "ENOENT");  // offline
  EXPECT_EQ(textOf("/sys/devices/system/node/node0/cpulist"), "0-2\n");
  EXPECT_EQ(textOf("/proc/stat").find("cpu  0 0 0 1080000 0"), 0U) << "an idle hour of three cores";
  EXPECT_EQ(textOf("/proc/uptime"), "3600.00 10800.00\n");
}

TEST(SystemCalls, MasksOfManyCoresAreInGroups) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "cores": [{"count": 40}]})");
  EXPECT_EQ(textOf("/sys/devices/system/node/node0/cpumap"), "ff,ffffffff\n");
  EXPECT_EQ(textOf("/sys/devices/system/cpu/cpu33/topology/core_cpus"), "2,00000000\n");
}

// On a machine the other names are links to the disk's folder.
TEST(Disks, HaveOneFolderByThreeNames) {
  Board board;
  simulator::loadBoardText(board, R"({"model": "x", "cores": [{}], "disks": [{"name": "sda", "reads": 5}]})");
  ::usleep(2000000);
  EXPECT_EQ(textOf("/sys/block/sda/dev"), "8:0\n");
  for (const std::string link : {"/sys/class/block/sda", "/sys/dev/block/8:0"}) {
    EXPECT_EQ(board.list(link), board.list("/sys/block/sda")) << link;
    EXPECT_EQ(textOf(link + "/stat"), textOf("/sys/block/sda/stat")) << link;
    EXPECT_EQ(textOf(link + "/queue/rotational"), "0\n") << link;
    EXPECT_EQ(::access((link + "/queue/none").c_str(), F_OK), -1) << link;
  }
  EXPECT_EQ(board.list("/sys/class/block"), (std::vector<std::string>{".", "..", "sda"}));
  EXPECT_EQ(::access("/sys/class/block/sdb", F_OK), -1);
}

TEST(Network, HasTheBoardsInterfacesAlone) {
  SmallBoard board;
  ::usleep(3000000);
  ifaddrs* list = nullptr;
  ASSERT_EQ(::getifaddrs(&list), 0);
  std::set<std::string> names;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    names.insert(entry->ifa_name);
    if (entry->ifa_addr->sa_family != AF_PACKET || std::strcmp(entry->ifa_name, "eth0") != 0) continue;
    const auto* const statistics = static_cast<const rtnl_link_stats*>(entry->ifa_data);
    EXPECT_EQ(statistics->rx_bytes, 3000U);
    EXPECT_EQ(statistics->tx_dropped, 6U);
    EXPECT_EQ(reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr)->sll_addr[5], 2);
  }
  ::freeifaddrs(list);
  EXPECT_EQ(names, (std::set<std::string>{"eth0", "lo"}));

  EXPECT_EQ(::if_nametoindex("eth0"), 2U);
  EXPECT_EQ(::if_nametoindex("wlan7"), 0U);
  char name[IFNAMSIZ];
  EXPECT_STREQ(::if_indextoname(1, name), "lo");
  EXPECT_EQ(::if_indextoname(9, name), nullptr);
  EXPECT_EQ(errno, ENXIO);

  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  ASSERT_GE(socket, 0);
  ifreq request{};
  std::strcpy(request.ifr_name, "eth0");
  EXPECT_EQ(::ioctl(socket, SIOCGIFMTU, &request), 0);
  EXPECT_EQ(request.ifr_mtu, 1500);
  EXPECT_EQ(::ioctl(socket, SIOCGIFADDR, &request), -1);
  EXPECT_EQ(errno, EADDRNOTAVAIL);
  EXPECT_EQ(::ioctl(socket, SIOCGIFHWADDR, &request), 0);
  EXPECT_EQ(request.ifr_hwaddr.sa_family, ARPHRD_ETHER);
  EXPECT_EQ(request.ifr_hwaddr.sa_data[5], 2);
  std::strcpy(request.ifr_name, "wlan7");
  EXPECT_EQ(::ioctl(socket, SIOCGIFFLAGS, &request), -1);
  EXPECT_EQ(errno, ENODEV);
  // Those with an address: how much room they take, and then they themselves.
  ifconf room{};
  EXPECT_EQ(::ioctl(socket, SIOCGIFCONF, &room), 0);
  EXPECT_EQ(room.ifc_len, static_cast<int>(sizeof(ifreq)));
  ifreq entries[3] = {};
  room.ifc_len = sizeof entries;
  room.ifc_req = entries;
  EXPECT_EQ(::ioctl(socket, SIOCGIFCONF, &room), 0);
  EXPECT_EQ(room.ifc_len, static_cast<int>(sizeof(ifreq)));
  EXPECT_STREQ(entries[0].ifr_name, "lo");
  ::close(socket);
}

TEST(Network, DoesNotShowTheMachinesThroughNetlink) {
  SmallBoard board;
  testing::internal::CaptureStderr();
  EXPECT_EQ(::socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE), -1);
  EXPECT_EQ(errno, EPERM);
  for (const int protocol :
       {NETLINK_ROUTE, NETLINK_SOCK_DIAG, NETLINK_GENERIC, NETLINK_CONNECTOR, NETLINK_NETFILTER}) {
    EXPECT_EQ(::socket(AF_NETLINK, SOCK_RAW, protocol), -1);
    EXPECT_EQ(errno, EPERM);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "tessary-board: a netlink socket would show the machine's network and is refused; "
            "--machine-network allows it\n");
}

}  // namespace
