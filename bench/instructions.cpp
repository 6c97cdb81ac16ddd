// Runs each row whose texts are the benchmark's own under callgrind, which counts the user instructions of its samples
// alone and dumps them under the row's name. scripts/checks/instructions reads them.
//
//   valgrind --tool=callgrind --collect-atstart=no tessary_instructions library|floor
//   tessary_instructions --list
//       the rows: name, how many samples are counted, times pieces in each, the piece
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "bench/subjects.h"
#include "bench/tree.h"

namespace {

constexpr int kSamples = 4;

void countRow(const bench::Row& row, const bench::Subject& subject) {
  const std::shared_ptr<void> scene = row.scene ? row.scene() : nullptr;
  const std::function<void()> sample = subject.prepare();
  // The first ones allocate what later ones use again, and find the C library's functions.
  sample();
  sample();
  CALLGRIND_ZERO_STATS;
  {
    const bench::Counted counted;
    for (int i = 0; i < kSamples; ++i) sample();
  }
  CALLGRIND_DUMP_STATS_AT(row.name.c_str());
}

void listRows() {
  for (const bench::Row& row : bench::rows()) {
    if (row.nodes == bench::Nodes::kMachine) continue;
    std::printf("%s\t%g\t%s\n", row.name.c_str(), kSamples * row.pieces, row.piece.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
    listRows();
    return 0;
  }
  const bool isFloor = argc == 2 && std::strcmp(argv[1], "floor") == 0;
  const bench::Who who = isFloor ? bench::Who::kFloor : bench::Who::kLibrary;
  const bench::Quiet quiet;
  for (const bench::Row& row : bench::rows()) {
    if (row.nodes == bench::Nodes::kMachine) continue;
    for (const bench::Subject& subject : bench::subjects()) {
      if (subject.row == row.name && subject.who == who) countRow(row, subject);
    }
  }
}
