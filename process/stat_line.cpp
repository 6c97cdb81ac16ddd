#include "process/stat_line.h"

#include <algorithm>

#include "base/scanner.h"

namespace process {

namespace {

constexpr std::size_t kLongestName = 254;

// The kernel's numbers of the fields.
constexpr int kPpid = 4;
constexpr int kCmajflt = 13;
constexpr int kCutime = 16;
constexpr int kItrealvalue = 21;

void skipFields(tessary::Scanner& scanner, int first, int last) {
  for (int field = first; field <= last; ++field) scanner.skipNumber();
}

}  // namespace

// 4711 (kworker/0:1-events) I 2 0 0 0 -1 69238880 0 0 0 0 0 125 0 0 20 0 1 0 1530 0 0 18446744073709551615 ..
//
// The kernel does not escape the name, which may hold blanks and parentheses. The first closing one ends it
// here: of "((sd-pam))" remains "(sd-pam", and of "(a) b)" the name "a" and the fields "b)". The line is
// split as strtok does it, first at "(" and then twice at ")": delimiters before a token are dropped, so that
// no token is empty, and a NUL ends the line.
std::optional<StatLine> splitStatLine(std::string_view line) {
  constexpr auto kNone = std::string_view::npos;

  const std::size_t opening = line.find('(', line.find_first_not_of('('));
  if (opening == kNone) return std::nullopt;
  const std::size_t name = line.find_first_not_of(')', opening + 1);
  const std::size_t closing = line.find(')', name);
  if (closing == kNone) return std::nullopt;
  const std::size_t rest = line.find_first_not_of(')', closing + 1);
  if (rest == kNone || line.substr(0, rest + 1).find('\0') != kNone) return std::nullopt;

  // The blank is skipped. What ends the rest need not be looked for behind the state: no number holds it.
  std::string_view fields = line.substr(rest + 1);
  if (!fields.empty() && (fields.front() == ')' || fields.front() == '\0')) fields = {};
  return StatLine{line.substr(name, std::min(closing - name, kLongestName)), fields};
}

// I 2 0 0 0 -1 69238880 0 0 0 0 0 125 0 0 20 0 1 0 1530 0 0 18446744073709551615 ..
// Any one character is the state; utime and stime follow cmajflt, and starttime follows itrealvalue.
std::optional<CpuTicks> parseCpuTicks(std::string_view fields) {
  CpuTicks ticks;
  tessary::Scanner scanner{fields};
  scanner.row().skipCharacter();
  skipFields(scanner, kPpid, kCmajflt);
  scanner.number(ticks.user).number(ticks.system);
  skipFields(scanner, kCutime, kItrealvalue);
  scanner.number(ticks.start);
  if (!scanner.matching()) return std::nullopt;
  return ticks;
}

}  // namespace process
