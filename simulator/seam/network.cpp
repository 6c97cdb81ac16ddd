// Network interfaces: getifaddrs, if_nameindex, if_nametoindex, if_indextoname, the SIOCGIF.. requests; and
// sockets that would show the machine's.

#include "simulator/seam/network.h"

#include <ifaddrs.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "simulator/board/environment.h"
#include "simulator/board/records.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/node_texts.h"

namespace simulator {

namespace {

constexpr char kFolder[] = "/sys/class/net";

std::string pathOf(const std::string& interface, const char* node) {
  return std::string{kFolder} + "/" + interface + "/" + node;
}

unsigned long numberOf(const std::string& interface, const char* node) {
  return std::strtoul(nodeLine(pathOf(interface, node)).c_str(), nullptr, 0);
}

struct Interface {
  std::string name;
  unsigned index;
  bool isLoopback() const { return numberOf(name, "type") == ARPHRD_LOOPBACK; }
  unsigned flags() const { return static_cast<unsigned>(numberOf(name, "flags")) | IFF_RUNNING; }
};

// 02:00:00:00:00:02
void readAddress(const std::string& interface, unsigned char* bytes) {
  const std::string text = nodeLine(pathOf(interface, "address"));
  unsigned values[6] = {};
  std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x", &values[0], &values[1], &values[2], &values[3], &values[4],
              &values[5]);
  for (int i = 0; i < 6; ++i) bytes[i] = static_cast<unsigned char>(values[i]);
}

bool boardHasInterfaces() {
  Board* const board = Board::active();
  if (board == nullptr) return false;
  const Board::Opening folder = board->look(kFolder);
  return folder.mine && folder.isFolder;
}

std::vector<Interface> interfaces() {
  std::vector<Interface> all;
  for (const std::string& name : Board::active()->list(kFolder)) {
    if (name[0] == '.') continue;
    all.push_back({name, static_cast<unsigned>(numberOf(name, "ifindex"))});
  }
  return all;
}

// What getifaddrs gives for one address, in one piece of memory.
struct AddressRecord {
  ifaddrs entry{};
  sockaddr_storage address{};
  sockaddr_storage mask{};
  rtnl_link_stats statistics{};
  char name[IFNAMSIZ]{};
};

// The lists that are the board's: freeifaddrs gets both kinds.
struct BoardLists {
  std::mutex mutex;
  std::set<const void*> lists;
};

BoardLists& boardLists() {
  static auto* const lists = new BoardLists;
  return *lists;
}

rtnl_link_stats statisticsOf(const std::string& interface) {
  const auto figure = [&](const char* node) {
    return static_cast<__u32>(numberOf(interface, ("statistics/" + std::string{node}).c_str()));
  };
  rtnl_link_stats statistics{};
  statistics.rx_packets = figure("rx_packets");
  statistics.tx_packets = figure("tx_packets");
  statistics.rx_bytes = figure("rx_bytes");
  statistics.tx_bytes = figure("tx_bytes");
  statistics.rx_dropped = figure("rx_dropped");
  statistics.tx_dropped = figure("tx_dropped");
  statistics.collisions = figure("collisions");
  return statistics;
}

AddressRecord* newRecord(const Interface& interface, ifaddrs*& list) {
  auto* const record = new AddressRecord;
  interface.name.copy(record->name, IFNAMSIZ - 1);
  record->entry.ifa_next = list;
  record->entry.ifa_name = record->name;
  record->entry.ifa_flags = interface.flags();
  record->entry.ifa_addr = reinterpret_cast<sockaddr*>(&record->address);
  list = &record->entry;
  return record;
}

void addLink(const Interface& interface, ifaddrs*& list) {
  AddressRecord* const record = newRecord(interface, list);
  auto& link = reinterpret_cast<sockaddr_ll&>(record->address);
  link.sll_family = AF_PACKET;
  link.sll_ifindex = static_cast<int>(interface.index);
  link.sll_hatype = static_cast<unsigned short>(numberOf(interface.name, "type"));
  link.sll_halen = 6;
  readAddress(interface.name, link.sll_addr);
  record->statistics = statisticsOf(interface.name);
  record->entry.ifa_data = &record->statistics;
}

// A board describes no addresses; the loopback's is the same everywhere.
void addLoopback(const Interface& interface, ifaddrs*& list) {
  AddressRecord* const record = newRecord(interface, list);
  auto& address = reinterpret_cast<sockaddr_in&>(record->address);
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto& mask = reinterpret_cast<sockaddr_in&>(record->mask);
  mask.sin_family = AF_INET;
  mask.sin_addr.s_addr = htonl(IN_CLASSA_NET);
  record->entry.ifa_netmask = reinterpret_cast<sockaddr*>(&record->mask);
}

int answerList(ifconf& list) {
  const auto all = interfaces();
  const std::size_t space = static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq);
  std::size_t count = 0;
  for (const Interface& interface : all) {
    if (!interface.isLoopback()) continue;  // the only one with an address
    if (list.ifc_req != nullptr && count < space) {
      ifreq& request = list.ifc_req[count];
      request = {};
      interface.name.copy(request.ifr_name, IFNAMSIZ - 1);
      auto& address = reinterpret_cast<sockaddr_in&>(request.ifr_addr);
      address.sin_family = AF_INET;
      address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ++count;
  }
  if (list.ifc_req != nullptr) count = std::min(count, space);
  list.ifc_len = static_cast<int>(count * sizeof(ifreq));
  return 0;
}

int answerAddress(const Interface& interface, unsigned long asked, ifreq& request) {
  if (!interface.isLoopback()) return fail(EADDRNOTAVAIL);
  auto& address = reinterpret_cast<sockaddr_in&>(request.ifr_addr);
  address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(asked == SIOCGIFNETMASK ? IN_CLASSA_NET : INADDR_LOOPBACK);
  return 0;
}

int answerFor(const Interface& interface, unsigned long asked, ifreq& request) {
  switch (asked) {
    case SIOCGIFINDEX:
      request.ifr_ifindex = static_cast<int>(interface.index);
      return 0;
    case SIOCGIFNAME:
      std::memset(request.ifr_name, 0, IFNAMSIZ);
      interface.name.copy(request.ifr_name, IFNAMSIZ - 1);
      return 0;
    case SIOCGIFFLAGS:
      request.ifr_flags = static_cast<short>(interface.flags());
      return 0;
    case SIOCGIFMTU:
      request.ifr_mtu = static_cast<int>(numberOf(interface.name, "mtu"));
      return 0;
    case SIOCGIFMETRIC:
      request.ifr_metric = 0;
      return 0;
    case SIOCGIFTXQLEN:
      request.ifr_qlen = static_cast<int>(numberOf(interface.name, "tx_queue_len"));
      return 0;
    case SIOCGIFHWADDR:
      request.ifr_hwaddr.sa_family = static_cast<sa_family_t>(numberOf(interface.name, "type"));
      readAddress(interface.name, reinterpret_cast<unsigned char*>(request.ifr_hwaddr.sa_data));
      return 0;
    case SIOCGIFADDR:
    case SIOCGIFNETMASK:
    case SIOCGIFDSTADDR:
    case SIOCGIFBRDADDR:
      return answerAddress(interface, asked, request);
    default:
      return fail(EOPNOTSUPP);  // ethtool's and what else looks into the hardware
  }
}

bool isOfInterfaces(unsigned long request) {
  constexpr unsigned long kFirst = SIOCGIFNAME;
  constexpr unsigned long kLast = SIOCGIFTXQLEN;
  return (request >= kFirst && request <= kLast) || request == SIOCETHTOOL;
}

}  // namespace

bool boardAnswersNetwork(unsigned long request, void* argument, int& result) {
  if (!isOfInterfaces(request) || argument == nullptr || !boardHasInterfaces()) return false;
  if (request == SIOCGIFCONF) {
    result = answerList(*static_cast<ifconf*>(argument));
    return true;
  }
  auto& asked = *static_cast<ifreq*>(argument);
  for (const Interface& interface : interfaces()) {
    const bool isIt =
        request == SIOCGIFNAME
            ? static_cast<int>(interface.index) == asked.ifr_ifindex
            : interface.name == std::string{asked.ifr_name, ::strnlen(asked.ifr_name, IFNAMSIZ)};
    if (!isIt) continue;
    result = answerFor(interface, request, asked);
    return true;
  }
  result = fail(ENODEV);
  return true;
}

}  // namespace simulator

using namespace simulator;

STANDS_IN int getifaddrs(ifaddrs** list) noexcept {
  if (!boardHasInterfaces()) return NEXT(getifaddrs)(list);
  *list = nullptr;
  auto all = interfaces();
  std::reverse(all.begin(), all.end());  // each goes before those that are there
  for (const Interface& interface : all) {
    if (interface.isLoopback()) addLoopback(interface, *list);
  }
  for (const Interface& interface : all) addLink(interface, *list);
  const std::lock_guard lock{boardLists().mutex};
  boardLists().lists.insert(*list);
  return 0;
}

STANDS_IN void freeifaddrs(ifaddrs* list) noexcept {
  {
    const std::lock_guard lock{boardLists().mutex};
    if (boardLists().lists.erase(list) == 0) return NEXT(freeifaddrs)(list);
  }
  while (list != nullptr) {
    auto* const record = reinterpret_cast<AddressRecord*>(list);
    list = list->ifa_next;
    delete record;
  }
}

STANDS_IN struct if_nameindex* if_nameindex() noexcept {
  if (!boardHasInterfaces()) return NEXT(if_nameindex)();
  const auto all = interfaces();
  auto* const list =
      static_cast<struct if_nameindex*>(std::calloc(all.size() + 1, sizeof(struct if_nameindex)));
  if (list == nullptr) return nullptr;
  for (std::size_t i = 0; i < all.size(); ++i) list[i] = {all[i].index, ::strdup(all[i].name.c_str())};
  return list;
}

STANDS_IN unsigned if_nametoindex(const char* name) noexcept {
  if (!boardHasInterfaces()) return NEXT(if_nametoindex)(name);
  for (const Interface& interface : interfaces()) {
    if (interface.name == name) return interface.index;
  }
  errno = ENODEV;
  return 0;
}

STANDS_IN char* if_indextoname(unsigned index, char* name) noexcept {
  if (!boardHasInterfaces()) return NEXT(if_indextoname)(index, name);
  for (const Interface& interface : interfaces()) {
    if (interface.index != index) continue;
    name[interface.name.copy(name, IFNAMSIZ - 1)] = '\0';
    return name;
  }
  errno = ENXIO;
  return nullptr;
}

// The machine's interfaces, routes, sockets and processes: better none than a mixture.
STANDS_IN int socket(int domain, int type, int protocol) noexcept {
  const bool showsMachine = domain == AF_NETLINK && netlinkShowsMachine(protocol);
  if (!showsMachine || !boardHasInterfaces() || std::getenv(kMachineNetworkVariable) != nullptr)
    return NEXT(socket)(domain, type, protocol);
  static std::atomic<bool> isSaid{false};
  if (!isSaid.exchange(true)) {
    std::fprintf(stderr,
                 "tessary-board: a netlink socket would show the machine's network and is refused; "
                 "--machine-network allows it\n");
  }
  return fail(EPERM);
}
