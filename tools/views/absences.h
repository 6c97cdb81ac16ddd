// What was not read, from when to when.
#ifndef TESSARY_TOOLS_VIEWS_ABSENCES_H
#define TESSARY_TOOLS_VIEWS_ABSENCES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/figures/report.h"

namespace tool {

struct Absence {
  const SectionSchema* section;
  std::string what;  // "clock (core 3), temperature"
  std::string reason;
  std::int64_t fromNs;  // boot time: the start of the first interval that it spoiled
  std::size_t first;    // the number of that sample, from 0
};

class Absences {
 public:
  struct Change {
    std::vector<Absence> ended;
    std::vector<Absence> begun;
  };

  // Of the next sample.
  Change add(const Report& report);

  const std::vector<Absence>& present() const { return present_; }

 private:
  std::vector<Absence> present_;
  std::size_t samples_ = 0;
  std::int64_t lastNs_ = 0;
};

}  // namespace tool

#endif
