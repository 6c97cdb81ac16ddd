// What goes wrong with a board, for a time. A fault has a target, which is of one of the kinds in the table
// here: each stands in the file of the model that it acts on, which says what can happen to such a thing,
// finds the one that a fault names, and arms the fault.
#ifndef TESSARY_SIMULATOR_MODEL_FAULTS_H
#define TESSARY_SIMULATOR_MODEL_FAULTS_H

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "simulator/board/board.h"
#include "simulator/model/signals.h"

namespace simulator {

struct BoardFile;
struct FaultTarget;
using SharedFile = std::shared_ptr<const BoardFile>;

// Where something stands in a board's file.
struct FilePlace {
  int line = 0;
  std::string key;
};

// As it is read from the file. What a kind does not need stays as it is here.
struct Fault {
  enum class Kind { kOpen, kRead, kVanish, kCut, kRubbish, kResult, kOffline, kWrap };

  const FaultTarget* target = nullptr;
  std::string name;  // which of the targets
  Kind kind = Kind::kOpen;
  int value = 0;        // the error number, or the result
  std::string counter;  // that wraps
  int bits = 64;
  Span span;

  FilePlace place;
  FilePlace namePlace;
  FilePlace counterPlace;
};

struct FaultTarget {
  enum class Names { kText, kNumber, kNothing };

  const char* key;  // in the file
  Names names;
  std::string_view kinds;  // of the faults that it can have, as the file calls them

  // Finds what the fault names; throws BoardFileError where the board has no such thing. What holds from the
  // board's start on, as a counter's start does, is put into the file here. Null: the fault's arming does it.
  void (*resolve)(BoardFile& file, Fault& fault);

  // Once the board is laid out, for the time that the fault lasts. Null: all is done by the resolution.
  void (*arm)(Board& board, const SharedFile& file, const Fault& fault);
};

extern const FaultTarget kNodeFaults;
extern const FaultTarget kProcessFaults;
extern const FaultTarget kCoreFaults;
extern const FaultTarget kInterfaceFaults;
extern const FaultTarget kDiskFaults;
extern const FaultTarget kProfilerFaults;
extern const FaultTarget kDspFaults;
extern const FaultTarget kCommandFaults;

constexpr const FaultTarget* kFaultTargets[] = {&kNodeFaults,      &kProcessFaults, &kCoreFaults,
                                                &kInterfaceFaults, &kDiskFaults,    &kProfilerFaults,
                                                &kDspFaults,       &kCommandFaults};

struct FaultKind {
  const char* name;
  Fault::Kind kind;
};
constexpr FaultKind kFaultKinds[] = {{"open", Fault::Kind::kOpen},       {"read", Fault::Kind::kRead},
                                     {"vanish", Fault::Kind::kVanish},   {"cut", Fault::Kind::kCut},
                                     {"rubbish", Fault::Kind::kRubbish}, {"result", Fault::Kind::kResult},
                                     {"offline", Fault::Kind::kOffline}, {"wrap", Fault::Kind::kWrap}};

// interface eth0: wrap tx_bytes, 32 bits
std::string describe(const Fault& fault);

// -- for the targets

[[noreturn]] void failAt(const BoardFile& file, const FilePlace& place, const std::string& message);
[[noreturn]] void failAsMissing(const BoardFile& file, const FilePlace& place);

// The node, and every node below it, as the fault has it while it lasts.
void armNode(Board& board, const SharedFile& file, const Fault& fault, const std::string& path);

// The counter among those of the keys that the fault names.
template <std::size_t kCounters>
void wrapCounter(const BoardFile& file, const Fault& fault, const char* const (&keys)[kCounters],
                 std::array<Counter, kCounters>& counters) {
  for (std::size_t i = 0; i < kCounters; ++i) {
    if (fault.counter == keys[i]) return counters[i].wrapAt(fault.span.from, fault.bits);
  }
  failAsMissing(file, fault.counterPlace);
}

}  // namespace simulator

#endif
