// The fault matrix: each operation is run once to find its calls, and then once for each call and each way in which
// that call can fail. What is looked at is in Trial and in Operation; nothing here knows a monitor.
#ifndef TESSARY_TESTS_PROOF_MATRIX_H
#define TESSARY_TESTS_PROOF_MATRIX_H

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/board/board.h"
#include "tests/proof/calls.h"

namespace proof {

// What goes wrong in a run.
struct Fault {
  const Call* call;
  std::size_t time;  // that it is made, from 1
  const Failure* failure;

  bool isOf(std::string_view name) const { return name == call->name; }
  std::string text() const;  // the third read: EIO
};

// The life of a monitor: what is in the functions lives and ends with them.
struct Trial {
  std::function<void()> act;             // the operation, which the fault meets
  std::function<std::string()> outcome;  // of that
  std::function<std::string()> next;     // the same operation once more, and its outcome
};

struct Losses {
  int descriptors = 0;
  long blocks = 0;
};

struct Operation {
  const char* name;
  const char* platform;  // of the board
  std::function<Trial()> begin;

  // Whether the operation may end so, next to the outcome of a run without a fault. An outcome that is the same is
  // right, and so is bad_alloc where memory was refused.
  std::function<bool(const Fault&, const std::string& outcome, const std::string& faultless)> accepts =
      nullptr;

  // The next call is right again, or the one after it, where the monitor compares with the sample before.
  int recovery = 1;

  // By design, beyond what a run without a fault leaves.
  std::function<Losses(const Fault&)> leaves = nullptr;
};

struct Summary {
  std::size_t operations = 0;
  std::size_t calls = 0;
  std::size_t cells = 0;
  std::vector<std::string> mistakes;
};

// A cell that takes longer than this hangs.
constexpr unsigned kLongestSeconds = 20;

void run(const Operation& operation, Summary& summary);

// How often each call was made by now.
using Counts = std::vector<std::pair<Call*, std::size_t>>;
Counts countsOfCalls();

// Says which cell it was when the program is ended by a signal.
void tellOfTheEnd();

}  // namespace proof

#endif
