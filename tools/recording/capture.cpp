#include "tools/recording/capture.h"

#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "tools/sections/library.h"
#include "tools/sections/texts.h"
#include "tools/views/escaping.h"

namespace tool {

namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr char kProcessStat[] = "/proc/#/stat";

// What is below a folder shows that it is there, so that its list is needed only where nothing is.
bool isCovered(const Node& folder, const std::vector<Node>& sources) {
  const std::string below = std::string{folder.target} + "/";
  return std::any_of(sources.begin(), sources.end(), [&](const Node& source) {
    return std::string_view{source.target}.substr(0, below.size()) == below;
  });
}

OrderedJson describe(const NodeText& node) {
  if (node.error != 0) return {{"error", node.error}};
  if (!node.isFolder) return utf8(node.text);
  OrderedJson entries = OrderedJson::array();
  for (const std::string& entry : node.entries) entries.push_back(utf8(entry));
  return entries;
}

}  // namespace

std::string withoutName(const std::string& stat) {
  const std::size_t open = stat.find('(');
  const std::size_t close = stat.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close < open) return {};
  const std::string pid = stat.substr(0, stat.find(' '));
  return stat.substr(0, open + 1) + "process-" + pid + stat.substr(close);
}

Capture::Capture(const Selection& sections, bool scrub) : scrub_{scrub} {
  std::vector<Node> all;
  for (const SectionInfo* const info : sections)
    all.insert(all.end(), info->nodes.begin(), info->nodes.end());
  for (const Node& source : all) {
    const bool isThere = std::any_of(sources_.begin(), sources_.end(), [&](const Source& other) {
      return std::string_view{other.node.target} == source.target;
    });
    if (!isThere) sources_.push_back({source, isCovered(source, all)});
  }
}

std::string Capture::begin() const {
  const BoardIdentity board = boardIdentity();
  OrderedJson head{{"model", board.model.empty() ? "captured" : utf8(board.model)}};
  if (!board.platform.empty()) head["platform"] = utf8(board.platform);
  head["processors"] = ::sysconf(_SC_NPROCESSORS_CONF);
  head["ticks_per_second"] = ::sysconf(_SC_CLK_TCK);
  std::string text = head.dump();
  text.pop_back();  // the object goes on
  return text + ",\"frames\":[";
}

std::map<std::string, std::string> Capture::read() {
  std::map<std::string, std::string> texts;
  closed_.clear();
  for (const auto& [source, isCovered] : sources_) {
    const bool isStat = std::string_view{source.target} == kProcessStat;
    for (NodeText& node : readTexts(source)) {
      if (isCovered) node.entries.clear();
      if (node.isFolder && node.error != 0) closed_.push_back(node.path + "/");
      if (scrub_ && isStat && node.error == 0) node.text = withoutName(node.text);
      texts.emplace(node.path, describe(node).dump());
    }
  }
  return texts;
}

bool Capture::isClosed(const std::string& path) const {
  return std::any_of(closed_.begin(), closed_.end(),
                     [&](const std::string& folder) { return path.compare(0, folder.size(), folder) == 0; });
}

std::string Capture::frame(double milliseconds) {
  std::map<std::string, std::string> now = read();
  std::string text = first_ ? "\n" : ",\n";
  text += "{\"at_ms\":" + OrderedJson(milliseconds).dump() + ",\"nodes\":{";
  const char* separator = "\n";
  const auto add = [&](const std::string& path, const std::string& value) {
    text += separator + OrderedJson(utf8(path)).dump() + ":" + value;
    separator = ",\n";
  };
  for (const auto& [path, value] : now) {
    const auto before = last_.find(path);
    if (before == last_.end() || before->second != value) add(path, value);
  }
  for (const auto& [path, value] : last_) {
    if (now.count(path) != 0) continue;
    if (isClosed(path)) {
      now.emplace(path, value);
    } else {
      add(path, "null");
    }
  }
  last_ = std::move(now);
  first_ = false;
  return text + "}}";
}

}  // namespace tool
