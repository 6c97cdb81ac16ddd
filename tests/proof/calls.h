// The calls that the library, and the tool, make into the C library and the platform: which there were in a run, and a
// run in which one of them fails.
//
// A table says of each function how it can fail; the slots of the object that calls it lead to a stand-in, which counts
// the call and hands it on to the simulator, or fails. Memory that the C++ library asks for on their behalf is a call
// like the others. What the simulator does to answer a call counts for nothing.
#ifndef TESSARY_TESTS_PROOF_CALLS_H
#define TESSARY_TESTS_PROOF_CALLS_H

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace proof {

struct Failure {
  const char* name;
  int code;  // of errno, or what is returned
};

struct Call {
  const char* name;
  std::vector<Failure> failures;  // none: it does not fail
  void* standIn;
  std::atomic<void*> next{nullptr};
  std::atomic<std::size_t> made{0};  // in this run
};

// Leads the object's calls to the stand-ins. What it calls and no table has, by name: nobody has thought of how these
// fail.
std::vector<std::string> standInFor(const void* addressInObject);

// -- a run

// The calls of a run are counted, each by itself, since threads make theirs in any order.
void beginCounting();

// The same, and the n-th of the call, from 1, fails.
void beginFailing(const Call& call, std::size_t nth, const Failure& failure);

void endCounting();

// The blocks that were allocated while calls were counted and are not released, and the same in bytes.
struct Memory {
  long blocks = 0;
  long bytes = 0;
};
Memory liveMemory();

// What a shell command writes: no shell is started.
void answerCommand(const std::string& command, const std::string& output);

// -- for the stand-ins

extern Call kNew;

// Counts the call where calls are counted. How it is to fail; null: it is made.
const Failure* reached(Call& call);

// While one lives, the thread is in the simulator's hands.
class Beyond {
 public:
  Beyond();
  ~Beyond();
  Beyond(const Beyond&) = delete;
  Beyond& operator=(const Beyond&) = delete;

  static int& depth();
};

void noteAllocated(long bytes);
void noteReleased(long bytes);
bool isCounting();

// Those of the table, and the C++ library's memory.
const std::vector<Call*>& allCalls();

}  // namespace proof

#endif
