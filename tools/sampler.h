// One report: the sections that were asked for, over one interval.
#ifndef TESSARY_TOOLS_SAMPLER_H
#define TESSARY_TOOLS_SAMPLER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/section.h"
#include "tools/side_by_side.h"

namespace tool {

using Selection = std::vector<const SectionInfo*>;

struct Report {
  struct Part {
    const SectionInfo* info;
    Sample sample;
  };
  std::int64_t bootTimeNs;  // at the end of the interval
  double intervalMs;        // as it was
  std::vector<Part> parts;

  bool hasFigures() const;
};

class Sampler {
 public:
  // A paced sampler waits through the interval even when no section has to.
  Sampler(const Selection& sections, const Plan& plan, bool paced = false);

  // None when `stop` became readable during the interval.
  std::optional<Report> sample(int stop = kNoStop);

 private:
  struct Opened {
    const SectionInfo* info;
    std::unique_ptr<Section> section;  // null: it could not be opened
    std::string failure;               // of the opening, or of this sample
  };

  int intervalMs_;
  bool paced_;
  std::vector<Opened> sections_;
};

}  // namespace tool

#endif
