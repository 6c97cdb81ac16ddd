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

// Takes a token off the front of the text, as strtok does: delimiters before it are dropped, so that no token
// is empty, and so is the one that ends it. Empty when there is none left.
std::string_view takeToken(std::string_view& text, char delimiter) {
  text.remove_prefix(std::min(text.find_first_not_of(delimiter), text.size()));
  const std::string_view token = text.substr(0, text.find(delimiter));
  text.remove_prefix(std::min(token.size() + 1, text.size()));
  return token;
}

void skipFields(tessary::Scanner& scanner, int first, int last) {
  for (int field = first; field <= last; ++field) scanner.skipNumber();
}

}  // namespace

// 4711 (kworker/0:1-events) I 2 0 0 0 -1 69238880 0 0 0 0 0 125 0 0 20 0 1 0 1530 0 0 18446744073709551615 ..
//
// The kernel does not escape the name, which may hold blanks and parentheses. The first closing one ends it
// here: of "((sd-pam))" remains "(sd-pam", and of "(a) b)" the name "a" and the fields " b".
std::optional<StatLine> splitStatLine(std::string_view line) {
  std::string_view text = line.substr(0, line.find('\0'));
  const std::string_view pid = takeToken(text, '(');
  const std::string_view name = takeToken(text, ')');
  const std::string_view rest = takeToken(text, ')');
  if (pid.empty() || name.empty() || rest.empty()) return std::nullopt;
  return StatLine{name.substr(0, kLongestName), rest.substr(1)};
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
