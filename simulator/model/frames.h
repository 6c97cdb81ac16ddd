// What was captured on a machine: the texts of its nodes, from frame to frame, of which each has what changed.
#ifndef TESSARY_SIMULATOR_MODEL_FRAMES_H
#define TESSARY_SIMULATOR_MODEL_FRAMES_H

#include <map>
#include <string>
#include <vector>

#include "simulator/board/time_units.h"

namespace simulator {

class JsonValue;
struct Playback;

// A node from one frame on.
struct FrameNode {
  enum class Form { kGone, kText, kError, kFolder };

  Microseconds from = 0;
  Form form = Form::kGone;
  std::string text;
  int error = 0;
  std::vector<std::string> entries;  // of a folder
};

struct Frames {
  std::vector<Microseconds> times;
  std::map<std::string, std::vector<FrameNode>> nodes;  // by path, each in the order of its times

  // Null: it is not there yet.
  static const FrameNode* at(const std::vector<FrameNode>& node, Microseconds time);
};

Frames readFrames(const JsonValue& list, const Playback& playback);

}  // namespace simulator

#endif
