#include "tools/verdict/check.h"

#include <algorithm>
#include <numeric>

#include "tools/commands/options.h"
#include "tools/recording/recording.h"
#include "tools/views/check.h"

namespace tool {

int check(const Options& options, Streams& streams) {
  if (options.files.size() < 2) {
    streams.error.write("tessary: check takes recordings and, last, the file of their budgets\n");
    return kUsage;
  }
  std::vector<Budget> budgets;
  try {
    budgets = readBudgets(options.files.back());
  } catch (const Failure& mistake) {
    streams.error.write(std::string{"tessary: "} + mistake.what() + "\n");
    return kUsage;
  }

  std::deque<Recorded> recordings;  // the results point into them
  std::vector<CheckedRecording> checked;
  for (auto file = options.files.begin(); file + 1 != options.files.end(); ++file) {
    const auto source = openRecording(*file, allSchemas(), [&streams](const std::string& text) {
      streams.error.write("tessary: " + text + "\n");
    });
    Recorded& recorded = recordings.emplace_back(wantedOf(budgets));
    while (const std::optional<Report> report = source->next()) recorded.add(*report);
    if (recorded.samples() == 0) throw Failure{*file + ": holds no sample"};
    const double seconds = std::accumulate(recorded.seconds().begin(), recorded.seconds().end(), 0.0);
    checked.push_back({*file, seconds, check(recorded, budgets, allSchemas())});
  }

  if (!options.junit.empty()) Sink::file(options.junit).write(checkJunit(checked));
  streams.out.write(options.json ? checkJson(checked) : checkText(checked, styleFor(streams.out, options)));
  const bool kept = std::all_of(checked.begin(), checked.end(),
                                [](const CheckedRecording& recording) { return allHeld(recording.results); });
  return kept ? kOk : kLimitPassed;
}

}  // namespace tool
