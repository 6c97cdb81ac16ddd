// A profiling service: every second what all monitors say, as a line of JSON, until SIGTERM, Ctrl-C or as many lines as its
// argument says. A figure that could not be read is not in the line.
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
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kPeriod{1};
constexpr int kWindowMs =
    50;  // in which CPU and DSPs are measured; no stop has to wait for longer than three of them
constexpr std::size_t kTop = 3;
constexpr double kNotRead = std::numeric_limits<double>::quiet_NaN();

using Figures = std::vector<std::pair<std::string, double>>;

int goOn(int) { return 110; }  // instead of a monitor's own waiting: the service has waited already
bool wentBack(std::uint64_t growth) { return growth > INT64_MAX; }
double real(std::uint64_t figure) { return static_cast<double>(figure); }

std::string json(const Figures& figures) {
  std::string text;
  for (const auto& [name, figure] : figures) {
    if (!std::isfinite(figure)) continue;
    text += text.empty() ? "{\"" : ",\"";
    for (const char c : name) text += c < ' ' || c > '~' || c == '"' || c == '\\' ? '?' : c;
    text += "\":" + std::to_string(figure);
  }
  return text.empty() ? "{}" : text + "}";
}

// The monitors are constructed, used and destroyed on one thread.
class Sampler {
 public:
  Sampler() { cpu_.implementation->samplingTime = kWindowMs; }

  // What happened in so many seconds since the sample before. Those that wait come last.
  std::string sample(double seconds) {
    const std::pair<const char*, Figures> sections[] = {{"disk", disks(seconds)},
                                                        {"net", interfaces(seconds)},
                                                        {"process", processes(seconds)},
                                                        {"procmem", processMemory()},
                                                        {"memory", memory()},
                                                        {"thermal", zones()},
                                                        {"gpu", gpu()},
                                                        {"ddr", bus()},
                                                        {"dsp", dsps()},
                                                        {"cpu", cpu()}};
    std::string line = "{\"seconds\":" + std::to_string(seconds);
    for (const auto& [name, figures] : sections) line += std::string{",\""} + name + "\":" + json(figures);
    return line + "}\n";
  }

 private:
  // Bytes a second of raw counts that are paired by name: a disk may come or go at any time.
  Figures disks(double seconds) {
    Figures figures;
    std::map<std::string, std::uint64_t> now;
    for (const diskio::_iostats_t& disk : disks_.tessary_getRawIOStats()) {
      const std::uint64_t sectors = now[disk.deviceName] = disk.sectorsRead + disk.sectorsWritten;
      const auto before = sectors_.find(disk.deviceName);
      if (before == sectors_.end() || wentBack(sectors - before->second)) continue;
      figures.emplace_back(disk.deviceName, real(sectors - before->second) * 512 / seconds);
    }
    sectors_ = std::move(now);
    return figures;
  }

  // The counters of an interface that is away are 0: in the sample in which it is back they have grown by all they hold.
  Figures interfaces(double seconds) {
    Figures figures;
    for (const net::netStats& one : interfaces_.tessary_getNetstats()) {
      bool& isAway = away_[one.name];
      const bool wasAway = isAway;
      isAway = wentBack(one.rx_bytes) || (wasAway && one.rx_bytes == 0);
      if (isAway || wasAway || wentBack(one.tx_bytes)) continue;
      figures.emplace_back(one.name, real(one.rx_bytes + one.tx_bytes) / seconds);
    }
    return figures;
  }

  // Percent of a processor. Behind a sample without processes, as when /proc could not be listed, all are new, and come with
  // all they ever used; those that have ended do so, too, and have no share.
  Figures processes(double seconds) {
    Figures figures;
    const bool isComparable = !processes_.implementation->previousSample.empty();
    auto used = *processes_.tessary_getProcessStats();
    std::sort(used.begin(), used.end(),
              [](const auto& a, const auto& b) { return a.totalTime > b.totalTime; });
    for (const process::resultProcInfo& one : used) {
      if (!isComparable || figures.size() == kTop) break;
      if (one.cpuShare > 0)
        figures.emplace_back(std::to_string(one.pid) + " " + one.name, 100 * one.totalTime / seconds);
    }
    return figures;
  }

  // KiB; 0 where it could not be read.
  Figures processMemory() {
    Figures figures;
    auto all = *processMemory_.tessary_getPerProcessMemStats();
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.pss > b.pss; });
    for (const procmem::processMemoryMap& one : all) {
      if (figures.size() == kTop || one.pss == 0) break;
      figures.emplace_back(std::to_string(one.pid) + " " + one.name, real(one.pss));
    }
    return figures;
  }

  // What cannot be read keeps its value: so it gets one that no machine has.
  Figures memory() {
    if (memory_.implementation->memStats != nullptr) *memory_.implementation->memStats = {};
    const memory::finalMemStats* now = memory_.tessary_getMemStats();
    if (now == nullptr || now->totalMem == 0) return {};
    return {{"total_kib", real(now->totalMem)}, {"available_kib", real(now->availableMem)}};
  }

  Figures zones() {
    Figures figures;
    const std::vector<std::string> names = zones_.tessary_getSensorNames();
    const std::vector<int>& temperatures = *zones_.tessary_getThermalStats();  // may be fewer
    for (std::size_t at = 0; at < temperatures.size(); ++at)
      figures.emplace_back(names[at], temperatures[at] / 1000.0);
    return figures;
  }

  Figures gpu() {
    const float busy = gpu_.tessary_getGPUBusyPercent();
    gpu_.implementation->clocksPerSecond = static_cast<float>(kNotRead);  // stays where nothing is read
    try {
      gpu_.tessary_getGPUSample();
    } catch (const std::out_of_range&) {  // there is no profiler
    }
    return {{"busy_percent", busy < 0 ? kNotRead : busy}, {"clock_mhz", gpu_.tessary_getGPUFrequency()}};
  }

  // After a failure a monitor fails for ever: the next sample gets another.
  Figures bus() {
    if (!bus_) bus_.emplace();
    const std::uint64_t* now = bus_->tessary_getDDRStats();
    if (now != nullptr) return {{"a_total", real(now[2])}, {"b_total", real(now[5])}};
    bus_.reset();
    return {};
  }

  Figures dsps() {
    const auto load = [](dsp::DSP_MON& dsp) {
      return dsp.tessary_getDSPSample() == 0 ? dsp.tessary_getDSPUtilization() : kNotRead;
    };
    return {{"adsp", load(adsp_)}, {"cdsp", load(cdsp_)}};
  }

  // A core that goes on- or offline in between moves the rows of the others: that gives loads that none can have.
  Figures cpu() {
    const double* load = cpu_.tessary_getPerCoreUsage();
    const std::int64_t* clocks = cpu_.tessary_getCPUFrequency();
    return {{"load_percent", load != nullptr && load[0] >= 0 && load[0] <= 100 ? load[0] : kNotRead},
            {"highest_khz", clocks != nullptr
                                ? static_cast<double>(*std::max_element(clocks, clocks + cpu_.numCores))
                                : kNotRead}};
  }

  cpu::CPU_MON cpu_;
  process::PROCESS_MON processes_{goOn};
  procmem::PERPROCMEM_MON processMemory_;
  memory::MEMORY_MON memory_;
  thermal::THERMAL_MON zones_;
  diskio::DISK_MON disks_;
  net::NET_MON interfaces_{goOn};
  gpu::GPU_MON gpu_;
  dsp::DSP_MON adsp_{2, long{kWindowMs}};
  dsp::DSP_MON cdsp_{3, long{kWindowMs}};
  std::optional<ddr::DDR_MON> bus_;
  std::map<std::string, std::uint64_t> sectors_;  // of each disk, at the sample before
  std::map<std::string, bool> away_;              // interfaces
};

class Service {
 public:
  Service(std::FILE* out, long samples) : out_{out}, left_{samples}, thread_{[this] { run(); }} {}

  ~Service() {
    {
      const std::lock_guard<std::mutex> lock{mutex_};
      isStopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
  }

 private:
  void run() {
    Sampler sampler;
    for (Clock::time_point last = Clock::now(); left_ != 0 && waitUntil(last + kPeriod); --left_) {
      const std::chrono::duration<double> elapsed = Clock::now() - last;
      last += std::chrono::duration_cast<Clock::duration>(elapsed);
      std::fputs(sampler.sample(elapsed.count()).c_str(), out_);
      std::fflush(out_);
    }
    kill(getpid(), SIGTERM);
  }

  bool waitUntil(Clock::time_point time) {
    std::unique_lock<std::mutex> lock{mutex_};
    return !wake_.wait_until(lock, time, [this] { return isStopping_; });
  }

  std::FILE* const out_;
  long left_;  // samples; below 0 there is no end
  std::mutex mutex_;
  std::condition_variable wake_;
  bool isStopping_ = false;
  std::thread thread_;
};

// The library has words of its own on standard output. They go to standard error, so that ours are JSON alone.
std::FILE* ownOutput() {
  const int own = dup(STDOUT_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return fdopen(own, "w");
}

}  // namespace

int main(int argc, char** argv) {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // before there is a second thread, which then has it, too

  std::FILE* const out = ownOutput();
  if (out == nullptr) return 1;
  const Service service{out, argc > 1 ? std::atol(argv[1]) : -1};
  int got = 0;
  sigwait(&ends, &got);
}
