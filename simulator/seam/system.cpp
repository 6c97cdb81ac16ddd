// What the system says of itself: sysconf, get_nprocs, get_nprocs_conf, sched_getaffinity, sysinfo,
// getloadavg, uname.

#include <sched.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "simulator/seam/board_time.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/node_texts.h"

namespace {

using namespace simulator;

constexpr char kMemory[] = "/proc/meminfo";
constexpr char kLoad[] = "/proc/loadavg";

// In kB; 0 for a line that is not there.
unsigned long memoryLine(const std::string& text, const char* name) {
  const std::string label = std::string{"\n"} + name + ":";
  const std::size_t at = ("\n" + text).find(label);
  return at == std::string::npos ? 0 : std::strtoul(text.c_str() + at + label.size() - 1, nullptr, 10);
}

// False: the load is the machine's.
bool readLoads(double (&loads)[3]) {
  const auto text = nodeText(kLoad);
  return text && std::sscanf(text->c_str(), "%lf %lf %lf", &loads[0], &loads[1], &loads[2]) == 3;
}

// 0-3,6
void setCores(const std::string& list, std::size_t bytes, cpu_set_t* set) {
  CPU_ZERO_S(bytes, set);
  const char* at = list.c_str();
  while (*at >= '0' && *at <= '9') {
    char* end = nullptr;
    const unsigned long first = std::strtoul(at, &end, 10);
    const unsigned long last = *end == '-' ? std::strtoul(end + 1, &end, 10) : first;
    for (unsigned long core = first; core <= last && core < bytes * 8; ++core) CPU_SET_S(core, bytes, set);
    at = *end == ',' ? end + 1 : end;
  }
}

bool boardHasCores() { return Board::active() != nullptr && Board::active()->configuredCores(); }

int answerAffinity(std::size_t bytes, cpu_set_t* set) {
  const std::string online = nodeLine("/sys/devices/system/cpu/online");
  const int cores = *Board::active()->configuredCores();
  if (bytes * 8 < static_cast<std::size_t>(cores)) return EINVAL;
  setCores(online.empty() ? "0-" + std::to_string(cores - 1) : online, bytes, set);
  return 0;
}

template <std::size_t kBytes>
void put(char (&field)[kBytes], const std::string& text) {
  if (text.empty()) return;
  field[text.copy(field, kBytes - 1)] = '\0';
}

}  // namespace

STANDS_IN long sysconf(int name) noexcept {
  const Board* const board = Board::active();
  std::optional<long> mine;
  if (board != nullptr && name == _SC_NPROCESSORS_CONF) mine = board->configuredCores();
  if (board != nullptr && name == _SC_NPROCESSORS_ONLN) mine = board->onlineCores();
  if (board != nullptr && name == _SC_CLK_TCK) mine = board->ticksPerSecond();
  if (name == _SC_PHYS_PAGES || name == _SC_AVPHYS_PAGES) {
    const char* const line = name == _SC_PHYS_PAGES ? "MemTotal" : "MemFree";
    if (const auto memory = nodeText(kMemory))
      mine = static_cast<long>(memoryLine(*memory, line)) * 1024 / NEXT(sysconf)(_SC_PAGESIZE);
  }
  return mine ? *mine : NEXT(sysconf)(name);
}

STANDS_IN int get_nprocs() noexcept { return static_cast<int>(::sysconf(_SC_NPROCESSORS_ONLN)); }
STANDS_IN int get_nprocs_conf() noexcept { return static_cast<int>(::sysconf(_SC_NPROCESSORS_CONF)); }
STANDS_IN long get_phys_pages() noexcept { return ::sysconf(_SC_PHYS_PAGES); }
STANDS_IN long get_avphys_pages() noexcept { return ::sysconf(_SC_AVPHYS_PAGES); }

STANDS_IN int sched_getaffinity(pid_t process, std::size_t bytes, cpu_set_t* set) noexcept {
  if (!boardHasCores()) return NEXT(sched_getaffinity)(process, bytes, set);
  if (process != 0 && ::kill(process, 0) != 0 && errno == ESRCH) return -1;
  const int error = answerAffinity(bytes, set);
  return error == 0 ? 0 : fail(error);
}

STANDS_IN int pthread_getaffinity_np(pthread_t thread, std::size_t bytes, cpu_set_t* set) noexcept {
  if (!boardHasCores()) return NEXT(pthread_getaffinity_np)(thread, bytes, set);
  return answerAffinity(bytes, set);
}

STANDS_IN int sysinfo(struct sysinfo* info) noexcept {
  const auto memory = nodeText(kMemory);
  double loads[3];
  if (!memory || !readLoads(loads)) return NEXT(sysinfo)(info);
  const auto bytes = [&](const char* line) { return memoryLine(*memory, line) * 1024; };
  *info = {};
  info->uptime = boardClock(*Board::active(), CLOCK_BOOTTIME).tv_sec;
  for (int i = 0; i < 3; ++i) info->loads[i] = static_cast<unsigned long>(loads[i] * (1 << SI_LOAD_SHIFT));
  info->totalram = bytes("MemTotal");
  info->freeram = bytes("MemFree");
  info->sharedram = bytes("Shmem");
  info->bufferram = bytes("Buffers");
  info->totalswap = bytes("SwapTotal");
  info->freeswap = bytes("SwapFree");
  int running = 0;
  int threads = 0;
  std::sscanf(nodeLine(kLoad).c_str(), "%*f %*f %*f %d/%d", &running, &threads);
  info->procs = static_cast<unsigned short>(threads);
  info->mem_unit = 1;
  return 0;
}

STANDS_IN int getloadavg(double* target, int count) noexcept {
  double loads[3];
  if (!readLoads(loads)) return NEXT(getloadavg)(target, count);
  count = std::min(count, 3);
  for (int i = 0; i < count; ++i) target[i] = loads[i];
  return count;
}

// The instruction set stays the program's own.
STANDS_IN int uname(utsname* names) noexcept {
  const int result = NEXT(uname)(names);
  if (result != 0) return result;
  put(names->sysname, nodeLine("/proc/sys/kernel/ostype"));
  put(names->nodename, nodeLine("/proc/sys/kernel/hostname"));
  put(names->release, nodeLine("/proc/sys/kernel/osrelease"));
  put(names->version, nodeLine("/proc/sys/kernel/version"));
  return 0;
}

STANDS_IN int gethostname(char* name, std::size_t bytes) noexcept {
  const std::string own = nodeLine("/proc/sys/kernel/hostname");
  if (own.empty()) return NEXT(gethostname)(name, bytes);
  if (own.size() + 1 > bytes) return fail(ENAMETOOLONG);
  std::memcpy(name, own.c_str(), own.size() + 1);
  return 0;
}
