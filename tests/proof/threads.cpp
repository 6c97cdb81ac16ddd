// Each monitor on threads of its own, which construct it, sample and destroy it while all others do the same, on a board
// in real time. Under the thread sanitizer a race ends the program; without it, a crash does.

#include <atomic>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "simulator/model/model.h"
#include "tessary/cpu_mon.h"
#include "tessary/ddr_mon.h"
#include "tessary/disk_mon.h"
#include "tessary/dsp_mon.h"
#include "tessary/gpu_mon.h"
#include "tessary/memory_mon.h"
#include "tessary/net_mon.h"
#include "tessary/process_mon.h"
#include "tessary/procmem_mon.h"
#include "tessary/thermal_mon.h"
#include "tests/proof/boards.h"
#include "tests/proof/calls.h"
#include "tests/proof/silent_output.h"
#include "tests/proof/summary.h"

namespace {

constexpr int kLives = 25;
constexpr int kSamples = 8;       // in each
constexpr int kMilliseconds = 1;  // of an interval
constexpr long kDspInterval = 1;  // the same

std::atomic<int> samples{0};

template <typename Monitor, typename Sample>
void sampleOften(Monitor& monitor, Sample sample) {
  for (int i = 0; i < kSamples; ++i) {
    sample(monitor);
    samples.fetch_add(1, std::memory_order_relaxed);
  }
}

template <typename Monitor, typename Sample>
std::function<void()> lives(Sample sample) {
  return [sample] {
    for (int life = 0; life < kLives; ++life) {
      Monitor monitor;
      sampleOften(monitor, sample);
    }
  };
}

std::function<void()> dspLives(int id) {
  return [id] {
    for (int life = 0; life < kLives; ++life) {
      dsp::DSP_MON monitor{id, kDspInterval};
      sampleOften(monitor, [](dsp::DSP_MON& dsp) { dsp.tessary_getDSPSample(); });
    }
  };
}

void sampleCpu(cpu::CPU_MON& monitor) {
  monitor.tessary_setSamplingTime(kMilliseconds);
  monitor.tessary_getTotalCPULoad();
  monitor.tessary_getCPUFrequency();
}
void sampleProcesses(process::PROCESS_MON& monitor) {
  monitor.tessary_setSamplingTime(kMilliseconds);
  monitor.tessary_getProcessStats();
}
void sampleDisks(diskio::DISK_MON& monitor) {
  monitor.tessary_setSamplingTime(kMilliseconds);
  monitor.tessary_getIOStats();
}
void sampleInterfaces(net::NET_MON& monitor) {
  monitor.tessary_setSamplingTime(kMilliseconds);
  monitor.tessary_getNetstats();
}
void sampleGpu(gpu::GPU_MON& monitor) {
  monitor.tessary_getGPUSample();
  monitor.tessary_getGPUUtilization();
}

// Two of a kind where the headers allow it: the GPU profiler and the registers of the memory bus are the process's, and
// so is the query of a DSP.
std::vector<std::function<void()>> allLives() {
  std::vector<std::function<void()>> all{
      lives<gpu::GPU_MON>(sampleGpu),
      lives<ddr::DDR_MON>([](auto& monitor) { monitor.tessary_getDDRStats(); }), dspLives(2), dspLives(3)};
  for (int i = 0; i < 2; ++i) {
    all.push_back(lives<cpu::CPU_MON>(sampleCpu));
    all.push_back(lives<process::PROCESS_MON>(sampleProcesses));
    all.push_back(
        lives<procmem::PERPROCMEM_MON>([](auto& monitor) { monitor.tessary_getPerProcessMemStats(); }));
    all.push_back(lives<memory::MEMORY_MON>([](auto& monitor) { monitor.tessary_getMemStats(); }));
    all.push_back(lives<thermal::THERMAL_MON>([](auto& monitor) { monitor.tessary_getThermalStats(); }));
    all.push_back(lives<diskio::DISK_MON>(sampleDisks));
    all.push_back(lives<net::NET_MON>(sampleInterfaces));
  }
  return all;
}

}  // namespace

int main() {
  const auto address = &memory::MEMORY_MON::tessary_getMemStats;
  proof::standInFor(reinterpret_cast<const void* const&>(address));
  proof::answerCommand("getprop ro.board.platform", "brindle\n");
  const std::vector<std::function<void()>> all = allLives();
  {
    const proof::SilentOutput silent;
    simulator::Board board{std::nullopt, simulator::Clock::Mode::kReal};
    board.keepHistory(false);
    simulator::loadBoardText(board, proof::boardText(proof::kPlatform));
    std::vector<std::thread> threads;
    for (const std::function<void()>& life : all) threads.emplace_back(life);
    for (std::thread& thread : threads) thread.join();
  }
  proof::tell("threads: " + std::to_string(all.size()) + ", " + std::to_string(all.size() * kLives) +
              " monitors, " + std::to_string(samples) + " samples");
  return samples == static_cast<int>(all.size()) * kLives * kSamples ? EXIT_SUCCESS : EXIT_FAILURE;
}
