#include "bench/tree.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_TOGGLE_COLLECT
#endif

namespace {

bool isCounting = false;

// The redirection is the benchmark's.
class NotCounted {
 public:
  NotCounted() {
    if (isCounting) toggle();
  }
  ~NotCounted() {
    if (isCounting) toggle();
  }
  NotCounted(const NotCounted&) = delete;
  NotCounted& operator=(const NotCounted&) = delete;

  static void toggle() { CALLGRIND_TOGGLE_COLLECT; }
};

char root[64] = "";
int treeCores = 0;

// The path in the tree where it has one, else the path itself.
const char* inTree(const char* path, char (&buffer)[256]) {
  if (root[0] == '\0' || path[0] != '/') return path;
  const NotCounted redirection;
  std::strcpy(buffer, root);
  std::strncat(buffer, path, sizeof buffer - sizeof root - 1);
  return ::faccessat(AT_FDCWD, buffer, F_OK, 0) == 0 ? buffer : path;
}

}  // namespace

// The executable's own functions come before the C library's for the library under measurement, too.
extern "C" int openat(int folder, const char* path, int flags, ...) {
  static const auto next =
      reinterpret_cast<int (*)(int, const char*, int, ...)>(::dlsym(RTLD_NEXT, "openat"));
  char buffer[256];
  return next(folder, inTree(path, buffer), flags, 0);
}

extern "C" int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
  va_end(arguments);
  static const auto next = reinterpret_cast<int (*)(const char*, int, ...)>(::dlsym(RTLD_NEXT, "open"));
  char buffer[256];
  return next(inTree(path, buffer), flags, mode);
}

extern "C" DIR* opendir(const char* path) {
  static const auto next = reinterpret_cast<DIR* (*)(const char*)>(::dlsym(RTLD_NEXT, "opendir"));
  char buffer[256];
  return next(inTree(path, buffer));
}

extern "C" std::FILE* fopen(const char* path, const char* mode) {
  static const auto next =
      reinterpret_cast<std::FILE* (*)(const char*, const char*)>(::dlsym(RTLD_NEXT, "fopen"));
  char buffer[256];
  return next(inTree(path, buffer), mode);
}

extern "C" int access(const char* path, int mode) noexcept {
  static const auto next = reinterpret_cast<int (*)(const char*, int)>(::dlsym(RTLD_NEXT, "access"));
  char buffer[256];
  return next(inTree(path, buffer), mode);
}

extern "C" long sysconf(int name) noexcept {
  static const auto next = reinterpret_cast<long (*)(int)>(::dlsym(RTLD_NEXT, "sysconf"));
  return treeCores != 0 && name == _SC_NPROCESSORS_CONF ? treeCores : next(name);
}

// The wait between two readings is not what is measured.
extern "C" int usleep(useconds_t /*microseconds*/) { return 0; }

namespace bench {

Counted::Counted() {
  isCounting = true;
  NotCounted::toggle();
}

Counted::~Counted() {
  NotCounted::toggle();
  isCounting = false;
}

Tree::Tree(int cores) {
  char name[] = "/dev/shm/tessary-bench-XXXXXX";
  if (::mkdtemp(name) == nullptr) throw std::runtime_error("no folder in memory for the benchmark's nodes");
  root_ = name;
  std::strcpy(root, name);
  treeCores = cores;
}

Tree::~Tree() {
  root[0] = '\0';
  treeCores = 0;
  std::filesystem::remove_all(root_);
}

void Tree::file(const std::string& path, const std::string& text) {
  const std::filesystem::path target = root_ + path;
  std::filesystem::create_directories(target.parent_path());
  std::ofstream{target, std::ios::binary} << text;
}

}  // namespace bench
