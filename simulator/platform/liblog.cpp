// Android's log library on a machine that has none: lines as logcat prints them, on standard error.
//
// Verbose lines appear only when asked for, by logcat's own variable: ANDROID_LOG_TAGS="*:V". Any other level
// there ("*:E", "*:S" for silence) is the lowest priority that appears. A line that does not appear is not
// formatted.

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr char kLevels[] = "??VDIWEFS";  // at their priorities
constexpr int kInfo = 4;

int lowestPriority() {
  const char* const filter = std::getenv("ANDROID_LOG_TAGS");
  const char* const any = filter != nullptr ? std::strstr(filter, "*:") : nullptr;
  if (any == nullptr || any[2] == '\0') return kInfo;
  const char* const level = std::strchr(kLevels + 2, any[2] & ~0x20);
  return level != nullptr ? static_cast<int>(level - kLevels) : kInfo;
}

}  // namespace

extern "C" __attribute__((visibility("default"), format(printf, 3, 4))) int __android_log_print(
    int priority, const char* tag, const char* format, ...) {
  static const int lowest = lowestPriority();
  if (priority < lowest) return 0;

  char message[1024];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  message[std::strcspn(message, "\n")] = '\0';

  timespec now{};
  tm local{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  ::localtime_r(&now.tv_sec, &local);
  char time[32];
  std::strftime(time, sizeof time, "%m-%d %H:%M:%S", &local);
  const char level = priority >= 2 && priority <= 8 ? kLevels[priority] : '?';
  return std::fprintf(stderr, "%s.%03ld %5d %5ld %c %s: %s\n", time, now.tv_nsec / 1000000, ::getpid(),
                      ::syscall(SYS_gettid), level, tag, message);
}
