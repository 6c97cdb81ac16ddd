// A screen of a terminal that shows all sections: what there is room for, and of everything at least one line.
#ifndef TESSARY_TOOLS_VIEWS_SCREEN_H
#define TESSARY_TOOLS_VIEWS_SCREEN_H

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "tools/figures/report.h"
#include "tools/views/absences.h"

namespace tool {

struct ScreenLook {
  std::size_t columns = 80;
  std::size_t rows = 24;
  bool colour = false;
  bool unicode = false;  // else ASCII alone
};

// What the keys have chosen.
struct ScreenChoice {
  bool everyCore = false;   // numbered items in lines of their own, not as a row of bars
  std::size_t sorting = 0;  // the figure by which items are sorted, from the first of their table on
  std::size_t section = 0;  // whose items get the room first: 0 none, 1 the first section
  bool help = false;
  std::string status;  // "paused"
};

class Screen {
 public:
  // A report that goes into the history behind the small curves; in the order of time.
  void add(const Report& report);

  // Everything again from here on: another place of a recording.
  void forget();

  // The lines of the screen, no more and none longer than it is. Only colours are escape sequences.
  std::vector<std::string> lines(const Origin& origin, const Report& report, const ScreenLook& look,
                                 const ScreenChoice& choice) const;

 private:
  std::map<const SectionSchema*, std::deque<double>> history_;
  Absences absences_;
};

}  // namespace tool

#endif
