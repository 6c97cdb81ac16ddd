// Linked statically, so that no library can be put in front of its calls: asks for a board in the ways that
// the test names, and prints what it gets.

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <linux/netlink.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string textOf(const std::string& path) {
  std::ifstream file{path};
  return {std::istreambuf_iterator<char>{file}, {}};
}

int say(const std::string& text) {
  std::printf("%s\n", text.c_str());
  return 0;
}

// By a path that ends with its page, behind which there is nothing.
std::string textByTheEndOfAPage(const std::string& path) {
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  void* const pages = ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  char* const end = static_cast<char*>(pages) + page;
  ::munmap(end, page);
  char* const place = end - path.size() - 1;
  std::memcpy(place, path.c_str(), path.size() + 1);
  const int file = ::open(place, O_RDONLY);
  return file < 0 ? std::strerror(errno) : textOf("/proc/self/fd/" + std::to_string(file));
}

// Every way to the same two nodes: absolute, from a folder that is open, from a working folder that the
// machine has and from one that it has not, through the program's own links, and through a link on the disk.
int showPaths(const std::string& scratch) {
  std::set<std::string> texts{textOf("/proc/version"), textOf("//proc/./self/../version")};
  ::chdir("/proc");
  texts.insert(textOf("version"));
  texts.insert(textOf("/proc/self/cwd/version"));
  const int folder = ::open("500", O_RDONLY | O_DIRECTORY);
  const int above = ::openat(folder, "../version", O_RDONLY);
  texts.insert(textOf("/proc/self/fd/" + std::to_string(above)));
  ::fchdir(folder);
  texts.insert(textOf("../version"));
  const std::string link = scratch + "/link";
  ::symlink("/proc/version", link.c_str());
  texts.insert(textOf(link));
  texts.insert(textByTheEndOfAPage("/proc/version"));
  say(std::to_string(texts.size()) + " text: " + *texts.begin());

  char name[PATH_MAX] = {};
  say(::getcwd(name, sizeof name));
  say("comm: " + textOf("comm"));
  const std::string opened = "/proc/self/fd/" + std::to_string(above);
  const ssize_t length = ::readlink(opened.c_str(), name, sizeof name);
  return say({name, static_cast<std::size_t>(length)});
}

int showFolder(const char* path) {
  std::set<std::string> names;
  DIR* const folder = ::opendir(path);
  while (const dirent* const entry = ::readdir(folder)) names.insert(entry->d_name);
  for (const std::string& name : names) std::printf("%s ", name.c_str());
  return say("");
}

// Of a node and of its descriptor.
int showStatus() {
  for (const char* const path : {"/sys/class/thermal/thermal_zone0/temp", "/proc/500/stat", "/proc/500"}) {
    struct stat one {};
    struct stat other {};
    ::stat(path, &one);
    ::fstat(::open(path, O_RDONLY), &other);
    const bool agree =
        one.st_ino == other.st_ino && one.st_mode == other.st_mode && one.st_size == other.st_size;
    std::printf("%o %lld %s\n", one.st_mode, static_cast<long long>(one.st_size), agree ? "agree" : "differ");
  }
  const int missing = ::access("/proc/4194303/stat", F_OK) == 0 ? 0 : errno;
  return say(std::strerror(missing));
}

// A node is neither changed nor run, and nothing is put in its place, whichever call asks for that.
int showRefusals() {
  constexpr char kNode[] = "/proc/version";
  constexpr char kOther[] = "/nothing";
  std::set<std::string> errors;
  const auto note = [&](int result) { errors.insert(result == 0 ? "done" : std::strerror(errno)); };
  note(::unlink(kNode));
  note(::truncate(kNode, 0));
  struct stat status {};
  note(::stat("/proc/500/exe", &status));
  note(::access(kNode, X_OK));
  note(::access(kNode, W_OK));
  note(::rename(kNode, kOther));
  note(::rename(kOther, kNode));
  note(::renameat(AT_FDCWD, kOther, AT_FDCWD, kNode));
  note(::renameat2(AT_FDCWD, kOther, AT_FDCWD, kNode, RENAME_NOREPLACE));
  note(::link(kOther, kNode));
  note(::linkat(AT_FDCWD, kOther, AT_FDCWD, kNode, 0));
  note(::symlink(kOther, kNode));
  note(::symlinkat(kOther, AT_FDCWD, kNode));
  note(::open("/proc/500", O_WRONLY));
  const int folder = ::open("/proc/500", O_RDONLY | O_DIRECTORY);
  char name[sizeof "/proc/500"];
  ::fchdir(folder);
  errors.insert(::getcwd(name, sizeof name - 1) == nullptr ? std::strerror(errno) : "done");
  for (const std::string& error : errors) std::printf("%s, ", error.c_str());
  return say(::getcwd(name, sizeof name) != nullptr ? name : std::strerror(errno));
}

int showSystem() {
  struct sysinfo system {};
  ::sysinfo(&system);
  utsname name{};
  ::uname(&name);
  cpu_set_t processors;
  ::sched_getaffinity(0, sizeof processors, &processors);
  std::printf("%lu kB, %s, %d processors by affinity, %ld online\n", system.totalram * system.mem_unit / 1024,
              name.release, CPU_COUNT(&processors), ::sysconf(_SC_NPROCESSORS_ONLN));
  return 0;
}

// Whether what is open closes when the program starts another: a node and a folder, without asking for it and with.
int showClosing() {
  for (const char* const path : {"/proc/version", "/proc/500"}) {
    for (const int flags : {O_RDONLY, O_RDONLY | O_CLOEXEC})
      std::printf("%d ", ::fcntl(::open(path, flags), F_GETFD));
  }
  return say("");
}

// A node that stays open tells the present when it is read from its start: the uptime passes hundredths of a
// second.
int showKeptOpen() {
  const int file = ::open("/proc/uptime", O_RDONLY);
  char first[64] = {};
  char again[64] = {};
  ::read(file, first, sizeof first);
  for (int reading = 0; reading < 1000000; ++reading) {
    std::memset(again, 0, sizeof again);
    if (reading % 2 == 0) {
      ::pread(file, again, sizeof again, 0);
    } else {
      ::lseek(file, 0, SEEK_SET);
      ::read(file, again, sizeof again);
    }
    if (std::strcmp(first, again) != 0) return say("moves");
  }
  return say("stands still");
}

int showThreads() {
  constexpr int kThreads = 4;
  constexpr int kReadings = 200;
  const std::string expected = textOf("/proc/version");
  const std::string own = "/proc/" + std::to_string(::getpid()) + "/comm";  // by each thread's process
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&] {
      for (int reading = 0; reading < kReadings; ++reading) right += textOf("/proc/version") == expected;
      right += textOf(own) == textOf("/proc/self/comm");
    });
  }
  if (::fork() == 0) ::_exit(textOf("/proc/version") == expected ? 0 : 1);
  for (std::thread& thread : threads) thread.join();
  int child = -1;
  ::wait(&child);
  return say(std::to_string(right) + " right, child " + std::to_string(child));
}

int showNetlink() {
  const int descriptor = ::socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE);
  return say(descriptor < 0 ? std::strerror(errno) : "open");
}

// A process of the board, which the machine has too; one that only the machine has; the program itself and
// its child.
int showSignals(pid_t boards, pid_t machines) {
  const pid_t child = ::fork();
  if (child == 0) {
    while (true) ::pause();
  }
  for (const pid_t process : {boards, machines, ::getpid(), child})
    std::printf("%s, ", ::kill(process, 0) == 0 ? "there" : std::strerror(errno));
  for (const pid_t process : {boards, machines, ::getpid()}) {
    errno = 0;
    ::getpriority(PRIO_PROCESS, static_cast<id_t>(process));
    std::printf("%s, ", errno == 0 ? "priority" : std::strerror(errno));
  }
  ::kill(boards, SIGKILL);
  ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  return say("child ended by " + std::to_string(WTERMSIG(status)));
}

}  // namespace

int main(int count, char** values) {
  const std::string what = count > 1 ? values[1] : "";
  if (what == "paths") return showPaths(values[2]);
  if (what == "folder") return showFolder(values[2]);
  if (what == "status") return showStatus();
  if (what == "refusals") return showRefusals();
  if (what == "system") return showSystem();
  if (what == "closing") return showClosing();
  if (what == "kept-open") return showKeptOpen();
  if (what == "threads") return showThreads();
  if (what == "netlink") return showNetlink();
  if (what == "signals") return showSignals(std::atoi(values[2]), std::atoi(values[3]));
  return 2;
}
