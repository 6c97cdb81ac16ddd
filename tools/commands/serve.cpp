#include <algorithm>
#include <set>

#include "tools/commands/options.h"
#include "tools/commands/stop_signal.h"
#include "tools/figures/time_units.h"
#include "tools/recording/live.h"
#include "tools/serve/server.h"

namespace tool {

namespace {

constexpr std::size_t kRows = 50;  // of the tables of processes

// name=path, or a path alone.
struct Named {
  std::string name;
  std::string path;
  bool isFixed;  // whatever the recording says
};

Named parseSource(const std::string& text, bool isOnly) {
  const std::size_t equals = text.find('=');
  // A path may have one, too, but not within the name of a source.
  if (equals != std::string::npos && equals > 0 && text.find('/') > equals) {
    return {text.substr(0, equals), text.substr(equals + 1), true};
  }
  if (text == "-") return {"standard input", text, !isOnly};
  return {text.substr(text.rfind('/') + 1), text, !isOnly};
}

std::vector<Named> parseSources(const std::vector<std::string>& texts) {
  std::vector<Named> sources;
  sources.reserve(texts.size());
  for (const std::string& text : texts) sources.push_back(parseSource(text, texts.size() == 1));
  return sources;
}

// What is wrong with them together; empty when nothing is.
std::string mistakeIn(const std::vector<Named>& sources) {
  std::set<std::string> names;
  int inputs = 0;
  for (const Named& source : sources) {
    if (source.path.empty()) return "the source " + source.name + "= lacks its path";
    if (!names.insert(source.name).second) {
      return "two sources are called " + source.name + ": name them, as front=" + source.path;
    }
    if (source.path == "-" && ++inputs > 1) return "standard input can be read once";
  }
  return "";
}

void addThisMachine(Server& server, const Options& options, const HistoryLimit& limit,
                    const Board::Tell& tell) {
  Plan plan = options.plan;
  plan.top = options.top.value_or(kRows);
  plan.keep = true;
  constexpr std::int64_t kNoEnd = 0;
  auto board = std::make_unique<Board>("this machine", false, limit, tell);
  auto live = std::make_unique<Live>(select(options.monitors, false), plan, kNoEnd);
  server.add(std::move(board), std::make_unique<LiveInput>(std::move(live)));
}

}  // namespace

int serve(const Options& options, Streams& streams) {
  const std::vector<Named> sources = parseSources(options.files);
  const std::string mistake = mistakeIn(sources);
  const Board::Tell tell = [&streams](const std::string& text) {
    try {
      streams.error.write("tessary: " + text + "\n");
    } catch (...) {  // nobody listens: the boards are served all the same
    }
  };
  if (!mistake.empty()) {
    tell(mistake);
    return kUsage;
  }
  streams.divertLibrary(false);
  const StopSignal stop;
  const auto keepNs = static_cast<std::int64_t>(options.keepSeconds * kNanosecondsInSecond);
  const HistoryLimit limit{keepNs, options.keepBytes / std::max<std::size_t>(1, sources.size())};
  Server server{options.listen, allSchemas(), keepNs};
  for (const Named& source : sources) {
    server.add(std::make_unique<Board>(source.name, source.isFixed, limit, tell),
               std::make_unique<StreamInput>(source.path, allSchemas(), tell));
  }
  if (sources.empty()) addThisMachine(server, options, limit, tell);

  tell("http://" + addressText(server.address()) + "/");
  if (!isLoopback(options.listen.host)) {
    tell("whoever reaches this address reads what is served: names of processes, figures, recordings");
  }
  server.run(StopSignal::descriptor());
  return kOk;
}

}  // namespace tool
