// Measures every subject and prints the table of ratios.
//
//   tessary_bench [option of Google Benchmark ..]
//       CPU time: medians of interleaved repetitions, as ratios to the floor; allocations a sample
//   tessary_bench --crowd SIZE COMMAND ..
//       runs a command beside so many processes that do nothing
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "bench/crowd.h"
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

namespace {

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

std::shared_ptr<void> setScene(const bench::Row& row) { return row.scene ? row.scene() : nullptr; }

void measureRow(const bench::Row& row, Medians& medians) {
  const std::shared_ptr<void> scene = setScene(row);
  for (const bench::Subject& subject : bench::subjects()) {
    if (subject.row != row.name) continue;
    const std::string name = subject.row + "@" + bench::kWho[static_cast<int>(subject.who)];
    benchmark::RegisterBenchmark(name.c_str(), [&](benchmark::State& state) { measure(state, subject); })
        ->Repetitions(9)
        ->ReportAggregatesOnly();
  }
  benchmark::RunSpecifiedBenchmarks(&medians);
  benchmark::ClearRegisteredBenchmarks();
}

double timeOf(const Medians& medians, const bench::Row& row, bench::Who who) {
  const auto found = medians.times.find(row.name + "@" + bench::kWho[static_cast<int>(who)]);
  return found != medians.times.end() ? found->second : 0;
}

// A line a row: name, microseconds of the floor, each subject as a ratio to that, allocations of the library.
int printRatios(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  char interleaved[] = "--benchmark_enable_random_interleaving=true";
  char minimum[] = "--benchmark_min_time=0.05";
  arguments.insert(arguments.begin() + 1, {interleaved, minimum});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  Medians medians;
  {
    const bench::Quiet quiet;
    for (const bench::Row& row : bench::rows()) {
      if (row.nodes != bench::Nodes::kOwnNotTimed) measureRow(row, medians);
    }
  }

  std::printf("sample\tfloor, us");
  for (const char* const who : bench::kWho) std::printf("\t%s", who);
  std::printf("\tallocations\n");
  for (const bench::Row& row : bench::rows()) {
    const double floor = timeOf(medians, row, bench::Who::kFloor);
    if (floor == 0) continue;
    std::printf("%s\t%.2f", row.name.c_str(), floor / 1000);
    for (std::size_t who = 0; who < std::size(bench::kWho); ++who) {
      const double time = timeOf(medians, row, static_cast<bench::Who>(who));
      time == 0 ? std::printf("\t-") : std::printf("\t%.2f", time / floor);
    }
    std::printf("\t%.0f\n", medians.allocated[row.name + "@library"]);
  }
  return 0;
}

// Runs a command beside so many idle processes.
int runInCrowd(int size, char** command) {
  const bench::Crowd crowd{size};
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::execvp(command[0], command);
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 3 && std::strcmp(argv[1], "--crowd") == 0) return runInCrowd(std::atoi(argv[2]), argv + 3);
  return printRatios(argc, argv);
}
