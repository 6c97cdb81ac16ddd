#include <dirent.h>

#include <climits>
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
constexpr char kStatistics[] = "/statistics/";

using NodePath =
    tessary::Path<PATH_MAX + 1>;  // a path that is too long is still too long when it is cut here

uint64_t readCounter(const tessary::Descriptor& node, tessary::TextBuffer& text) {
  if (!node) {
    tessary::printLine("Unable to open files.");
    return 0;
  }
  return parseCounter(text.readOnce(node.get()));
}

// Null for a position that is not there.
const char* nameAt(const std::vector<std::string>& names, int position) {
  const auto index = static_cast<std::size_t>(position);
  return position >= 0 && index < names.size() ? names[index].c_str() : nullptr;
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
  const char* const name = nameAt(interfaceNames, interfaceIndex);
  const char* const file = nameAt(statNames, statIndex);
  tessary::Descriptor node;
  if (name != nullptr && file != nullptr) {
    NodePath path;
    node = tessary::openForReading(path.join(kNetFolder, name, kStatistics, file));
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
    const tessary::Folder statistics{path.join(kNetFolder, name, kStatistics)};
    for (std::size_t k = 0; k < std::size(kCounters); ++k) {
      scratch.*kCounters[k].field = k < statNames.size()
                                        ? readCounter(statistics.open(statNames[k].c_str()), text)
                                        : readCounter(tessary::Descriptor{}, text);
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
