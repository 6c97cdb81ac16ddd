#include <algorithm>

#include "tools/json.h"
#include "tools/options.h"
#include "tools/text.h"

namespace tool {

namespace {

const std::vector<Column> kColumns{
    {"monitor", "monitor", kPlain, true},  {"source", "source", kPlain, true},
    {"nodes", "nodes", kPlain, true},      {"state", "state", kPlain, true},
    {"error", "error", kPlain, true},      {"time_ms", "time", kMilliseconds, true},
    {"advice", "what to do", kPlain, true}};

const char* name(State state) {
  switch (state) {
    case State::kRead:
      return "read";
    case State::kAbsent:
      return "absent";
    case State::kDenied:
      return "denied";
    case State::kMalformed:
      break;
  }
  return "malformed";
}

const char* advice(const Source& source, State state) {
  switch (state) {
    case State::kRead:
      return "";
    case State::kAbsent:
      return source.whenAbsent;
    case State::kDenied:
      return "run it as root, or let this user read it (permissions, SELinux)";
    case State::kMalformed:
      break;
  }
  return "it gives no value: the driver fails, or the device behind it is switched off";
}

// The nodes of a source that are in the same state.
struct Group {
  Finding finding;
  std::string first;
  std::int64_t nodes = 0;
  double seconds = 0;
};

std::vector<Group> examine(const Source& source) {
  std::vector<Group> groups;
  for (const std::string& node : expand(source.target)) {
    Stopwatch watch;
    const Finding finding = source.check(node);
    const double seconds = watch.lap();
    auto group = std::find_if(groups.begin(), groups.end(), [&](const Group& known) {
      return known.finding.state == finding.state && known.finding.error == finding.error;
    });
    if (group == groups.end()) group = groups.insert(group, {finding, node, 0, 0});
    ++group->nodes;
    group->seconds += seconds;
  }
  return groups;
}

Row describe(const SectionInfo& info, const Source& source, const Group& group) {
  constexpr double kMillisecondsInSecond = 1000;
  return {std::string{info.name},
          group.nodes == 1 ? group.first : std::string{source.target},
          group.nodes,
          std::string{name(group.finding.state)},
          group.finding.error,
          group.seconds * kMillisecondsInSecond,
          std::string{advice(source, group.finding.state)}};
}

// The table without its last column, which is too wide for it, and the advice below.
std::string renderSources(Sample sample, bool colour) {
  std::vector<Column> columns = kColumns;
  columns.pop_back();
  std::string advice;
  for (Row& row : sample[0].rows) {
    const std::string& words = std::get<std::string>(row.back());
    if (!words.empty()) advice += "  " + std::get<std::string>(row[1]) + ": " + words + "\n";
    row.pop_back();
  }
  std::string text = renderText("Sources", {{"sources", columns}}, sample, colour);
  return advice.empty() ? text : text + "\n" + renderText("What to do", {}, {}, colour) + advice;
}

}  // namespace

int doctor(const Options& options, const Selection& sections, Streams& streams) {
  Sample sample(1);
  bool anyRead = false;
  for (const SectionInfo* const info : sections) {
    for (const Source& source : info->sources) {
      for (const Group& group : examine(source)) {
        sample[0].rows.push_back(describe(*info, source, group));
        anyRead = anyRead || group.finding.state == State::kRead;
      }
    }
  }
  streams.out.write(options.json ? doctorDocument({{"sources", kColumns}}, sample)
                                 : renderSources(std::move(sample), wantsColour(streams.out)));
  return anyRead ? kOk : kNothingRead;
}

}  // namespace tool
