// A recording as a source: of this machine or another, of this version of the format or an older one.
#ifndef TESSARY_TOOLS_RECORDING_RECORDING_H
#define TESSARY_TOOLS_RECORDING_RECORDING_H

#include <functional>
#include <memory>
#include <string>

#include "tools/recording/line.h"
#include "tools/recording/lines.h"
#include "tools/recording/source.h"

namespace tool {

// What is wrong with a recording that is read all the same, in words for the user.
using Warning = std::function<void(const std::string&)>;

enum Ending { kAtItsEnd, kFollowed };

class Recording : public ReportSource {
 public:
  // Reads as far as the first header or sample. Failure when there is none.
  Recording(Lines lines, Schemas known, Warning warn, int stop = kNoStop);

  const Origin& origin() const override { return origin_; }
  std::optional<Report> next(int stop = kNoStop) override;

 private:
  enum Found { kNothing, kHeader, kSample };

  Found find(Report& report, int stop);
  void warnOfLine(const std::string& reason);
  void warnOfVersion();
  void warnOfDamage();

  Lines lines_;
  Schemas known_;
  Warning warn_;
  Origin origin_;
  std::optional<Report> first_;  // read ahead
  bool warnedOfLine_ = false;
  bool warnedOfDamage_ = false;
};

// A file, or standard input for "-".
std::unique_ptr<Recording> openRecording(const std::string& path, const Schemas& known, const Warning& warn,
                                         Ending ending = kAtItsEnd, int stop = kNoStop);

}  // namespace tool

#endif
