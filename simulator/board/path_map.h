// What stands at each path, found without copying the path that is looked up. In no order.
#ifndef TESSARY_SIMULATOR_BOARD_PATH_MAP_H
#define TESSARY_SIMULATOR_BOARD_PATH_MAP_H

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace simulator {

template <typename Value>
class PathMap {
 public:
  struct Entry {
    const std::string path;
    Value value;
  };

  // Null: there is none. An entry stays where it is until it is erased.
  Entry* find(std::string_view path) const {
    const auto found = entries_.find(path);
    return found != entries_.end() ? found->second.get() : nullptr;
  }

  bool has(std::string_view path) const { return entries_.count(path) != 0; }

  // The entry, and whether it is new.
  std::pair<Entry*, bool> add(std::string path) {
    if (Entry* const found = find(path)) return {found, false};
    auto entry = std::make_unique<Entry>(Entry{std::move(path), Value{}});
    Entry* const added = entry.get();
    entries_.emplace(added->path, std::move(entry));
    return {added, true};
  }

  template <typename Condition>
  void eraseIf(Condition condition) {
    for (auto entry = entries_.begin(); entry != entries_.end();)
      entry = condition(entry->first) ? entries_.erase(entry) : std::next(entry);
  }

  template <typename Visit>
  void forEach(Visit visit) const {
    for (const auto& [path, entry] : entries_) visit(*entry);
  }

 private:
  std::unordered_map<std::string_view, std::unique_ptr<Entry>> entries_;  // each by its own path
};

}  // namespace simulator

#endif
