#include "tools/views/export.h"

#include <sys/stat.h>

#include "tools/commands/options.h"
#include "tools/commands/recordings.h"

namespace tool {

namespace {

std::string nameOf(const std::string& path) {
  return path == "-" ? "standard input" : path.substr(path.rfind('/') + 1);
}

bool isSameFile(const std::string& one, const std::string& other) {
  struct stat a {};
  struct stat b {};
  return ::stat(one.c_str(), &a) == 0 && ::stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
         a.st_ino == b.st_ino;
}

}  // namespace

int exportRecording(const Options& options, Streams& streams) {
  const bool toFile = !options.output.empty() && options.output != "-";
  const ExportFormat* const format =
      options.format.empty() ? formatOfFile(options.output) : findFormat(options.format);
  if (format == nullptr) {
    streams.error.write("tessary: " + (toFile ? options.output + ": the name tells no format" : "no format") +
                        ": give --format, one of " + formatList() + "\n");
    return kUsage;
  }
  if (toFile && isSameFile(options.operand, options.output)) {
    streams.error.write("tessary: " + options.output + ": is the recording itself\n");
    return kUsage;
  }
  const std::unique_ptr<ReportSource> recording = openForReading(options.operand, streams);
  Sink out = toFile ? Sink::file(options.output) : Sink{std::move(streams.out)};
  const std::unique_ptr<Export> view =
      format->open([&out](std::string_view text) { out.write(text); },
                   {options.wide, options.startUnixNs, nameOf(options.operand)});
  view->begin(recording->origin());
  while (const std::optional<Report> report = recording->next()) view->add(*report);
  view->end();
  return kOk;
}

}  // namespace tool
