#include "simulator/board.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace simulator {

namespace {

Board* activeBoard = nullptr;

constexpr const char* kSharedFolders[] = {"/", "/proc", "/sys", "/dev", "/sys/class", "/sys/devices"};

constexpr char kCpuFolder[] = "/sys/devices/system/cpu";
constexpr char kPropertyFolder[] = "/dev/__properties__/";

bool isShared(const std::string& folder) {
  return std::find(std::begin(kSharedFolders), std::end(kSharedFolders), folder) != std::end(kSharedFolders);
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// /proc//12/../12/./stat -> /proc/12/stat
std::string normalized(const std::string& path) {
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

Board::Board(std::optional<Cores> cores, Clock::Mode time) : clock_{time} {
  if (activeBoard != nullptr) throw std::logic_error("there is a board already");
  activeBoard = this;
  if (!cores) return;
  cores_ = cores->configured;
  folder(kCpuFolder);
}

Board::~Board() { activeBoard = nullptr; }

Board* Board::active() { return activeBoard; }

void Board::enter(const std::string& path) {
  for (std::string entry = path; entry != "/"; entry = folderOf(entry)) {
    const std::string parent = folderOf(entry);
    if (isShared(parent) && folders_.count(parent) == 0) return;
    std::vector<std::string>& names = folders_[parent].names;
    const std::string name = nameOf(entry);
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
}

Node& Board::node(const std::string& path) {
  const std::string key = normalized(path);
  enter(key);
  return nodes_[key];
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
  const std::string key = normalized(path);
  folders_[key];
  enter(key);
}

void Board::device(const std::string& path, std::function<int(unsigned long, void*)> ioctl) {
  const std::lock_guard lock{mutex_};
  node(path).ioctl = std::move(ioctl);
}

void Board::property(const std::string& name, const std::string& value) {
  file(kPropertyFolder + name, value + "\n");
}

void Board::cores(int configured) {
  const std::lock_guard lock{mutex_};
  cores_ = configured;
}

void Board::remove(const std::string& path) {
  const std::lock_guard lock{mutex_};
  const std::string key = normalized(path);
  const std::string below = key + "/";
  const auto isGone = [&](const std::string& other) { return other == key || other.rfind(below, 0) == 0; };
  for (auto it = nodes_.begin(); it != nodes_.end();)
    it = isGone(it->first) ? nodes_.erase(it) : std::next(it);
  for (auto it = folders_.begin(); it != folders_.end();)
    it = isGone(it->first) ? folders_.erase(it) : std::next(it);
  const auto parent = folders_.find(folderOf(key));
  if (parent == folders_.end()) {
    // Under a shared folder the machine's own node would come back.
    nodes_[key].openError = ENOENT;
    return;
  }
  std::vector<std::string>& names = parent->second.names;
  names.erase(std::remove(names.begin(), names.end(), nameOf(key)), names.end());
}

void Board::library(const std::string& name, const std::string& file) {
  const std::lock_guard lock{mutex_};
  libraries_[name] = file;
}

void Board::refuse(const std::string& path, int error) {
  const std::lock_guard lock{mutex_};
  const auto folder = folders_.find(normalized(path));
  if (folder != folders_.end()) {
    folder->second.openError = error;
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
  const std::lock_guard lock{mutex_};
  commandError_ = error;
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
  return waits_;
}

std::vector<std::string> Board::opened() const {
  const std::lock_guard lock{mutex_};
  return opened_;
}

std::vector<LogLine> Board::log() const {
  const std::lock_guard lock{mutex_};
  return log_;
}

std::vector<std::string> Board::logged(int priority) const {
  const std::lock_guard lock{mutex_};
  std::vector<std::string> texts;
  for (const LogLine& line : log_) {
    if (line.priority == priority) texts.push_back(line.text);
  }
  return texts;
}

void Board::forgetHistory() {
  const std::lock_guard lock{mutex_};
  waits_.clear();
  opened_.clear();
  log_.clear();
}

Board::Opening Board::open(const std::string& path) {
  const std::lock_guard lock{mutex_};
  Opening opening = look(path);
  if (opening.mine && !opening.isFolder) opened_.push_back(normalized(path));
  return opening;
}

Board::Opening Board::look(const std::string& path) const {
  const std::lock_guard lock{mutex_};
  const std::string key = normalized(path);
  Opening opening;
  const auto node = nodes_.find(key);
  if (node != nodes_.end()) {
    opening.mine = true;
    opening.error = node->second.openError;
    opening.node = node->second;
    return opening;
  }
  const auto folder = folders_.find(key);
  if (folder != folders_.end()) {
    opening.mine = true;
    opening.isFolder = true;
    opening.error = folder->second.openError;
    return opening;
  }
  // What is missing from a folder of the board is missing, and so is what would be below it.
  for (std::string parent = key; parent != "/";) {
    parent = folderOf(parent);
    if (folders_.count(parent) == 0) continue;
    const bool machineProcess = parent == "/proc" && nameOf(key) == "self";
    opening.mine = !machineProcess && key.rfind("/proc/self/", 0) != 0;
    opening.error = ENOENT;
    break;
  }
  return opening;
}

std::vector<std::string> Board::list(const std::string& path) const {
  const std::lock_guard lock{mutex_};
  std::vector<std::string> entries{".", ".."};
  const auto folder = folders_.find(normalized(path));
  if (folder != folders_.end()) {
    entries.insert(entries.end(), folder->second.names.begin(), folder->second.names.end());
  }
  return entries;
}

bool Board::isFolder(const std::string& path) const {
  const std::lock_guard lock{mutex_};
  return folders_.count(normalized(path)) != 0;
}

std::optional<int> Board::configuredCores() const {
  const std::lock_guard lock{mutex_};
  return cores_;
}

int Board::commandError() const {
  const std::lock_guard lock{mutex_};
  return commandError_;
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

void Board::wait(std::int64_t microseconds) {
  clock_.wait(microseconds * 1000);
  const std::lock_guard lock{mutex_};
  waits_.push_back(microseconds);
  if (changes_.empty()) return;
  const std::function<void()> change = std::move(changes_.front());
  changes_.erase(changes_.begin());
  change();
}

void Board::addLogLine(LogLine line) {
  const std::lock_guard lock{mutex_};
  log_.push_back(std::move(line));
}

std::string Board::freeze() const {
  const std::lock_guard lock{mutex_};
  std::string frozen;
  putText(frozen, cores_ ? std::to_string(*cores_) : "");
  putText(frozen, std::to_string(nodes_.size()));
  for (const auto& [path, node] : nodes_) {
    putText(frozen, path);
    putText(frozen, node.text ? node.text() : "");
    putText(frozen, std::to_string(node.openError));
    putText(frozen, std::to_string(node.readError));
  }
  putText(frozen, std::to_string(folders_.size()));
  for (const auto& [path, entries] : folders_) putText(frozen, path);
  return frozen;
}

void Board::thaw(std::string_view frozen) {
  const std::string cores = takeText(frozen);
  if (!cores.empty()) this->cores(std::stoi(cores));
  for (int left = std::stoi(takeText(frozen)); left > 0; --left) {
    const std::string path = takeText(frozen);
    file(path, takeText(frozen));
    const int openError = std::stoi(takeText(frozen));
    const int readError = std::stoi(takeText(frozen));
    const std::lock_guard lock{mutex_};
    node(path).openError = openError;
    node(path).readError = readError;
  }
  for (int left = std::stoi(takeText(frozen)); left > 0; --left) folder(takeText(frozen));
}

}  // namespace simulator
