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
#include <cstring>
#include <optional>
#include <string>

#include "simulator/board/records.h"
#include "simulator/seam/interpose.h"
#include "simulator/seam/node_texts.h"

namespace {

using namespace simulator;

constexpr char kMemory[] = "/proc/meminfo";
constexpr char kLoad[] = "/proc/loadavg";

// False: the load is the machine's.
bool readLoads(double (&loads)[3]) {
  const auto text = nodeText(kLoad);
  return text && std::sscanf(text->c_str(), "%lf %lf %lf", &loads[0], &loads[1], &loads[2]) == 3;
}

bool boardHasCores() {
  return Board::active() != nullptr && Board::active()->configuredCores().value_or(0) > 0;
}

int answerAffinity(std::size_t bytes, cpu_set_t* set) {
  const auto online = onlineProcessors(*Board::active());
  const std::size_t wanted = online->size() * sizeof online->front();
  if (bytes * 8 < static_cast<std::size_t>(*Board::active()->configuredCores())) return EINVAL;
  CPU_ZERO_S(bytes, set);
  std::memcpy(set, online->data(), std::min(bytes, wanted));
  return 0;
}

}  // namespace

STANDS_IN long sysconf(int name) noexcept {
  const Board* const board = Board::active();
  std::optional<long> mine;
  if (board != nullptr && name == _SC_NPROCESSORS_CONF) mine = board->configuredCores();
  if (board != nullptr && name == _SC_NPROCESSORS_ONLN) mine = board->onlineCores();
  if (board != nullptr && name == _SC_CLK_TCK) mine = board->ticksPerSecond();
  if (name == _SC_PHYS_PAGES || name == _SC_AVPHYS_PAGES) {
    if (nodeText(kMemory)) {
      const struct sysinfo figures = systemFigures(*board);
      const unsigned long bytes = name == _SC_PHYS_PAGES ? figures.totalram : figures.freeram;
      mine = static_cast<long>(bytes) / NEXT(sysconf)(_SC_PAGESIZE);
    }
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
  double loads[3];
  if (!nodeText(kMemory) || !readLoads(loads)) return NEXT(sysinfo)(info);
  *info = systemFigures(*Board::active());
  return 0;
}

STANDS_IN int getloadavg(double* target, int count) noexcept {
  double loads[3];
  if (!readLoads(loads)) return NEXT(getloadavg)(target, count);
  count = std::min(count, 3);
  for (int i = 0; i < count; ++i) target[i] = loads[i];
  return count;
}

STANDS_IN int uname(utsname* names) noexcept {
  if (Board::active() == nullptr) return NEXT(uname)(names);
  *names = systemName(*Board::active());
  return 0;
}

STANDS_IN int gethostname(char* name, std::size_t bytes) noexcept {
  const std::string own = nodeLine("/proc/sys/kernel/hostname");
  if (own.empty()) return NEXT(gethostname)(name, bytes);
  if (own.size() + 1 > bytes) return fail(ENAMETOOLONG);
  std::memcpy(name, own.c_str(), own.size() + 1);
  return 0;
}
