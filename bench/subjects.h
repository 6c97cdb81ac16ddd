// What the benchmark measures: samples of the library beside the leanest loop that reads the same nodes (the
// floor), and, where it is installed, beside procps-ng's libproc2. Each file of this folder registers its
// own.
#ifndef TESSARY_BENCH_SUBJECTS_H
#define TESSARY_BENCH_SUBJECTS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

enum class Who { kLibrary, kFloor, kPeer };

struct Subject {
  std::string row;  // what is sampled: "/proc/stat, 8 cores"
  Who who;
  std::function<std::function<void()>()> prepare;  // what one sample runs; kept while it is measured
};

// How many of what one sample of a row reads, for figures by the piece: 8, "core".
struct Row {
  std::string name;
  double pieces;
  std::string piece;
  std::string peer = "libproc2";
  std::function<std::shared_ptr<void>()> scene = nullptr;  // what stands while the row is measured
};

std::vector<Row>& rows();
std::vector<Subject>& subjects();

// Registers a row at load time: const bool registered = bench::add({"..", 8, "core"}, {..}).
bool add(Row row, std::vector<Subject> list);

}  // namespace bench

#endif
