#include "diskio/diskstats_text.h"

#include <algorithm>
#include <cstring>

#include "base/scanner.h"

namespace diskio {

namespace {

constexpr int kFewestColumns = 14;  // what kernels before 4.18 print: no discards, no flushes

constexpr uint64_t _diskstats_t::*kCounters[] = {
    &_diskstats_t::readsCompleted,   &_diskstats_t::readsMerged,      &_diskstats_t::sectorsRead,
    &_diskstats_t::readTimeMs,       &_diskstats_t::writesCompleted,  &_diskstats_t::writesMerged,
    &_diskstats_t::sectorsWritten,   &_diskstats_t::writeTimeMs,      &_diskstats_t::iosInProgress,
    &_diskstats_t::ioTimeMs,         &_diskstats_t::weightedIoTimeMs, &_diskstats_t::discardsCompleted,
    &_diskstats_t::discardsMerged,   &_diskstats_t::sectorsDiscarded, &_diskstats_t::discardTimeMs,
    &_diskstats_t::flushesCompleted, &_diskstats_t::flushTimeMs,
};

}  // namespace

std::string_view takeLine(std::string_view& text, char (&line)[kLineBytes]) {
  const std::size_t limit = std::min(text.size(), kLineBytes - 1);
  const void* const newline = std::memchr(text.data(), '\n', limit);
  const std::size_t length =
      newline != nullptr ? static_cast<std::size_t>(static_cast<const char*>(newline) - text.data()) + 1
                         : limit;
  std::memcpy(line, text.data(), length);
  line[length] = '\0';
  text.remove_prefix(length);
  return line;
}

// 254 0 vda 116429 15953 10489034 144302 14800 15290 2163320 7499 0 12532 152681 8517 62 740264 851 718 28
// major minor name, then the columns of _diskstats_t; the sectors are the third and the seventh of these.
// Numbers of a device beyond 16 bits lose the upper ones.
bool parseLine(std::string_view line, _diskstats_t& record) {
  tessary::Scanner columns{line};
  columns.number(record.majorNumber).number(record.minorNumber).word(record.deviceName);
  for (const auto counter : kCounters) columns.number(record.*counter);
  return columns.converted() >= kFewestColumns;
}

}  // namespace diskio
