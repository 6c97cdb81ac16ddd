#include "simulator/model/faults.h"

#include <cctype>
#include <cstring>

#include "simulator/model/json.h"
#include "simulator/model/model.h"

namespace simulator {

namespace {

// In the middle of a line, wherever the text's middle is.
std::string cutMidLine(std::string text) {
  std::size_t length = text.size() / 2;
  while (length > 0 && text[length - 1] == '\n') --length;
  return text.substr(0, length);
}

std::string rubbish(std::uint64_t seed, const std::string& name) {
  constexpr int kWords = 16;
  std::string bytes;
  for (int word = 0; word < kWords; ++word) {
    std::uint64_t bits = mixed(seed + static_cast<unsigned>(word), name);
    for (int byte = 0; byte < 8; ++byte, bits >>= 8) bytes += static_cast<char>(bits & 0xff);
  }
  return bytes;
}

// What an opening sees. A device stays open for long: its result is asked for at each request.
void apply(const Fault& fault, std::uint64_t seed, Node& node) {
  switch (fault.kind) {
    case Fault::Kind::kOpen:
      node.openError = fault.value;
      break;
    case Fault::Kind::kRead:
      node.readError = fault.value;
      break;
    case Fault::Kind::kVanish:
      node.isGone = true;
      break;
    case Fault::Kind::kCut:
      if (node.text) node.text = [whole = std::move(node.text)] { return cutMidLine(whole()); };
      break;
    case Fault::Kind::kRubbish:
      if (node.text) node.text = [seed, name = fault.name] { return rubbish(seed, name); };
      break;
    case Fault::Kind::kResult:
    case Fault::Kind::kOffline:
    case Fault::Kind::kWrap:
      break;  // not an opening's business
  }
}

// Processes come and go; what else a fault names has to be there.
bool isOnBoard(const Board& board, const std::string& path) {
  constexpr char kProcesses[] = "/proc/";
  constexpr std::size_t kLength = sizeof kProcesses - 1;
  const bool isProcess = path.compare(0, kLength, kProcesses) == 0 && path.size() > kLength &&
                         std::isdigit(static_cast<unsigned char>(path[kLength])) != 0;
  const Board::Opening opening = board.look(path);
  return isProcess || (opening.mine && opening.error == 0);
}

void armOneNode(Board& board, const SharedFile& file, const Fault& fault) {
  if (!isOnBoard(board, fault.name)) failAt(*file, fault.place, fault.name + " is not on this board");
  armNode(board, file, fault, fault.name);
}

void armCommands(Board& board, const SharedFile& file, const Fault&) {
  board.refuseCommands([&board, file] {
    for (const Fault& fault : file->faults) {
      if (fault.target == &kCommandFaults && fault.span.holds(boardTime(board))) return fault.value;
    }
    return 0;
  });
}

}  // namespace

const FaultTarget kNodeFaults{"node", FaultTarget::Names::kText, "open read vanish cut rubbish result",
                              nullptr, armOneNode};
const FaultTarget kCommandFaults{"commands", FaultTarget::Names::kNothing, "open", nullptr, armCommands};

std::string describe(const Fault& fault) {
  std::string text;
  // A path says what it is.
  const bool isPath = !fault.name.empty() && fault.name.front() == '/';
  if (!isPath) text += fault.target->key;
  if (!isPath && !fault.name.empty()) text += " ";
  text += fault.name + ": ";
  for (const FaultKind& kind : kFaultKinds) {
    if (kind.kind == fault.kind) text += kind.name;
  }
  if (fault.kind == Fault::Kind::kOpen || fault.kind == Fault::Kind::kRead) {
    text += std::string{" "} + ::strerrorname_np(fault.value);
  } else if (fault.kind == Fault::Kind::kResult) {
    text += " " + std::to_string(fault.value);
  } else if (fault.kind == Fault::Kind::kWrap) {
    text += " " + fault.counter + ", " + std::to_string(fault.bits) + " bits";
  }
  return text;
}

void failAt(const BoardFile& file, const FilePlace& place, const std::string& message) {
  throw BoardFileError{file.path, place.line, place.key, message};
}

void failAsMissing(const BoardFile& file, const FilePlace& place) {
  failAt(file, place, "is not on this board");
}

void armNode(Board& board, const SharedFile& file, const Fault& fault, const std::string& path) {
  board.change(path, [&board, file, &fault](Node& node) {
    if (fault.kind == Fault::Kind::kResult && node.ioctl) {
      node.ioctl = [&board, file, &fault, device = std::move(node.ioctl)](unsigned long request,
                                                                          void* record) {
        return fault.span.holds(boardTime(board)) ? fault.value : device(request, record);
      };
    }
    if (fault.span.holds(boardTime(board))) apply(fault, file->seed, node);
  });
}

void layOutFaults(Board& board, const SharedFile& file) {
  for (const Fault& fault : file->faults) {
    if (fault.target->arm != nullptr) fault.target->arm(board, file, fault);
  }
}

}  // namespace simulator
