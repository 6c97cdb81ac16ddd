#include <algorithm>

#include "tools/commands/options.h"
#include "tools/sections/library.h"
#include "tools/views/json.h"

namespace tool {

namespace {

// The nodes of a source that are in the same state.
struct Group {
  const char* monitor;
  const Node* source;
  Finding finding;
  std::string first;
  std::int64_t nodes = 0;
  double seconds = 0;
};

const char* nameOf(State state) {
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

const char* adviceFor(const Node& source, State state) {
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

Value monitor(const Group& group) { return std::string{group.monitor}; }
Value source(const Group& group) {
  return group.nodes == 1 ? group.first : std::string{group.source->target};
}
Value state(const Group& group) { return std::string{nameOf(group.finding.state)}; }
Value error(const Group& group) { return group.finding.error; }
Value time(const Group& group) { return group.seconds * 1000; }
Value advice(const Group& group) { return std::string{adviceFor(*group.source, group.finding.state)}; }

constexpr Column<Group> kSourceColumns[] = {
    {"monitor", "monitor", kPlain, "The section of the report.", monitor, kLabel},
    {"source", "source", kPlain, "A path, a command or a library; a pattern for several nodes.", source,
     kLabel},
    {"nodes", "nodes", kPlain, "How many they are.", get<&Group::nodes>, kLabel, kNeither, 2},
    {"state", "state", kPlain, "read, absent, denied or malformed.", state, kLabel},
    {"error", "error", kPlain, "The system's words; empty when it was read.", error, kLabel},
    {"time_ms", "time", kMilliseconds, "How long trying took.", time, kLabel, kNeither, 1},
    {"advice", "what to do", kPlain, "What to do about it.", advice, kLabel},
};
constexpr Table<Group> kSources{"sources", "source", kSourceColumns};

std::vector<Group> examine(const char* monitor, const Node& source) {
  std::vector<Group> groups;
  for (const std::string& path : expand(source.target)) {
    Stopwatch watch;
    const Finding finding = source.check(path);
    const double seconds = watch.lap();
    auto group = std::find_if(groups.begin(), groups.end(), [&](const Group& known) {
      return known.finding.state == finding.state && known.finding.error == finding.error;
    });
    if (group == groups.end()) group = groups.insert(group, {monitor, &source, finding, path});
    ++group->nodes;
    group->seconds += seconds;
  }
  return groups;
}

// The table without its last column, which is too wide for it, and the advice below.
std::string renderSources(const std::vector<Row>& rows, const TextStyle& style) {
  SectionSchema schema{"doctor", "Sources", {kSources.info()}};
  schema.tables[0].columns.pop_back();
  const SectionSchema adviceSchema{"doctor", "What to do", {}};
  SectionSample sample{&schema, {{rows, {}}}};
  std::string advice;
  for (Row& row : sample.tables[0].rows) {
    const std::string& words = std::get<std::string>(row.back());
    if (!words.empty()) advice += "  " + std::get<std::string>(row[1]) + ": " + words + "\n";
    row.pop_back();
  }
  const std::string text = renderText(sample, style);
  return advice.empty() ? text : text + "\n" + renderText({&adviceSchema, {}}, style) + advice;
}

}  // namespace

int doctor(const Options& options, Streams& streams) {
  streams.divertLibrary(options.diagnostics);
  const SectionSchema schema{"doctor", "Sources", {kSources.info()}};
  SectionSample sample{&schema, {{}}};
  bool anyRead = false;
  for (const SectionInfo* const info : select(options.monitors, true)) {
    for (const Node& node : info->nodes) {
      for (const Group& group : examine(info->schema.name, node)) {
        sample.tables[0].rows.push_back(kSources.row(group));
        anyRead = anyRead || group.finding.state == State::kRead;
      }
    }
  }
  Origin origin;
  origin.library = libraryVersion();
  streams.out.write(options.json ? doctorDocument(origin, sample)
                                 : renderSources(sample.tables[0].rows, styleFor(streams.out, options)));
  return anyRead ? kOk : kNothingRead;
}

}  // namespace tool
