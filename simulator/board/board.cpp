#include "simulator/board/board.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace simulator {

namespace {

Board* activeBoard = nullptr;

constexpr const char* kSharedFolders[] = {"/", "/proc", "/sys", "/dev", "/sys/class", "/sys/devices"};

constexpr char kProcessorsFolder[] = "/sys/devices/system/cpu";
constexpr char kPropertyFolder[] = "/dev/__properties__/";

bool isShared(std::string_view folder) {
  return std::find(std::begin(kSharedFolders), std::end(kSharedFolders), folder) != std::end(kSharedFolders);
}

// A view of the path, but for what is in the root.
std::string_view folderOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string_view::npos ? "/" : path.substr(0, slash);
}

std::string entryOf(std::string folder, const std::string& name) {
  if (folder != "/") folder += '/';
  return folder += name;
}

std::string_view nameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

// /proc//12/../12/./stat -> /proc/12/stat
std::string normalized(const std::string& path) {
  const bool isNormal = path.size() > 1 && path.front() == '/' && path.back() != '/' &&
                        path.find("//") == std::string::npos && path.find("/.") == std::string::npos;
  if (isNormal) return path;
  std::vector<std::string> parts;
  std::size_t at = 0;
  while (at < path.size()) {
    std::size_t end = std::min(path.find('/', at), path.size());
    const std::string part = path.substr(at, end - at);
    if (part == ".." && !parts.empty()) {
      parts.pop_back();
    } else if (!part.empty() && part != "." && part != "..") {
      parts.push_back(part);
    }
    at = end + 1;
  }
  std::string result;
  for (const std::string& part : parts) result += "/" + part;
  return result.empty() ? "/" : result;
}

// What follows the calling program's own folder, under any of its names, which is the machine's: libraries need
// it. "/fd/3" of /proc/self/fd/3; none for what is elsewhere.
std::optional<std::string> ownRest(const std::string& path) {
  constexpr char kProcesses[] = "/proc/";
  if (path.compare(0, sizeof kProcesses - 1, kProcesses) != 0) return std::nullopt;
  for (const std::string& name :
       {std::string{"self"}, std::string{"thread-self"}, std::to_string(::getpid())}) {
    const std::size_t end = sizeof kProcesses - 1 + name.size();
    const bool isName = path.compare(sizeof kProcesses - 1, name.size(), name) == 0;
    if (isName && (path.size() == end || path[end] == '/')) return path.substr(end);
  }
  return std::nullopt;
}

// /dev/root / ext4 rw,relatime 0 0
// 20 1 0:20 / / rw,relatime - ext4 /dev/root rw,relatime
std::string mountInfo(const std::string& mounts) {
  std::istringstream lines{mounts};
  std::string info;
  int id = 20;
  for (std::string device, place, type, options, rest; lines >> device >> place >> type >> options;) {
    std::getline(lines, rest);
    const std::string number = std::to_string(id++);
    std::ostringstream line;
    line << number << " 1 0:" << number << " / " << place << ' ' << options << " - " << type << ' ' << device
         << ' ' << options << '\n';
    info += line.str();
  }
  return info;
}

void putText(std::string& target, std::string_view text) {
  target += std::to_string(text.size());
  target += ':';
  target += text;
}

std::string takeText(std::string_view& source) {
  const std::size_t colon = source.find(':');
  if (colon == std::string_view::npos) throw std::runtime_error("a frozen board is cut short");
  const std::size_t length = std::stoul(std::string{source.substr(0, colon)});
  std::string text{source.substr(colon + 1, length)};
  source.remove_prefix(std::min(source.size(), colon + 1 + length));
  return text;
}

}  // namespace

Board::Board(Clock clock) : clock_{std::move(clock)} {
  if (activeBoard != nullptr) throw std::logic_error("there is a board already");
  activeBoard = this;
}

Board::Board(std::optional<Cores> cores, Clock::Mode time) : Board{Clock{time}} {
  if (!cores) return;
  cores_ = cores->configured;
  folder(kProcessorsFolder);
}

Board::~Board() { activeBoard = nullptr; }

Board* Board::active() { return activeBoard; }

// Lists what is new on the board, and the folders above it that are new with it.
void Board::enter(std::string_view path) {
  for (std::string_view entry = path; entry != "/";) {
    const std::string_view parent = folderOf(entry);
    auto* folder = folders_.find(parent);
    const bool isNew = folder == nullptr;
    if (isNew) {
      if (isShared(parent)) return;
      folder = folders_.add(std::string{parent}).first;
    }
    folder->value.names.emplace_back(nameOf(entry));
    if (!isNew || nodes_.has(parent)) return;
    entry = parent;
  }
}

Node& Board::node(const std::string& path) {
  const auto [node, isNew] = nodes_.add(normalized(path));
  if (isNew && !folders_.has(node->path)) enter(node->path);
  return node->value;
}

void Board::file(const std::string& path, std::string text) {
  file(path, [text = std::move(text)] { return text; });
}

void Board::file(const std::string& path, Text text) {
  const std::lock_guard lock{mutex_};
  Node& target = node(path);
  target.text = std::move(text);
  target.openError = 0;
  target.readError = 0;
}

void Board::folder(const std::string& path) {
  const std::lock_guard lock{mutex_};
  const auto [folder, isNew] = folders_.add(normalized(path));
  if (isNew && !nodes_.has(folder->path)) enter(folder->path);
}

void Board::device(const std::string& path, std::function<int(unsigned long, void*)> ioctl) {
  const std::lock_guard lock{mutex_};
  node(path).ioctl = std::move(ioctl);
}

void Board::property(const std::string& name, const std::string& value) {
  file(kPropertyFolder + name, value + "\n");
}

void Board::cores(int configured, std::function<int()> online) {
  const std::lock_guard lock{mutex_};
  cores_ = configured;
  onlineCores_ = std::move(online);
}

void Board::ticksPerSecond(int ticks) {
  const std::lock_guard lock{mutex_};
  ticksPerSecond_ = ticks;
}

void Board::residents(const std::string& path, Residents residents) {
  const std::lock_guard lock{mutex_};
  folder(path);
  residents_.add(normalized(path)).first->value = std::move(residents);
}

void Board::keep(std::shared_ptr<void> companion) {
  const std::lock_guard lock{mutex_};
  companions_.push_back(std::move(companion));
}

void Board::remove(const std::string& path) {
  const std::lock_guard lock{mutex_};
  const std::string key = normalized(path);
  const std::string below = key + "/";
  const auto isGone = [&](std::string_view other) { return other == key || other.rfind(below, 0) == 0; };
  nodes_.eraseIf(isGone);
  folders_.eraseIf(isGone);
  auto* const parent = folders_.find(folderOf(key));
  if (parent == nullptr) {
    // Under a shared folder the machine's own node would come back.
    nodes_.add(key).first->value.openError = ENOENT;
    return;
  }
  std::vector<std::string>& names = parent->value.names;
  names.erase(std::remove(names.begin(), names.end(), nameOf(key)), names.end());
}

void Board::library(const std::string& name, const std::string& file) {
  const std::lock_guard lock{mutex_};
  libraries_[name] = file;
}

void Board::refuse(const std::string& path, int error) {
  const std::lock_guard lock{mutex_};
  if (auto* const folder = folders_.find(normalized(path))) {
    folder->value.openError = error;
  } else {
    node(path).openError = error;
  }
}

void Board::failRead(const std::string& path, int error) {
  const std::lock_guard lock{mutex_};
  node(path).readError = error;
}

void Board::limitReads(const std::string& path, std::size_t bytes) {
  const std::lock_guard lock{mutex_};
  node(path).readLimit = bytes;
}

void Board::refuseCommands(int error) {
  refuseCommands([error] { return error; });
}

void Board::refuseCommands(std::function<int()> error) {
  const std::lock_guard lock{mutex_};
  commandError_ = std::move(error);
}

void Board::change(const std::string& path, std::function<void(Node&)> change) {
  const std::lock_guard lock{mutex_};
  nodeChanges_[normalized(path)].push_back(std::move(change));
}

void Board::failAllocation(int countdown) {
  const std::lock_guard lock{mutex_};
  allocationCountdown_ = countdown;
}

void Board::afterWait(std::function<void()> change) {
  const std::lock_guard lock{mutex_};
  changes_.push_back(std::move(change));
}

std::vector<std::int64_t> Board::waits() const {
  const std::lock_guard lock{mutex_};
  return waits_.events();
}

std::vector<std::string> Board::opened() const {
  const std::lock_guard lock{mutex_};
  return opened_.events();
}

std::vector<LibraryLoad> Board::loads() const {
  const std::lock_guard lock{mutex_};
  return loads_.events();
}

std::vector<LogLine> Board::log() const {
  const std::lock_guard lock{mutex_};
  return log_.events();
}

std::vector<std::string> Board::logged(int priority) const {
  const std::lock_guard lock{mutex_};
  std::vector<std::string> texts;
  for (const LogLine& line : log_.events()) {
    if (line.priority == priority) texts.push_back(line.text);
  }
  return texts;
}

void Board::forgetHistory() {
  const std::lock_guard lock{mutex_};
  waits_.forget();
  opened_.forget();
  loads_.forget();
  log_.forget();
}

void Board::keepHistory(bool keep) {
  const std::lock_guard lock{mutex_};
  waits_.keep(keep);
  opened_.keep(keep);
  loads_.keep(keep);
  log_.keep(keep);
}

bool Board::keepsHistory() const {
  const std::lock_guard lock{mutex_};
  return log_.isKept();
}

Board::Opening Board::open(const std::string& path) {
  const std::lock_guard lock{mutex_};
  Opening opening = look(path);
  if (opening.mine && !opening.isFolder) opened_.add(opening.path);
  return opening;
}

// None: the path is the machine's.
std::optional<Node> Board::find(const std::string& key) const {
  if (const auto* const node = nodes_.find(key)) return node->value;
  Node found;
  if (const auto* const folder = folders_.find(key)) {
    found.isFolder = true;
    found.openError = folder->value.openError;
    return found;
  }
  // What is missing from a folder of the board is missing, and so is what would be below it; but a folder may
  // have, beside what is defined in it, what it has as a resident's.
  bool isMine = false;
  for (std::string_view parent = key; parent != "/";) {
    parent = folderOf(parent);
    if (!folders_.has(parent)) continue;
    isMine = true;
    if (const auto* const residents = residents_.find(parent)) {
      const std::size_t below = parent == "/" ? 1 : parent.size() + 1;
      if (auto resident = residents->value.find(std::string_view{key}.substr(below))) return resident;
    }
  }
  if (!isMine) return std::nullopt;
  if (ownRest(key)) return findCommon(key);
  found.isGone = true;
  return found;
}

// What is mounted, and the network, are the board's, also where a program asks in its own folder.
std::optional<Node> Board::findCommon(const std::string& key) const {
  const std::string rest = *ownRest(key);
  constexpr char kNet[] = "/net";
  if (rest == kNet || rest.compare(0, sizeof kNet, "/net/") == 0) return find("/proc" + rest);
  const auto* const mounts = nodes_.find("/proc/mounts");
  if (mounts == nullptr || (rest != "/mounts" && rest != "/mountinfo")) return std::nullopt;
  Node node = mounts->value;
  if (rest == "/mountinfo" && node.text) node.text = [text = node.text] { return mountInfo(text()); };
  return node;
}

std::optional<Node> Board::findResident(const std::string& key) const {
  const std::string_view parent = folderOf(key);
  const auto* const residents = residents_.find(parent);
  if (residents == nullptr) return std::nullopt;
  return residents->value.find(std::string_view{key}.substr(parent == "/" ? 1 : parent.size() + 1));
}

void Board::applyChanges(const std::string& key, Node& node) const {
  if (nodeChanges_.empty()) return;
  for (std::size_t end = key.find('/', 1);; end = key.find('/', end + 1)) {
    const auto changes = nodeChanges_.find(std::string_view{key}.substr(0, end));
    if (changes != nodeChanges_.end()) {
      for (const auto& change : changes->second) change(node);
    }
    if (end == std::string::npos) return;
  }
}

Board::Opening Board::look(const std::string& path) const {
  const std::lock_guard lock{mutex_};
  std::string key = normalized(path);
  if (key == "/etc/mtab") key = "/proc/self/mounts";  // where this link leads on every machine
  Opening opening;
  std::optional<Node> node = find(key);
  if (!node) return opening;
  if (!node->isGone) applyChanges(key, *node);
  opening.mine = true;
  opening.path = key;
  opening.error = node->isGone ? ENOENT : node->openError;
  opening.isFolder = node->isFolder;
  opening.node = std::move(*node);
  return opening;
}

std::vector<std::string> Board::list(const std::string& path) const {
  const std::lock_guard lock{mutex_};
  const std::string key = normalized(path);
  std::vector<std::string> entries{".", ".."};
  const auto append = [&](const std::vector<std::string>& names) {
    const std::size_t known = entries.size();  // of other origin: the names themselves all differ
    entries.reserve(known + names.size());
    for (const std::string& name : names) {
      const auto others = entries.begin() + static_cast<std::ptrdiff_t>(known);
      if (std::find(entries.begin(), others, name) != others) continue;
      Node node;
      if (!nodeChanges_.empty()) applyChanges(entryOf(key, name), node);
      if (!node.isGone) entries.push_back(name);
    }
  };
  if (const auto* const folder = folders_.find(key)) {
    append(folder->value.names);
    if (const std::optional<Node> resident = findResident(key)) append(resident->entries);
  } else if (const std::optional<Node> found = find(key)) {
    append(found->entries);
  }
  if (const auto* const residents = residents_.find(key)) append(residents->value.names());
  return entries;
}

std::vector<std::string> Board::listShared(const std::string& path) const {
  const std::lock_guard lock{mutex_};
  const std::string key = normalized(path);
  if (!isShared(key) || folders_.has(key)) return {};
  const std::string start = entryOf(key, "");
  std::set<std::string> names;
  const auto append = [&](const auto& entry) {
    if (entry.path.compare(0, start.size(), start) != 0) return;
    const std::string name =
        entry.path.substr(start.size(), entry.path.find('/', start.size()) - start.size());
    if (const std::optional<Node> node = find(start + name); !node || node->openError != ENOENT)
      names.insert(name);
  };
  nodes_.forEach(append);
  folders_.forEach(append);
  return {names.begin(), names.end()};
}

std::optional<int> Board::configuredCores() const {
  const std::lock_guard lock{mutex_};
  return cores_;
}

std::optional<int> Board::onlineCores() const {
  const std::lock_guard lock{mutex_};
  return onlineCores_ ? onlineCores_() : cores_;
}

std::optional<int> Board::ticksPerSecond() const {
  const std::lock_guard lock{mutex_};
  return ticksPerSecond_;
}

int Board::commandError() const {
  const std::lock_guard lock{mutex_};
  return commandError_ ? commandError_() : 0;
}

bool Board::allocationFails() {
  const std::lock_guard lock{mutex_};
  return allocationCountdown_ > 0 && --allocationCountdown_ == 0;
}

std::optional<std::string> Board::libraryFile(const std::string& name) const {
  const std::lock_guard lock{mutex_};
  const auto library = libraries_.find(name);
  if (library == libraries_.end()) return std::nullopt;
  return library->second;
}

std::int64_t Board::wait(std::int64_t microseconds) {
  const Nanoseconds left = clock_.wait(microseconds * 1000);
  waited(microseconds);
  return left / 1000;
}

void Board::waited(std::int64_t microseconds) {
  const std::lock_guard lock{mutex_};
  waits_.add(microseconds);
  if (!changes_.empty()) {
    const std::function<void()> change = std::move(changes_.front());
    changes_.erase(changes_.begin());
    change();
  }
}

void Board::addLoad(LibraryLoad load) {
  const std::lock_guard lock{mutex_};
  loads_.add(std::move(load));
}

void Board::addLogLine(LogLine line) {
  const std::lock_guard lock{mutex_};
  log_.add(std::move(line));
}

std::string Board::freeze() const {
  const std::lock_guard lock{mutex_};
  std::vector<std::string> paths;
  std::vector<std::string> folders;
  nodes_.forEach([&](const auto& node) { paths.push_back(node.path); });
  folders_.forEach([&](const auto& folder) { folders.push_back(folder.path); });
  residents_.forEach([&](const auto& residents) {
    for (const std::string& name : residents.value.names()) {
      const std::optional<Node> resident = residents.value.find(name);
      if (!resident) continue;
      const std::string path = entryOf(residents.path, name);
      if (!resident->isFolder) paths.push_back(path);
      for (const std::string& entry : resident->entries) paths.push_back(entryOf(path, entry));
    }
  });
  std::sort(paths.begin(), paths.end());
  std::sort(folders.begin(), folders.end());

  std::string frozen;
  putText(frozen, cores_ ? std::to_string(*cores_) : "");
  // Folders first: what is in a shared one is listed there once it is the board's own.
  putText(frozen, std::to_string(folders.size()));
  for (const std::string& path : folders) putText(frozen, path);
  putText(frozen, std::to_string(paths.size()));
  for (const std::string& path : paths) {
    const Opening opening = look(path);
    putText(frozen, path);
    putText(frozen, opening.error == 0 && opening.node.text ? opening.node.text() : "");
    putText(frozen, std::to_string(opening.error));
    putText(frozen, std::to_string(opening.node.readError));
  }
  return frozen;
}

void Board::thaw(std::string_view frozen) {
  const std::string cores = takeText(frozen);
  if (!cores.empty()) this->cores(std::stoi(cores));
  for (int left = std::stoi(takeText(frozen)); left > 0; --left) folder(takeText(frozen));
  for (int left = std::stoi(takeText(frozen)); left > 0; --left) {
    const std::string path = takeText(frozen);
    file(path, takeText(frozen));
    const int openError = std::stoi(takeText(frozen));
    const int readError = std::stoi(takeText(frozen));
    const std::lock_guard lock{mutex_};
    node(path).openError = openError;
    node(path).readError = readError;
  }
}

}  // namespace simulator
