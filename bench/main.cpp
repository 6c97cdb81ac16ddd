// Measures every subject and prints the table of ratios.
//
//   tessary_bench
//       CPU time: medians of interleaved repetitions, as ratios; allocations a sample
//   tessary_bench --list
//       the rows, each with its pieces: "8 core /proc/stat, 8 cores"
//   tessary_bench --run ROW COUNT
//       the library's sample COUNT times and nothing else, for an instruction counter
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>

#include "bench/subjects.h"

namespace {

std::atomic<long> allocations{0};

}  // namespace

// Counted in the executable, which comes before the C++ library for the library under measurement, too.
void* operator new(std::size_t bytes) {
  ++allocations;
  void* const memory = std::malloc(bytes);
  if (memory == nullptr) throw std::bad_alloc{};
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*bytes*/) noexcept { std::free(memory); }

namespace bench {

std::vector<Row>& rows() {
  static std::vector<Row> all;
  return all;
}

std::vector<Subject>& subjects() {
  static std::vector<Subject> all;
  return all;
}

bool add(Row row, std::vector<Subject> list) {
  for (Subject& subject : list) {
    subject.row = row.name;
    subjects().push_back(std::move(subject));
  }
  rows().push_back(std::move(row));
  return true;
}

}  // namespace bench

namespace {

constexpr const char* kWho[] = {"library", "floor", "peer"};

// The median CPU time of each subject, in nanoseconds, by "row/who".
class Medians : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        times[run.run_name.function_name] = run.GetAdjustedCPUTime();
        allocated[run.run_name.function_name] = run.counters.at("allocations").value;
      }
    }
  }
  std::map<std::string, double> times;
  std::map<std::string, double> allocated;
};

void measure(benchmark::State& state, const bench::Subject& subject) {
  const std::function<void()> sample = subject.prepare();
  sample();
  const long before = allocations;
  for (auto _ : state) sample();
  state.counters["allocations"] =
      static_cast<double>(allocations - before) / static_cast<double>(state.iterations());
}

// The monitors' own lines on standard output are not the table's.
class Quiet {
 public:
  Quiet() : output_{::dup(STDOUT_FILENO)} {
    std::fflush(stdout);
    const int nowhere = ::open("/dev/null", O_WRONLY);
    ::dup2(nowhere, STDOUT_FILENO);
    ::close(nowhere);
  }
  ~Quiet() {
    std::fflush(stdout);
    ::dup2(output_, STDOUT_FILENO);
    ::close(output_);
  }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  int output_;
};

std::shared_ptr<void> setScene(const bench::Row& row) { return row.scene ? row.scene() : nullptr; }

void measureRow(const bench::Row& row, Medians& medians) {
  const std::shared_ptr<void> scene = setScene(row);
  for (const bench::Subject& subject : bench::subjects()) {
    if (subject.row != row.name) continue;
    const std::string name = subject.row + "@" + kWho[static_cast<int>(subject.who)];
    benchmark::RegisterBenchmark(name.c_str(), [&](benchmark::State& state) { measure(state, subject); })
        ->Repetitions(9)
        ->ReportAggregatesOnly();
  }
  benchmark::RunSpecifiedBenchmarks(&medians);
  benchmark::ClearRegisteredBenchmarks();
}

int printRatios(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  char interleaved[] = "--benchmark_enable_random_interleaving=true";
  char minimum[] = "--benchmark_min_time=0.05";
  arguments.insert(arguments.begin() + 1, {interleaved, minimum});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  Medians medians;
  {
    const Quiet quiet;
    for (const bench::Row& row : bench::rows()) measureRow(row, medians);
  }

  std::printf("%-36s %10s %14s %14s %10s %12s\n", "sample", "time, us", "library/floor", "library/peer",
              "adds, us", "allocations");
  for (const bench::Row& row : bench::rows()) {
    const auto time = [&](bench::Who who) {
      const auto found = medians.times.find(row.name + "@" + kWho[static_cast<int>(who)]);
      return found != medians.times.end() ? found->second : 0;
    };
    const double library = time(bench::Who::kLibrary);
    if (library == 0) continue;
    std::printf("%-36s %10.2f", row.name.c_str(), library / 1000);
    for (const bench::Who other : {bench::Who::kFloor, bench::Who::kPeer}) {
      if (time(other) == 0) {
        std::printf(" %14s", "-");
      } else {
        std::printf(" %14.2f", library / time(other));
      }
    }
    std::printf(" %10.2f", (library - time(bench::Who::kFloor)) / 1000);
    std::printf(" %12.1f\n", medians.allocated[row.name + "@library"]);
  }
  return 0;
}

int runLibrary(const std::string& name, long count) {
  const auto row = std::find_if(bench::rows().begin(), bench::rows().end(),
                                [&](const bench::Row& other) { return other.name == name; });
  for (const bench::Subject& subject : bench::subjects()) {
    if (subject.row != name || subject.who != bench::Who::kLibrary) continue;
    const std::shared_ptr<void> scene = setScene(*row);
    const std::function<void()> sample = subject.prepare();
    while (count-- > 0) sample();
    return 0;
  }
  std::fprintf(stderr, "tessary_bench: there is no row \"%s\"\n", name.c_str());
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
    for (const bench::Row& row : bench::rows()) {
      std::printf("%g %s %s\n", row.pieces, row.piece.c_str(), row.name.c_str());
    }
    return 0;
  }
  if (argc == 4 && std::strcmp(argv[1], "--run") == 0) return runLibrary(argv[2], std::atol(argv[3]));
  return printRatios(argc, argv);
}
