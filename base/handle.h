// Owners of operating-system handles: closed on every path out of the scope that opened them.
#ifndef TESSARY_BASE_HANDLE_H
#define TESSARY_BASE_HANDLE_H

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace tessary {

template <typename Traits>
class Handle {
 public:
  using Value = typename Traits::Value;

  Handle() = default;
  explicit Handle(Value value) : value_(value) {}
  Handle(Handle&& other) noexcept : value_(std::exchange(other.value_, Traits::kNone)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Handle() {
    if (value_ != Traits::kNone) Traits::close(value_);
  }

  explicit operator bool() const { return value_ != Traits::kNone; }
  Value get() const { return value_; }

  // Gives the handle up without closing it, for the few streams that stay open by design.
  Value leaveOpen() { return std::exchange(value_, Traits::kNone); }

 private:
  Value value_ = Traits::kNone;
};

struct DescriptorTraits {
  using Value = int;
  static constexpr Value kNone = -1;
  static void close(Value value) { ::close(value); }
};

struct DirectoryTraits {
  using Value = DIR*;
  static constexpr Value kNone = nullptr;
  static void close(Value value) { ::closedir(value); }
};

struct CommandTraits {
  using Value = std::FILE*;
  static constexpr Value kNone = nullptr;
  static void close(Value value) { ::pclose(value); }
};

using Descriptor = Handle<DescriptorTraits>;
using Directory = Handle<DirectoryTraits>;
using CommandStream = Handle<CommandTraits>;

}  // namespace tessary

#endif
