#include "simulator/board/environment.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace simulator {

namespace {

constexpr char kUsualCommands[] = "/usr/bin:/bin";  // where a shell looks when nobody says

auto findVariable(std::vector<std::string>& texts, const std::string& name) {
  return std::find_if(texts.begin(), texts.end(),
                      [&](const std::string& text) { return text.rfind(name + "=", 0) == 0; });
}

}  // namespace

Environment::Environment() {
  for (char** variable = ::environ; variable != nullptr && *variable != nullptr; ++variable)
    texts_.emplace_back(*variable);
}

void Environment::set(const std::string& name, const std::string& value) {
  const auto found = findVariable(texts_, name);
  if (found != texts_.end()) texts_.erase(found);
  texts_.push_back(name + "=" + value);
}

void Environment::prependCommands(const std::string& folder) {
  const std::string name = "PATH";
  const auto found = findVariable(texts_, name);
  const std::string others = found != texts_.end() ? found->substr(name.size() + 1) : std::string{};
  set(name, folder + ":" + (others.empty() ? kUsualCommands : others));
}

char* const* Environment::variables() const {
  pointers_.clear();
  for (const std::string& text : texts_) pointers_.push_back(const_cast<char*>(text.c_str()));
  pointers_.push_back(nullptr);
  return pointers_.data();
}

std::string startOfChild(std::int64_t time) {
  return std::to_string(::getpid()) + ":" + std::to_string(time);
}

std::optional<std::int64_t> startFromParent(const std::string& variable) {
  int parent = 0;
  long long time = 0;
  const bool isWhole = std::sscanf(variable.c_str(), "%d:%lld", &parent, &time) == 2;
  return isWhole && parent == ::getppid() ? std::optional<std::int64_t>{time} : std::nullopt;
}

}  // namespace simulator
