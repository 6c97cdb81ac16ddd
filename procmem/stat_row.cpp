#include "procmem/stat_row.h"

#include "base/scanner.h"

namespace procmem {

namespace {

// The kernel's numbers of the fields.
constexpr int kPgrp = 5;
constexpr int kStarttime = 22;

}  // namespace

// 612 (surfaceflinger) S 1 612 0 0 -1 1077936384 26114 0 39 0 1722 846 0 0 12 -8 31 0 1205 2303459328 9875 ..
//
// ppid follows the state, and vsize follows starttime. The name is a word: of "(Web Content)" it is "(Web",
// the C of Content is taken for the state, and the row ends at the rest, which is no ppid.
void scanStatRow(std::string_view text, StatRow row) {
  tessary::Scanner scanner{text};
  scanner.row().skipNumber().word(row.name, row.nameBytes).space().skipCharacter().number(row.ppid);
  for (int field = kPgrp; field <= kStarttime; ++field) scanner.skipNumber();
  scanner.number(row.vmBytes);
}

}  // namespace procmem
