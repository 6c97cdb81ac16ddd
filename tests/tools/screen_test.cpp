#include "tools/views/screen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <string>

#include "tests/tools/drive.h"
#include "tests/tools/sample_tables.h"
#include "tools/views/width.h"

namespace tool {
namespace {

// Names that are wider than their bytes, narrower, no text at all, or meant for the terminal.
const char* const kNames[] = {"fan", "風扇風扇風扇", "\xff\xfe", "\033[31mred",
                              "name of more than twenty-four columns"};

Report airy(std::int64_t second, Value load) {
  Report report;
  report.bootTimeNs = second * 1000000000;
  report.intervalMs = 1000;
  std::vector<Fan> fans;
  for (const char* const name : kNames)
    fans.push_back({name, std::int64_t{1000 + second}, Absent{"no driver"}});
  report.sections = {cooling({std::move(load), std::int64_t{1}}, fans)};
  return report;
}

std::string withoutColours(const std::string& line) {
  std::string plain;
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (line.compare(at, 2, "\033[") == 0)
      at = line.find('m', at);
    else
      plain += line[at];
  }
  return plain;
}

struct Locale {
  Locale() { std::setlocale(LC_CTYPE, "C.UTF-8"); }
  ~Locale() { std::setlocale(LC_CTYPE, "C"); }
};

TEST(Screen, NoLineIsWiderThanTheScreenAndNoScreenHigher) {
  const Locale locale;
  Screen screen;
  for (int second = 1; second < 40; ++second)
    screen.add(airy(second, Absent{"a reason that is rather long"}));
  for (const bool unicode : {false, true}) {
    for (const std::size_t columns : {1U, 10U, 40U, 80U, 200U}) {
      for (const std::size_t rows : {1U, 2U, 10U, 24U, 60U}) {
        for (const bool help : {false, true}) {
          ScreenChoice choice;
          choice.help = help;
          choice.status = "paused";
          const ScreenLook look{columns, rows, true, unicode};
          const std::vector<std::string> lines = screen.lines({}, airy(40, 99.5), look, choice);
          EXPECT_LE(lines.size(), rows);
          for (const std::string& line : lines) {
            EXPECT_LE(displayWidth(withoutColours(line)), columns) << columns << "x" << rows << ": " << line;
          }
        }
      }
    }
  }
}

TEST(Screen, ShowsWhatIsThereAndSaysWhatIsNotAndForHowLong) {
  Screen screen;
  screen.add(airy(1, 50.0));
  for (int second = 2; second < 90; ++second) screen.add(airy(second, Absent{"the sensor is off"}));
  const std::vector<std::string> lines = screen.lines({}, airy(89, 50.0), {100, 24, false, false}, {});
  EXPECT_NE(lines[1].find("load #####..... 50.0 %"), std::string::npos) << lines[1];
  EXPECT_NE(lines.back().find("NOT READ (and 1 more) "), std::string::npos) << lines.back();
  const std::vector<std::string> high = screen.lines({}, airy(89, 50.0), {100, 60, false, false}, {});
  EXPECT_EQ(high.back(), "NOT READ 1:28 min cooling: load: the sensor is off");
}

TEST(Screen, GivesRoomToTheSectionThatWasChosen) {
  const Report one = airy(1, 50.0);
  Report both = one;
  both.sections.push_back(one.sections[0]);
  Screen screen;
  ScreenChoice choice;
  choice.section = 2;
  // A status line, two headings, one line of what is absent: six are left, all for the second section.
  screen.add(both);
  const std::vector<std::string> lines = screen.lines({}, both, {80, 10, false, false}, choice);
  ASSERT_EQ(lines.size(), 10U);
  EXPECT_EQ(lines[2].substr(0, 7), "cooling");
  EXPECT_EQ(lines[3].substr(0, 5), "  fan");
}

TEST(Screen, DrawsTheLargestOfASectionThatHasItemsAlone) {
  Screen screen;
  Report report;
  for (const double hottest : {40.0, 80.0, 60.0}) {
    report = drive::sample(
        {1.0, 1.0, 1.0}, {},
        {{"thermal_zone0", "a", 20}, {"thermal_zone1", "b", hottest}, {"thermal_zone2", "c", 30}});
    screen.add(report);
  }
  const std::vector<std::string> lines = screen.lines({}, report, {80, 24, false, false}, {});
  const auto line = std::find_if(lines.begin(), lines.end(),
                                 [](const std::string& text) { return text.compare(0, 8, "thermal ") == 0; });
  ASSERT_NE(line, lines.end());
  EXPECT_EQ(line->substr(0, 26), "thermal                =#+");
}

TEST(Width, CutsBetweenCharacters) {
  const Locale locale;
  EXPECT_EQ(displayWidth("a風b"), 4U);
  EXPECT_EQ(cutTo("a風b", 2), "a");
  EXPECT_EQ(cutTo("a風b", 3), "a風");
  EXPECT_EQ(displayWidth("\xff"), 1U);
}

}  // namespace
}  // namespace tool
