// What the benchmark measures: samples of the library beside the leanest loop that reads the same nodes (the
// floor), plain stdio, and other libraries where they are installed. Each file of this folder registers its
// own.
#ifndef TESSARY_BENCH_SUBJECTS_H
#define TESSARY_BENCH_SUBJECTS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

enum class Who { kLibrary, kFloor, kStdio, kLibproc2, kLibgtop, kLibstatgrab };
constexpr const char* kWho[] = {"library", "floor", "stdio", "libproc2", "libgtop", "libstatgrab"};

struct Subject {
  std::string row;  // what is sampled: "/proc/stat, 8 cores"
  Who who;
  std::function<std::function<void()>()> prepare;  // what one sample runs; kept while it is measured
};

// Instructions repeat exactly where the texts are the benchmark's own, and are counted there alone.
enum class Nodes { kMachine, kOwn, kOwnNotTimed };

// How many of what one sample of a row reads, for figures by the piece: 8, "node".
struct Row {
  std::string name;
  double pieces;
  std::string piece;
  Nodes nodes;
  std::function<std::shared_ptr<void>()> scene = nullptr;  // what stands while the row is measured
};

std::vector<Row>& rows();
std::vector<Subject>& subjects();

// Registers a row at load time: const bool registered = bench::add({"..", 8, "node", ..}, {..}).
bool add(Row row, std::vector<Subject> list);

// One more subject of a row that another file registers.
bool addTo(const std::string& row, Who who, std::function<std::function<void()>()> prepare);

// The monitors' own lines on standard output are not the benchmark's.
class Quiet {
 public:
  Quiet();
  ~Quiet();
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  int output_;
};

}  // namespace bench

#endif
