// A source gives reports, a view shows them. There are two: the live sampler, and a recording, finished or
// still being written, from a file or standard input.
#ifndef TESSARY_TOOLS_RECORDING_SOURCE_H
#define TESSARY_TOOLS_RECORDING_SOURCE_H

#include <optional>

#include "tools/figures/report.h"

namespace tool {

constexpr int kNoStop = -1;

class ReportSource {
 public:
  virtual ~ReportSource() = default;

  // Of the reports that next() gave last, and before the first of what is to come.
  virtual const Origin& origin() const = 0;

  // The next report, waited for; none at the end, or when `stop`, a descriptor, became readable.
  virtual std::optional<Report> next(int stop = kNoStop) = 0;
};

}  // namespace tool

#endif
