#include "tools/sections/node.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tool {

namespace {

constexpr char kWildcards[] = "#*";  // any number, any name
constexpr int kCommandNotFound = 127;

Finding failure(int error) {
  const bool absent =
      error == ENOENT || error == ENODEV || error == ENXIO || error == ESRCH || error == ENOTDIR;
  const bool denied = error == EACCES || error == EPERM;
  return {absent ? State::kAbsent : denied ? State::kDenied : State::kMalformed, std::strerror(error)};
}

Finding malformed(const char* what) { return {State::kMalformed, what}; }

bool isNumber(std::string_view name) {
  return !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

std::optional<std::string> readSome(const std::string& path, Finding& finding) {
  const int node = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (node < 0) {
    finding = failure(errno);
    return std::nullopt;
  }
  char text[8192];
  const ssize_t length = ::read(node, text, sizeof text);
  const int error = errno;
  ::close(node);
  if (length < 0) {
    finding = failure(error);
    return std::nullopt;
  }
  return std::string{text, static_cast<std::size_t>(length)};
}

bool beginsWithNumber(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\n");
  if (start == std::string_view::npos) return false;
  text.remove_prefix(start);
  if (text.size() > 1 && (text[0] == '-' || text[0] == '+')) text.remove_prefix(1);
  return std::isdigit(static_cast<unsigned char>(text[0])) != 0;
}

std::vector<std::string> matches(const std::string& folder, std::string_view part) {
  const std::size_t wildcard = part.find_first_of(kWildcards);
  const std::string_view before = part.substr(0, wildcard);
  std::vector<std::string> found;
  DIR* const listing = ::opendir(folder.c_str());
  if (listing == nullptr) return found;
  while (const dirent* const entry = ::readdir(listing)) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == ".." || name.substr(0, before.size()) != before) continue;
    if (part[wildcard] == '*' || isNumber(name.substr(before.size()))) found.emplace_back(name);
  }
  ::closedir(listing);
  std::sort(found.begin(), found.end(), [](const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  return found;
}

Finding checkFolder(const std::string& path) {
  DIR* const listing = ::opendir(path.c_str());
  if (listing == nullptr) return failure(errno);
  ::closedir(listing);
  return {};
}

Finding checkText(const std::string& path) {
  Finding finding;
  const std::optional<std::string> text = readSome(path, finding);
  return text && text->empty() ? malformed(kEmptyNode) : finding;
}

Finding checkNumber(const std::string& path) {
  Finding finding;
  const std::optional<std::string> text = readSome(path, finding);
  return text && !beginsWithNumber(*text) ? malformed("holds no number") : finding;
}

Finding checkHolds(const std::string& path, std::string_view wanted) {
  Finding finding;
  const std::optional<std::string> text = readSome(path, finding);
  if (!text || text->find(wanted) != std::string::npos) return finding;
  return {State::kMalformed, text->empty() ? kEmptyNode : "holds no \"" + std::string{wanted} + "\""};
}

Finding checkDevice(const std::string& path) {
  const int device = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (device < 0) return failure(errno);
  ::close(device);
  return {};
}

Finding checkCommand(const std::string& line) {
  std::FILE* const output = ::popen(line.c_str(), "re");
  if (output == nullptr) return failure(errno);
  bool word = false;
  for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output)) word = word || std::isspace(c) == 0;
  const int status = ::pclose(output);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kCommandNotFound) {
    return {State::kAbsent, "command not found"};
  }
  return word ? Finding{} : malformed("prints nothing");
}

Finding checkLibrary(const std::string& name) {
  void* const library = ::dlopen(name.c_str(), RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) {
    const char* const words = ::dlerror();
    const std::string error = words != nullptr ? words : "cannot be loaded";
    const std::string own = name + ": ";
    return {State::kAbsent, error.compare(0, own.size(), own) == 0 ? error.substr(own.size()) : error};
  }
  ::dlclose(library);
  return {};
}

std::vector<std::string> expand(const std::string& target) {
  const std::size_t wildcard = target.find_first_of(kWildcards);
  if (target.empty() || target[0] != '/' || wildcard == std::string::npos) return {target};
  const std::size_t start = target.rfind('/', wildcard) + 1;
  const std::size_t end = std::min(target.find('/', wildcard), target.size());
  const std::string folder = target.substr(0, start);
  std::vector<std::string> nodes;
  for (const std::string& name : matches(folder, std::string_view{target}.substr(start, end - start))) {
    for (std::string& node : expand(folder + name + target.substr(end))) nodes.push_back(std::move(node));
  }
  return nodes.empty() ? std::vector<std::string>{target} : nodes;
}

std::string pathOf(const Node& node, const std::string& name) {
  std::string path = node.target;
  return path.replace(path.find_first_of(kWildcards), 1, name);
}

}  // namespace tool
