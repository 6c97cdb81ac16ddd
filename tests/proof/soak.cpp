// Samples by the hundred thousand of each monitor, on the hostile board and in stepped time: what is open, and what is
// allocated, is the same in the end but for what stays by design, which is counted to the byte.
//
// tessary_soak monitors SAMPLES PROCESS-SAMPLES
// tessary_soak record SAMPLES TESSARY-BOARD TESSARY
//
// Samples of the processes cost more than all others together, for the simulator above all: there may be fewer.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
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
#include "tests/proof/calls.h"
#include "tests/proof/silent_output.h"
#include "tests/proof/summary.h"

namespace {

using proof::Memory;

constexpr int kWarmUp = 50;   // samples: the hostile board's time line is over then, and vectors have grown
constexpr long kPage = 4096;  // of /proc/self/statm
constexpr long kHeapSlack = 262144;  // bytes: what the heap keeps for itself of what was released

struct Held {
  int descriptors = 0;
  Memory memory;
  long resident = 0;  // bytes
};

long residentBytes() {
  long all = 0;
  long resident = 0;
  std::ifstream{"/proc/self/statm"} >> all >> resident;
  return resident * kPage;
}

Held held() {
  Held now;
  for (int descriptor = 0; descriptor < 4096; ++descriptor)
    now.descriptors += ::fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
  now.memory = proof::liveMemory();
  now.resident = residentBytes();
  return now;
}

// What one sample leaves, by design.
struct Leaves {
  long blocks = 0;
  long bytes = 0;      // asked for
  long heapBytes = 0;  // and what they take of the heap
};

bool report(const char* name, int samples, const Held& before, const Held& after, const Leaves& leaves) {
  const long blocks = after.memory.blocks - before.memory.blocks;
  const long bytes = after.memory.bytes - before.memory.bytes;
  const int descriptors = after.descriptors - before.descriptors;
  const long resident = after.resident - before.resident;
  const bool isFlat = descriptors == 0 && blocks == leaves.blocks * samples &&
                      bytes == leaves.bytes * samples && resident <= leaves.heapBytes * samples + kHeapSlack;
  if (isFlat) return true;
  std::printf("%s: after %d samples %+d descriptors, %+ld blocks of %+ld bytes, %+ld bytes resident\n", name,
              samples, descriptors, blocks, bytes, resident);
  std::fflush(stdout);  // before the next one is silent
  return false;
}

template <typename Monitor, typename Sample>
bool soak(const char* name, int samples, Sample sample, const Leaves& leaves = {}) {
  Held before;
  Held after;
  {
    const proof::SilentOutput silent;
    simulator::Board board;
    board.keepHistory(false);
    simulator::loadBoard(board, TESSARY_HOSTILE_BOARD);
    Monitor monitor;
    const auto take = [&](int count) {
      for (int i = 0; i < count; ++i) {
        proof::beginCounting();
        try {
          sample(monitor);
        } catch (const std::out_of_range&) {  // a disk or an interface has gone
        }
        proof::endCounting();
      }
    };
    take(kWarmUp);
    before = held();
    take(samples);
    after = held();
  }
  return report(name, samples, before, after, leaves);
}

struct Adsp : dsp::DSP_MON {
  Adsp() : DSP_MON(2) {}
};

bool soakMonitors(int samples, int processSamples) {
  constexpr unsigned kSecond = 1000000;
  bool isFlat = true;
  isFlat &= soak<cpu::CPU_MON>("cpu", samples, [](cpu::CPU_MON& monitor) {
    monitor.tessary_getTotalCPULoad();
    monitor.tessary_getCPUFrequency();
  });
  isFlat &= soak<memory::MEMORY_MON>("memory", samples, [](memory::MEMORY_MON& monitor) {
    ::usleep(kSecond);
    monitor.tessary_getMemStats();
  });
  isFlat &= soak<thermal::THERMAL_MON>("thermal", samples, [](thermal::THERMAL_MON& monitor) {
    ::usleep(kSecond);
    monitor.tessary_getThermalStats();
  });
  isFlat &= soak<diskio::DISK_MON>("diskio", samples,
                                   [](diskio::DISK_MON& monitor) { monitor.tessary_getIOStats(); });
  isFlat &= soak<net::NET_MON>("net", samples, [](net::NET_MON& monitor) { monitor.tessary_getNetstats(); });
  isFlat &= soak<gpu::GPU_MON>("gpu", samples, [](gpu::GPU_MON& monitor) {
    ::usleep(kSecond);
    monitor.tessary_getGPUSample();
    monitor.tessary_getGPUUtilization();
  });
  isFlat &= soak<Adsp>("dsp", samples, [](Adsp& monitor) { monitor.tessary_getDSPSample(); });
  isFlat &= soak<ddr::DDR_MON>("ddr", samples, [](ddr::DDR_MON& monitor) {
    ::usleep(kSecond);
    monitor.tessary_getDDRStats();
  });
  // The record of each call: 104 bytes, for which the heap takes 112, and 128 with the head of a block that is counted.
  isFlat &= soak<process::PROCESS_MON>(
      "process", processSamples, [](process::PROCESS_MON& monitor) { monitor.tessary_getProcessStats(); },
      {1, sizeof(process::resultProcInfo), 128});
  isFlat &= soak<procmem::PERPROCMEM_MON>("procmem", processSamples, [](procmem::PERPROCMEM_MON& monitor) {
    ::usleep(kSecond);
    monitor.tessary_getPerProcessMemStats();
  });
  return isFlat;
}

// -- the recorder, as a program

struct Ended {
  int status = 0;
  long peak = 0;  // bytes
};

Ended record(int seconds, const std::string& board, const std::string& tool) {
  const std::string duration = std::to_string(seconds);
  const pid_t child = ::fork();
  if (child == 0) {
    // So few that one a sample would not do.
    const rlimit files{64, 64};
    ::setrlimit(RLIMIT_NOFILE, &files);
    ::execl(board.c_str(), board.c_str(), "run", "hostile", "--time", "stepped", "--", tool.c_str(), "record",
            "-o", "/dev/null", "--duration", duration.c_str(), nullptr);
    ::_exit(EXIT_FAILURE);
  }
  Ended ended;
  rusage usage{};
  ::wait4(child, &ended.status, 0, &usage);
  ended.peak = usage.ru_maxrss * 1024;
  return ended;
}

bool soakRecorder(int samples, const std::string& board, const std::string& tool) {
  constexpr long kLeftBySample = 112;  // of the process monitor
  constexpr long kPeakSlack =
      1048576;  // how many pages of its libraries a program touches differs by a third of it
  const int few = samples / 10;
  const Ended first = record(few, board, tool);
  const Ended whole = record(samples, board, tool);
  const long growth = whole.peak - first.peak;
  const long allowed = (samples - few) * kLeftBySample + kPeakSlack;
  if (first.status == 0 && whole.status == 0 && growth <= allowed) return true;
  std::printf("record: status %d and %d, %ld bytes more after %d samples than after %d\n", first.status,
              whole.status, growth, samples, few);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments{argv, argv + argc};
  const bool isRecorder = arguments.at(1) == "record";
  const int samples = std::stoi(arguments.at(2));
  const auto start = std::chrono::steady_clock::now();
  bool isFlat = true;
  std::string what = arguments[2] + " samples";
  if (isRecorder) {
    isFlat = soakRecorder(samples, arguments.at(3), arguments.at(4));
    what += " of record";
  } else {
    const auto address = &memory::MEMORY_MON::tessary_getMemStats;
    proof::standInFor(reinterpret_cast<const void* const&>(address));
    proof::answerCommand("getprop ro.board.platform", "brindle\n");
    isFlat = soakMonitors(samples, std::stoi(arguments.at(3)));
    what += " of eight monitors, " + arguments[3] + " of those of processes";
  }
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
  proof::tell("soak: " + what + (isFlat ? ", flat, " : ", NOT flat, ") +
              std::to_string(std::lround(passed.count())) + " s");
  return isFlat ? EXIT_SUCCESS : EXIT_FAILURE;
}
