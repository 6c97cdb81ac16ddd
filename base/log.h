// The platform log. A monitor names its channel once, and its lines keep the log's own printf checking:
//
//   constexpr LogChannel kLog{"libtessary : cpu_mon"};
//   TESSARY_LOG_ERROR(kLog, "Error while reading the CPU node. Error number = %d\n", errno);
//
// The lines are macros over __android_log_print, not functions, because a variadic function could hand its
// arguments on only through the va_list form, and would give up either that entry point or the format check.
// The log library drops a line whose priority nobody listens to before formatting it.
#ifndef TESSARY_BASE_LOG_H
#define TESSARY_BASE_LOG_H

#ifdef __ANDROID__
#include <android/log.h>
#else
extern "C" __attribute__((format(printf, 3, 4))) int __android_log_print(int priority, const char* tag,
                                                                         const char* format, ...);
#endif

namespace tessary {

struct LogChannel {
  const char* tag;
};

constexpr int kLogVerbose = 2;
constexpr int kLogError = 6;

}  // namespace tessary

#define TESSARY_LOG_VERBOSE(channel, ...) \
  static_cast<void>(__android_log_print(::tessary::kLogVerbose, (channel).tag, __VA_ARGS__))
#define TESSARY_LOG_ERROR(channel, ...) \
  static_cast<void>(__android_log_print(::tessary::kLogError, (channel).tag, __VA_ARGS__))

#endif
