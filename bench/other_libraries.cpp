// Libraries that answer the same questions, each in the way that its documentation shows. What they leave out, or read in
// addition, stands beside each.
#include <memory>

#include "bench/subjects.h"

#ifdef TESSARY_HAVE_LIBGTOP
#include <glibtop.h>
#include <glibtop/cpu.h>
#include <glibtop/mem.h>
#include <glibtop/netlist.h>
#include <glibtop/netload.h>
#include <glibtop/proclist.h>
#include <glibtop/procmem.h>
#include <glibtop/procstate.h>
#include <glibtop/proctime.h>
#include <glibtop/swap.h>
#endif
#ifdef TESSARY_HAVE_LIBSTATGRAB
#include <statgrab.h>
#endif

namespace {

using bench::Who;
using Prepare = std::function<std::function<void()>()>;

constexpr int kCrowds[] = {50, 500, 2000};

[[maybe_unused]] bool addToProcesses(const std::string& figure, Who who, const Prepare& prepare) {
  for (const int size : kCrowds) {
    bench::addTo("processes' " + figure + ", " + std::to_string(size) + " more processes", who, prepare);
  }
  return true;
}

#ifdef TESSARY_HAVE_LIBGTOP

[[maybe_unused]] void loadByLibgtop() {
  for (int reading = 0; reading < 2; ++reading) {
    glibtop_cpu cpu;
    glibtop_get_cpu(&cpu);
  }
}

void memoryByLibgtop() {
  glibtop_mem memory;
  glibtop_get_mem(&memory);
  glibtop_swap swap;
  glibtop_get_swap(&swap);
}

// Asks the interfaces' addresses, too.
void networkByLibgtop() {
  glibtop_netlist list;
  char** const names = glibtop_get_netlist(&list);
  for (guint32 i = 0; i < list.number; ++i) {
    glibtop_netload load;
    glibtop_get_netload(&load, names[i]);
  }
  g_strfreev(names);
}

template <typename Visit>
void forEachPid(Visit visit) {
  glibtop_proclist list;
  pid_t* const pids = glibtop_get_proclist(&list, GLIBTOP_KERN_PROC_ALL, 0);
  for (guint64 i = 0; i < list.number; ++i) visit(pids[i]);
  g_free(pids);
}

// The name and the times are two questions, and stat is opened for each.
void cpuByLibgtop() {
  forEachPid([](pid_t pid) {
    glibtop_proc_state state;
    glibtop_get_proc_state(&state, pid);
    glibtop_proc_time time;
    glibtop_get_proc_time(&time, pid);
  });
}

// Of statm alone: neither shares nor what is private.
void footprintsByLibgtop() {
  forEachPid([](pid_t pid) {
    glibtop_proc_mem memory;
    glibtop_get_proc_mem(&memory, pid);
  });
}

Prepare byLibgtop(void (*sample)()) {
  return [sample] {
    glibtop_init();
    return sample;
  };
}

const bool kLibgtop = bench::addTo("/proc/stat, this machine", Who::kLibgtop, byLibgtop(loadByLibgtop)) &&
                      bench::addTo("/proc/meminfo", Who::kLibgtop, byLibgtop(memoryByLibgtop)) &&
                      bench::addTo("network, this machine", Who::kLibgtop, byLibgtop(networkByLibgtop)) &&
                      addToProcesses("CPU", Who::kLibgtop, byLibgtop(cpuByLibgtop)) &&
                      addToProcesses("memory", Who::kLibgtop, byLibgtop(footprintsByLibgtop));

#endif
#ifdef TESSARY_HAVE_LIBSTATGRAB

// The sum of all cores alone.
void loadByLibstatgrab() {
  sg_get_cpu_stats(nullptr);
  sg_get_cpu_stats(nullptr);
}

void memoryByLibstatgrab() {
  sg_get_mem_stats(nullptr);
  sg_get_swap_stats(nullptr);
}

void disksByLibstatgrab() { sg_get_disk_io_stats(nullptr); }

// Of /proc/net/dev, one file for all interfaces.
void networkByLibstatgrab() { sg_get_network_io_stats(nullptr); }

// Reads the command line, the owner and the state, too.
void cpuByLibstatgrab() { sg_get_process_stats(nullptr); }

Prepare byLibstatgrab(void (*sample)()) {
  return [sample] {
    sg_init(0);
    return sample;
  };
}

const bool kLibstatgrab =
    bench::addTo("/proc/stat, this machine", Who::kLibstatgrab, byLibstatgrab(loadByLibstatgrab)) &&
    bench::addTo("/proc/meminfo", Who::kLibstatgrab, byLibstatgrab(memoryByLibstatgrab)) &&
    bench::addTo("/proc/diskstats", Who::kLibstatgrab, byLibstatgrab(disksByLibstatgrab)) &&
    bench::addTo("network, this machine", Who::kLibstatgrab, byLibstatgrab(networkByLibstatgrab)) &&
    addToProcesses("CPU", Who::kLibstatgrab, byLibstatgrab(cpuByLibstatgrab));

#endif

}  // namespace
