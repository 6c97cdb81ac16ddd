#include "tools/recording/recording.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/output.h"
#include "tools/recording/descriptor.h"
#include "tools/views/json.h"

namespace tool {

namespace {

Descriptor openFile(const std::string& path) {
  Descriptor descriptor{path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, kAboveStandard)
                                    : ::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
  if (descriptor.number() < 0) throw Failure{path + ": " + std::strerror(errno)};
  return descriptor;
}

}  // namespace

Recording::Recording(Lines lines, Schemas known, Warning warn, int stop)
    : lines_{std::move(lines)}, known_{std::move(known)}, warn_{std::move(warn)} {
  Report report;
  const Found found = find(report, stop);
  if (found == kNothing) throw Failure{lines_.name() + ": holds no recording"};
  if (found == kSample) first_ = std::move(report);
}

std::optional<Report> Recording::next(int stop) {
  if (first_) return std::exchange(first_, std::nullopt);
  Report report;
  Found found = find(report, stop);
  while (found == kHeader) found = find(report, stop);  // recordings may stand one behind the other
  if (found == kNothing) return std::nullopt;
  return report;
}

// The next header or sample.
Recording::Found Recording::find(Report& report, int stop) {
  while (const std::optional<std::string_view> line = lines_.next(stop)) {
    std::variant<BadLine, Origin, Report> parsed = parseLine(*line, known_);
    if (auto* const sample = std::get_if<Report>(&parsed)) {
      report = std::move(*sample);
      return kSample;
    }
    if (auto* const origin = std::get_if<Origin>(&parsed)) {
      origin_ = std::move(*origin);
      warnOfVersion();
      return kHeader;
    }
    // A cut line is how a recording ends that was stopped by force.
    if (!lines_.isCut()) warnOfLine(std::get<BadLine>(parsed).reason);
  }
  warnOfDamage();
  return kNothing;
}

void Recording::warnOfLine(const std::string& reason) {
  if (std::exchange(warnedOfLine_, true)) return;
  warn_(lines_.name() + ":" + std::to_string(lines_.number()) + ": skipped: " + reason);
}

void Recording::warnOfVersion() {
  if (origin_.version <= kJsonVersion) return;
  warn_(lines_.name() + ": of version " + std::to_string(origin_.version) +
        ", which is newer than this tool's " + std::to_string(kJsonVersion));
}

void Recording::warnOfDamage() {
  if (!lines_.isDamaged() || std::exchange(warnedOfDamage_, true)) return;
  warn_(lines_.name() + ": the compressed data is damaged behind line " + std::to_string(lines_.number()));
}

std::unique_ptr<Recording> openRecording(const std::string& path, const Schemas& known, const Warning& warn,
                                         Ending ending, int stop) {
  const std::string name = path == "-" ? "standard input" : path;
  return std::make_unique<Recording>(Lines{name, openFile(path), ending == kFollowed}, known, warn, stop);
}

}  // namespace tool
