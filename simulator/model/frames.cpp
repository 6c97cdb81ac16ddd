#include "simulator/model/frames.h"

#include <algorithm>
#include <set>

#include "simulator/model/json.h"
#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr int kLargestError = 133;  // Linux has no more

// "text", null: it has gone; {"error": 13}: opening it fails; ["sda", "sdb"]: a folder with these folders
FrameNode readNode(const JsonValue& value) {
  FrameNode node;
  if (value.isNull()) return node;
  if (value.isList()) {
    node.form = FrameNode::Form::kFolder;
    for (const JsonValue& entry : value.items()) {
      const std::string name = entry.bytes();
      if (name.empty() || name.front() == '.' || name.find('/') != std::string::npos)
        entry.fail("is no name of a folder's entry");
      node.entries.push_back(name);
    }
  } else if (value.isObject()) {
    JsonObject object{value};
    node.form = FrameNode::Form::kError;
    node.error = static_cast<int>(object.need("error").whole(1, kLargestError));
    object.end();
  } else {
    node.form = FrameNode::Form::kText;
    node.text = value.bytes();
  }
  return node;
}

bool isPath(const std::string& path) {
  return path.size() > 1 && path.front() == '/' && path.back() != '/' &&
         path.find("//") == std::string::npos && path.find("/.") == std::string::npos;
}

// The times from which on the folder holds something, and none.
struct Turn {
  Microseconds time;
  bool isThere;
};
using Turns = std::vector<Turn>;

bool isThere(const std::vector<FrameNode>& node, Microseconds time) {
  const FrameNode* const now = Frames::at(node, time);
  return now != nullptr && now->form != FrameNode::Form::kGone;
}

Turns turnsOf(const Frames& frames, const std::vector<const std::vector<FrameNode>*>& nodes) {
  Turns turns;
  for (const Microseconds time : frames.times) {
    const bool now =
        std::any_of(nodes.begin(), nodes.end(), [time](const auto* node) { return isThere(*node, time); });
    if (turns.empty() || turns.back().isThere != now) turns.push_back({time, now});
  }
  return turns;
}

void layOutNode(Board& board, const SharedFile& file, const std::string& path,
                const std::vector<FrameNode>& node) {
  board.file(path, [&board, file, &node] {
    const FrameNode* const now = Frames::at(node, boardTime(board));
    return now != nullptr ? now->text : std::string{};
  });
  board.change(path, [&board, file, &node](Node& opened) {
    const FrameNode* const now = Frames::at(node, boardTime(board));
    opened.isGone |= now == nullptr || now->form == FrameNode::Form::kGone;
    const bool fails = now != nullptr && now->form == FrameNode::Form::kError;
    if (fails && opened.openError == 0) opened.openError = now->error;  // else that of its folder
  });
}

// Each entry is a folder while the list has it.
void layOutFolder(Board& board, const SharedFile& file, const std::string& path,
                  const std::vector<FrameNode>& node) {
  std::set<std::string> names;
  for (const FrameNode& frame : node) names.insert(frame.entries.begin(), frame.entries.end());
  board.folder(path);
  board.change(path, [&board, file, &node](Node& opened) {
    const FrameNode* const now = Frames::at(node, boardTime(board));
    if (now != nullptr && now->form == FrameNode::Form::kError) opened.openError = now->error;
  });
  for (const std::string& name : names) {
    std::string entry = path;
    entry.append("/").append(name);
    board.folder(entry);
    board.change(entry, [&board, file, &node, name](Node& opened) {
      const FrameNode* const now = Frames::at(node, boardTime(board));
      const bool isListed =
          now != nullptr && std::find(now->entries.begin(), now->entries.end(), name) != now->entries.end();
      opened.isGone |= !isListed;
    });
  }
}

// A folder whose last node has gone has gone: a process, a zone.
void hideEmptyFolders(Board& board, const SharedFile& file) {
  std::map<std::string, std::vector<const std::vector<FrameNode>*>> folders;
  for (const auto& [path, node] : file->frames->nodes) {
    for (std::size_t end = path.rfind('/'); end > 0; end = path.rfind('/', end - 1))
      folders[path.substr(0, end)].push_back(&node);
  }
  for (const auto& [path, nodes] : folders) {
    Turns turns = turnsOf(*file->frames, nodes);
    const bool isAlwaysThere = turns.size() == 1 && turns.front().isThere;
    if (isAlwaysThere || isClaimed(path)) continue;
    board.change(path, [&board, turns = std::move(turns)](Node& folder) {
      const Microseconds now = boardTime(board);
      const auto next =
          std::upper_bound(turns.begin(), turns.end(), now,
                           [](Microseconds time, const Turn& turn) { return time < turn.time; });
      folder.isGone |= next == turns.begin() || !std::prev(next)->isThere;
    });
  }
}

}  // namespace

const FrameNode* Frames::at(const std::vector<FrameNode>& node, Microseconds time) {
  const auto next =
      std::upper_bound(node.begin(), node.end(), time,
                       [](Microseconds then, const FrameNode& frame) { return then < frame.from; });
  return next != node.begin() ? &*std::prev(next) : nullptr;
}

Frames readFrames(const JsonValue& list, const Playback& playback) {
  Frames frames;
  for (const JsonValue& value : list.items()) {
    JsonObject object{value};
    const JsonValue at = object.need("at_ms");
    const Microseconds time =
        static_cast<Microseconds>(Wide{at.milliseconds() - playback.from} * kOne / playback.speed);
    if (!frames.times.empty() && time <= frames.times.back()) at.fail("is not after the frame before");
    frames.times.push_back(time);
    const JsonValue nodes = object.need("nodes");
    JsonObject members{nodes};
    for (const std::string& path : nodes.names()) {
      const JsonValue node = members.need(path);
      if (!isPath(path)) node.fail("is no absolute path");
      FrameNode& added = frames.nodes[path].emplace_back(readNode(node));
      added.from = time;
    }
    object.end();
  }
  if (frames.times.empty()) list.fail("has no frame");
  return frames;
}

void layOutFrames(Board& board, const SharedFile& file) {
  if (!file->frames) return;
  for (const auto& [path, node] : file->frames->nodes) {
    const bool isFolder =
        isClaimed(path) || std::any_of(node.begin(), node.end(), [](const FrameNode& frame) {
          return frame.form == FrameNode::Form::kFolder;
        });
    isFolder ? layOutFolder(board, file, path, node) : layOutNode(board, file, path, node);
  }
  hideEmptyFolders(board, file);
}

}  // namespace simulator
