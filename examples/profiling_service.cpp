// A profiling service: every second what all monitors say, as a line of JSON, until SIGTERM, Ctrl-C or as many
// lines as its argument says. A figure that could not be read is not in the line.
#include <signal.h>
#include <tessary/cpu_mon.h>
#include <tessary/ddr_mon.h>
#include <tessary/disk_mon.h>
#include <tessary/dsp_mon.h>
#include <tessary/gpu_mon.h>
#include <tessary/memory_mon.h>
#include <tessary/net_mon.h>
#include <tessary/process_mon.h>
#include <tessary/procmem_mon.h>
#include <tessary/thermal_mon.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <map>
#include <optional>
#include <stdexcept>
#include <thread>

namespace {

// In which CPU and DSPs are measured; a stop waits no longer than three of them.
constexpr int kWindowMs = 50;
constexpr int kTop = 3;

int goOn(int) { return 110; }  // instead of a monitor's own waiting: the service has waited already
bool wentBack(std::uint64_t growth) { return growth > INT64_MAX; }

struct Line {
  std::string text, end;
  explicit Line(double seconds) : text{"{\"seconds\":" + std::to_string(seconds)} {}
  void section(const char* name) {
    text += end + ",\"" + name + "\":{";
    end = "}";
  }
  void figure(const std::string& name, double figure) {
    if (!std::isfinite(figure)) return;
    text += text.back() == '{' ? "\"" : ",\"";
    for (const char c : name) text += c < ' ' || c > '~' || c == '"' || c == '\\' ? '?' : c;
    text += "\":" + std::to_string(figure);
  }
  // The first few by what `figureOf` says of them: 0 is none, or one that could not be read.
  template <typename Rows, typename FigureOf>
  void largest(Rows rows, FigureOf figureOf) {
    const auto isLarger = [&](const auto& a, const auto& b) { return figureOf(a) > figureOf(b); };
    std::sort(rows.begin(), rows.end(), isLarger);
    int left = kTop;
    for (auto row = rows.begin(); left-- > 0 && row != rows.end() && figureOf(*row) > 0; ++row)
      figure(std::to_string(row->pid) + " " + row->name, figureOf(*row));
  }
};

// Of one thread: the monitors are constructed, used and destroyed there.
struct Sampler {
  cpu::CPU_MON cpu;
  process::PROCESS_MON processes{goOn};
  procmem::PERPROCMEM_MON processMemory;
  memory::MEMORY_MON memory;
  thermal::THERMAL_MON zones;
  diskio::DISK_MON disks;
  net::NET_MON interfaces{goOn};
  gpu::GPU_MON gpu;
  dsp::DSP_MON adsp{2, long{kWindowMs}}, cdsp{3, long{kWindowMs}};
  std::optional<ddr::DDR_MON> bus;
  std::map<std::string, std::uint64_t> sectors;  // of each disk, at the sample before
  std::map<std::string, bool> isAway;            // interfaces

  Sampler() { cpu.implementation->samplingTime = kWindowMs; }

  // What happened in so many seconds since the sample before; what has to be waited for comes last.
  std::string sample(double seconds) {
    Line line{seconds};
    line.section("disk");
    std::map<std::string, std::uint64_t> now;  // a disk may come or go at any time: they are paired by name
    for (const diskio::_iostats_t& disk : disks.tessary_getRawIOStats()) {
      now[disk.deviceName] = disk.sectorsRead + disk.sectorsWritten;
      const std::uint64_t growth = now[disk.deviceName] - sectors[disk.deviceName];
      const bool isKnown = sectors[disk.deviceName] != 0 && !wentBack(growth);
      line.figure(disk.deviceName, isKnown ? static_cast<double>(growth) * 512 / seconds : NAN);
    }
    sectors = std::move(now);

    line.section("net");
    // The counters of one that is away are 0: in the sample in which it is back they grow by all that they hold.
    for (const net::netStats& one : interfaces.tessary_getNetstats()) {
      const bool wasAway = isAway[one.name];
      isAway[one.name] = wentBack(one.rx_bytes) || (wasAway && one.rx_bytes == 0);
      const bool isKnown = !isAway[one.name] && !wasAway && !wentBack(one.tx_bytes);
      line.figure(one.name, isKnown ? static_cast<double>(one.rx_bytes + one.tx_bytes) / seconds : NAN);
    }

    line.section("process");  // percent of a processor
    // Behind a sample without processes, as when /proc could not be listed, all are new, with all they ever used.
    const bool isComparable = !processes.implementation->previousSample.empty();
    line.largest(*processes.tessary_getProcessStats(), [&](const process::resultProcInfo& one) {
      return isComparable && one.cpuShare > 0 ? 100 * one.totalTime / seconds : 0;
    });
    line.section("procmem");  // KiB
    const auto pss = [](const auto& one) { return static_cast<double>(one.pss); };
    line.largest(*processMemory.tessary_getPerProcessMemStats(), pss);

    line.section("memory");
    // What cannot be read keeps its value: so it gets one that no machine has.
    if (memory.implementation->memStats != nullptr) *memory.implementation->memStats = {};
    const memory::finalMemStats* const kib = memory.tessary_getMemStats();
    if (kib != nullptr && kib->totalMem != 0) {
      line.figure("total_kib", static_cast<double>(kib->totalMem));
      line.figure("available_kib", static_cast<double>(kib->availableMem));
    }
    line.section("thermal");
    const std::vector<std::string> names = zones.tessary_getSensorNames();
    const std::vector<int>& temperatures = *zones.tessary_getThermalStats();  // may be fewer
    for (std::size_t at = 0; at < temperatures.size(); ++at)
      line.figure(names[at], temperatures[at] / 1000.0);

    line.section("gpu");
    const float busy = gpu.tessary_getGPUBusyPercent();
    gpu.implementation->clocksPerSecond = NAN;  // stays where nothing is read
    try {
      gpu.tessary_getGPUSample();
    } catch (const std::out_of_range&) {  // there is no profiler
    }
    line.figure("busy_percent", busy < 0 ? NAN : busy);
    line.figure("clock_mhz", gpu.tessary_getGPUFrequency());

    line.section("ddr");
    if (!bus) bus.emplace();
    const std::uint64_t* const words = bus->tessary_getDDRStats();
    line.figure("a_total", words != nullptr ? static_cast<double>(words[2]) : NAN);
    line.figure("b_total", words != nullptr ? static_cast<double>(words[5]) : NAN);
    if (words == nullptr) bus.reset();  // after a failure it fails for ever: the next sample gets another

    line.section("dsp");
    line.figure("adsp", adsp.tessary_getDSPSample() == 0 ? adsp.tessary_getDSPUtilization() : NAN);
    line.figure("cdsp", cdsp.tessary_getDSPSample() == 0 ? cdsp.tessary_getDSPUtilization() : NAN);

    line.section("cpu");
    // A core that goes on- or offline in between moves the rows of the others: loads that none can have.
    const double* const load = cpu.tessary_getPerCoreUsage();
    if (load != nullptr && load[0] >= 0 && load[0] <= 100) line.figure("load_percent", load[0]);
    const std::int64_t* const clocks = cpu.tessary_getCPUFrequency();
    if (clocks != nullptr)
      line.figure("highest_khz", static_cast<double>(*std::max_element(clocks, clocks + cpu.numCores)));
    return line.text + line.end + "}\n";
  }
};

void serve(std::FILE* out, long samples, const std::shared_future<void>& stop) {
  Sampler sampler;
  auto last = std::chrono::steady_clock::now();
  while (samples-- != 0 && stop.wait_until(last + std::chrono::seconds{1}) == std::future_status::timeout) {
    const auto now = std::chrono::steady_clock::now();
    std::fputs(sampler.sample(std::chrono::duration<double>{now - last}.count()).c_str(), out);
    std::fflush(out);
    last = now;
  }
  kill(getpid(), SIGTERM);
}

}  // namespace

int main(int argc, char** argv) {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // before there is a second thread, which then has it, too
  // The library has words of its own on standard output. They go to standard error: ours are JSON alone.
  std::FILE* const out = fdopen(dup(STDOUT_FILENO), "w");
  if (out == nullptr || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return 1;
  std::promise<void> stop;
  std::thread service{serve, out, argc > 1 ? std::atol(argv[1]) : -1, stop.get_future().share()};
  int got = 0;
  sigwait(&ends, &got);
  stop.set_value();
  service.join();
}
