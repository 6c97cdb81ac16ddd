// The sections that were asked for, over one interval.
#ifndef TESSARY_TOOLS_RECORDING_SAMPLER_H
#define TESSARY_TOOLS_RECORDING_SAMPLER_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/figures/report.h"
#include "tools/recording/side_by_side.h"
#include "tools/sections/sections.h"

namespace tool {

class Sampler {
 public:
  // A paced sampler waits even when no section has to, or none does.
  Sampler(const Selection& sections, const Plan& plan, bool paced);

  // Over so many milliseconds. None when `stop` became readable during the wait.
  std::optional<Report> sample(int waitMs, int stop);

 private:
  struct Opened {
    const SectionInfo* info;
    std::unique_ptr<Section> section;  // null: it could not be opened
    std::string failure;               // of the opening, or of this sample
  };

  bool paced_;
  std::vector<Opened> sections_;
};

}  // namespace tool

#endif
