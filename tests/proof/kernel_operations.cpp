#include "tessary/disk_mon.h"
#include "tessary/memory_mon.h"
#include "tessary/net_mon.h"
#include "tessary/thermal_mon.h"
#include "tests/proof/boards.h"
#include "tests/proof/operations.h"
#include "tests/proof/outcomes.h"

namespace proof {

namespace {

using diskio::DISK_MON;
using memory::MEMORY_MON;
using net::NET_MON;
using thermal::THERMAL_MON;

std::string figures(const memory::finalMemStats* record) {
  if (record == nullptr) return kNull;
  std::string text;
  for (const uint64_t figure : {record->totalMem, record->availableMem, record->usedMem, record->totalSwap,
                                record->freeSwap, record->usedSwap}) {
    text += std::to_string(figure) + " ";
  }
  return text;
}

std::string temperatures(const std::vector<int>* zones) {
  std::string text;
  for (const int temperature : *zones) text += std::to_string(temperature) + " ";
  return text;
}

template <typename Names>
std::string joined(const Names& names) {
  std::string text;
  for (const std::string& name : names) text += name + " ";
  return text;
}

// Up to a zone that cannot be opened; one that cannot be read repeats the one before it.
bool isOfFewerZones(const Fault&, const std::string& outcome, const std::string& faultless) {
  const std::vector<std::string> found = parts(outcome);
  const std::vector<std::string> expected = parts(faultless);
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (found[i] != expected[i] && found[i] != (i == 0 ? "0" : expected[i - 1])) return false;
  }
  return found.size() <= expected.size();
}

bool isShorter(const Fault&, const std::string& outcome, const std::string& faultless) {
  return beginsWith(faultless, outcome);
}

std::string sectors(const std::vector<diskio::_iostats_t>& disks) {
  std::string text;
  for (const diskio::_iostats_t& disk : disks) {
    text += std::string{disk.deviceName} + "/" + std::to_string(disk.sectorsRead) + "/" +
            std::to_string(disk.sectorsWritten) + " ";
  }
  return text;
}

// Disks are paired by their places: one that is left out of a reading moves those behind it.
bool isOfFewerDisks(const Fault& fault, const std::string& outcome, const std::string& faultless) {
  if (fault.isOf("usleep")) return parts(outcome).size() == parts(faultless).size();
  if (outcome.empty() || beginsWith(outcome, kOutOfRange)) return true;
  return fault.isOf("access") && parts(outcome).size() < parts(faultless).size();
}

constexpr std::size_t kCounters = 7;

std::string traffic(const std::vector<net::netStats>& interfaces) {
  std::string text;
  for (const net::netStats& one : interfaces) {
    text += one.name + " ";
    for (const uint64_t counter : {one.tx_bytes, one.rx_bytes, one.tx_packets, one.rx_packets, one.tx_dropped,
                                   one.rx_dropped, one.collisions}) {
      text += std::to_string(counter) + " ";
    }
  }
  return text;
}

// A counter that could not be read is 0; all of an interface are when their folder could not be.
bool isOfUnreadCounters(const Fault& fault, const std::string& outcome, const std::string& faultless) {
  return fault.isOf("usleep") || beginsWith(faultless, outcome) ||
         differences(outcome, faultless) <= kCounters;
}

}  // namespace

std::vector<Operation> kernelOperations() {
  return {
      {"memory: construct", kPlatform,
       constructing<MEMORY_MON>([](MEMORY_MON& monitor) { return figures(monitor.tessary_getMemStats()); })},
      {"memory: figures", kPlatform,
       calling<MEMORY_MON>([](MEMORY_MON& monitor) { return monitor.tessary_getMemStats(); }, figures),
       [](const Fault&, const std::string& outcome, const std::string&) {
         return outcome == "0 0 0 0 0 0 ";
       }},
      {"thermal: construct", kPlatform, constructing<THERMAL_MON>([](THERMAL_MON& monitor) {
         return temperatures(monitor.tessary_getThermalStats());
       }),
       isShorter},
      {"thermal: temperatures", kPlatform,
       calling<THERMAL_MON>([](THERMAL_MON& monitor) { return monitor.tessary_getThermalStats(); },
                            temperatures),
       isOfFewerZones},
      {"thermal: names", kPlatform,
       calling<THERMAL_MON>([](THERMAL_MON& monitor) { return monitor.tessary_getSensorNames(); },
                            joined<std::vector<std::string>>)},
      {"diskio: construct", kPlatform,
       constructing<DISK_MON>([](DISK_MON& monitor) { return sectors(monitor.tessary_getIOStats()); })},
      {"diskio: since the start", kPlatform,
       calling<DISK_MON>([](DISK_MON& monitor) { return &monitor.tessary_getRawIOStats(); },
                         [](const auto* disks) { return sectors(*disks); }),
       isOfFewerDisks},
      {"diskio: of an interval", kPlatform,
       calling<DISK_MON>([](DISK_MON& monitor) { return &monitor.tessary_getIOStats(); },
                         [](const auto* disks) { return sectors(*disks); }),
       isOfFewerDisks},
      {"net: construct", kPlatform,
       constructing<NET_MON>([](NET_MON& monitor) { return traffic(monitor.tessary_getNetstats()); }),
       isOfUnreadCounters},
      {"net: of an interval", kPlatform,
       calling<NET_MON>([](NET_MON& monitor) { return monitor.tessary_getNetstats(); }, traffic),
       isOfUnreadCounters, 2},
      {"net: names", kPlatform,
       calling<NET_MON>([](NET_MON& monitor) { return monitor.getInterfaceNames(); },
                        joined<std::vector<std::string>>)},
      {"net: names of the counters", kPlatform,
       calling<NET_MON>([](NET_MON& monitor) { return monitor.getvalueVector(); },
                        joined<std::vector<std::string>>)},
  };
}

}  // namespace proof
