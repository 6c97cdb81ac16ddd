#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>
#include <string>
#include <utility>

#include "tessary/process_mon.h"
#include "tests/support.h"

namespace {

// Fields 3 to 13, utime, 15 to 21, starttime and two more, in ticks of 1/100 s.
std::string fields(const std::string& user) {
  return " S 1 2 3 4 -1 6 7 8 9 10 " + user + " 25 11 12 20 -5 1 0 9900 4096 77\n";
}

const std::string kFields = fields("150");
const std::string kTimes = " 1.5 0.25 99\n";

struct ProcessReader : testing::Test {
  ProcessReader() { board.folder("/proc"); }

  // What reading writes to standard output and, of each record, id, name and times.
  template <typename Read>
  std::string outcomeOf(Read read) {
    monitor.currentSample.clear();
    std::ostringstream text;
    text << outputOf(read);
    for (const process::processStats& process : monitor.currentSample) {
      text << process.pid << ' ' << process.name << ' ' << process.userTime << ' ' << process.systemTime
           << ' ' << process.startTime << '\n';
    }
    return text.str();
  }

  simulator::Board board;
  process::PROCESS_MON::PROCESS_MON_INTERFACE monitor{std::vector<int>{}};
};

TEST_F(ProcessReader, SplitsTheLineAtItsFirstClosingParenthesis) {
  const std::string noName = "/proc/12/statcan't get the process name\n";
  const std::string noFields = "/proc/12/stat fscanf error\n";
  const std::string zeros(
      255 - std::string{"12 (cat) S 1 2 3 4 -1 6 7 8 9 10 150 25 11 12 20 -5 1 0 99"}.size(), '0');
  const std::pair<std::string, std::string> rows[] = {
      {"99 (Web Content)" + kFields, "12 Web Content" + kTimes},
      {"(12 (a(b)" + kFields, "12 a(b" + kTimes},
      {"12 ((sd-pam))" + kFields, "12 (sd-pam" + kTimes},
      {"12 (\xc3\xa4\xff)" + kFields, "12 \xc3\xa4\xff" + kTimes},
      {"12 (" + std::string(180, 'n') + ")" + kFields, "12 " + std::string(180, 'n') + kTimes},
      {"12 (a second line)" + kFields + ")(\n", "12 a second line" + kTimes},
      {"12 (cat)" + fields(zeros + "150"), "12 cat 1.5 0.25 0.99\n"},  // 9900 is cut after 255 characters
      {"", "/proc/12/stat fgets error\n"},
      {"12 cat R 1 2 3\n", noName},
      {"12 ()" + kFields, noName},  // the fields are taken for the name
      {"12 (a\nb)" + kFields, noName},
      {"12 (" + std::string(252, 'n') + ")" + kFields, noName},
      {std::string("\0", 1) + "12 (cat)" + kFields, noName},
      {"12 (cat)\n", noFields},
      {"12 (a) b)" + kFields, noFields},
      {"12 (cat)x)" + kFields.substr(2), noFields},
      {"12 (cat) S 1 2 3 4 -1 6 7 8 9 10 150 25 11 12 20 -5 1 0\n", noFields},
      {"12 (cat)" + fields("much"), noFields},
  };
  for (const auto& [line, outcome] : rows) {
    board.file("/proc/12/stat", line);
    EXPECT_EQ(outcomeOf([&] { monitor.readSchedStat(12); }), outcome) << line;
  }
}

TEST_F(ProcessReader, ReadsEveryProcessOfTheListingOrOfAList) {
  board.file("/proc/40/stat", "40 (late)" + kFields);
  board.file("/proc/7/stat", "7 (early)" + kFields);
  board.limitReads("/proc/7/stat", 5);
  board.refuse("/proc/8/stat", ENOENT);  // ended between the listing and the opening
  board.failRead("/proc/9/stat", ESRCH);
  board.file("/proc/sys/stat", "1 (no process)" + kFields);
  EXPECT_EQ(outcomeOf([&] { monitor.getData(); }),
            "Warning :/proc/8/stat Not able to be opened!\n/proc/9/stat fgets error\n40 late" + kTimes +
                "7 early" + kTimes);
  EXPECT_EQ(outcomeOf([&] {
              monitor.getData({7, -3, 40, 7});
            }),
            "Warning :/proc/-3/stat Not able to be opened!\n7 early" + kTimes + "40 late" + kTimes +
                "7 early" + kTimes);
  board.refuse("/proc", EACCES);
  EXPECT_EQ(outcomeOf([&] { monitor.getData(); }), "opendir(proc) failed\n");
}

}  // namespace
