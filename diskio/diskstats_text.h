// The text of /proc/diskstats.
#ifndef TESSARY_DISKIO_DISKSTATS_TEXT_H
#define TESSARY_DISKIO_DISKSTATS_TEXT_H

#include <cstddef>
#include <string_view>

#include "tessary/disk_mon.h"

namespace diskio {

constexpr std::size_t kLineBytes = 256;

// Takes the next line off a text that is not empty, end of line included, into a buffer that it fills as
// fgets does: what does not fit is the next line. A NUL ends the line before its end.
std::string_view takeLine(std::string_view& text, char (&line)[kLineBytes]);

// Fills a record that is all zeros. False for fewer than fourteen columns. The line is followed by a NUL, as
// takeLine has it.
bool parseLine(std::string_view line, _diskstats_t& record);

}  // namespace diskio

#endif
