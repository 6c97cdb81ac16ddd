#include "tools/views/summary.h"

#include "tools/commands/options.h"
#include "tools/commands/recordings.h"

namespace tool {

int summary(const Options& options, Streams& streams) {
  const std::unique_ptr<ReportSource> recording = openForReading(options.operand, streams);
  Summary summary;
  summary.begin(recording->origin());
  while (const std::optional<Report> report = recording->next()) summary.add(*report);
  summary.end();
  streams.out.write(options.json ? summary.json() : summary.text(options.all));
  if (summary.hasFigures()) return kOk;
  streams.error.write("tessary: " + options.operand + ": holds no figures\n");
  return kNothingRead;
}

}  // namespace tool
