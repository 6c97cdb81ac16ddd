#include <dirent.h>

#include <iterator>
#include <string_view>
#include <utility>

#include "base/console.h"
#include "base/path.h"
#include "base/reading.h"
#include "net/net_counters.h"
#include "tessary/net_mon.h"

namespace net {

namespace {

constexpr char kNetFolder[] = "/sys/class/net/";

// Holds any name that a folder can list: 255 bytes.
using NodePath = tessary::Path<320>;

uint64_t readCounter(const tessary::Descriptor& node, tessary::TextBuffer& text) {
  if (!node) {
    tessary::printLine("Unable to open files.");
    return 0;
  }
  return parseCounter(text.readOnce(node.get()));
}

template <typename Entry>
bool holds(const std::vector<Entry>& entries, int index) {
  return index >= 0 && static_cast<std::size_t>(index) < entries.size();
}

}  // namespace

void NET_MON::NET_MON_INTERFACE::getInterfaceNames() {
  tessary::Directory folder = tessary::openDirectory(kNetFolder);
  if (!folder) return;
  while (const dirent* const entry = ::readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") interfaceNames.emplace_back(name);
  }
  folder.leaveOpen();
}

unsigned long long NET_MON::NET_MON_INTERFACE::getValues(int interfaceIndex, int statIndex) {
  tessary::Descriptor node;
  if (holds(interfaceNames, interfaceIndex) && holds(statNames, statIndex)) {
    NodePath path;
    node = tessary::openForReading(path.join(kNetFolder,
                                             interfaceNames[static_cast<std::size_t>(interfaceIndex)],
                                             "/statistics/", statNames[static_cast<std::size_t>(statIndex)]));
  }
  tessary::TextBuffer text;
  return readCounter(node, text);
}

// What getValues reads, but with one walk of the path for the seven nodes of an interface.
void NET_MON::NET_MON_INTERFACE::getNetStats() {
  currentSample.reserve(currentSample.size() + interfaceNames.size());
  tessary::TextBuffer text;
  NodePath path;
  for (const std::string& name : interfaceNames) {
    const tessary::Folder statistics{path.join(kNetFolder, name, "/statistics")};
    for (const Counter& counter : kCounters) {
      scratch.*counter.field = readCounter(statistics.open(counter.file), text);
    }
    scratch.name = name;
    currentSample.push_back(scratch);
  }
}

std::vector<netStats> NET_MON::NET_MON_INTERFACE::getDifVal() {
  getNetStats();
  std::vector<netStats> sample = std::exchange(currentSample, {});
  results.reserve(results.size() + interfaceNames.size());
  for (std::size_t k = 0; k < interfaceNames.size(); ++k) {
    const netStats& current = sample.at(k);
    const netStats& previous = previousSample.at(k);
    if (current.name != previous.name) continue;
    scratch.name = current.name;
    subtractCounters(current, previous, scratch);
    results.push_back(scratch);
  }
  previousSample = std::move(sample);
  return results;
}

}  // namespace net
