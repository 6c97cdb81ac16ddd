// Answers the system calls of programs whose filter asks: from the board where a call is about it, and from
// the machine's kernel, which goes on as if nothing had been asked, where it is not.
//
// A program's path is read once. One that is the board's is answered here, with a descriptor, a record or an
// error, and the kernel never looks at the program's memory again; so another thread that writes a path there
// meanwhile may change what it gets of the machine's, and never gets the machine's answer for a path that was
// seen to be the board's.
#ifndef TESSARY_SIMULATOR_NOTIFY_SUPERVISOR_H
#define TESSARY_SIMULATOR_NOTIFY_SUPERVISOR_H

#include <linux/seccomp.h>

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/board/descriptor.h"
#include "simulator/notify/calls.h"
#include "simulator/notify/places.h"
#include "simulator/notify/skeleton.h"

namespace simulator {

class Supervisor {
 public:
  // Takes the descriptor that installFilter gave.
  Supervisor(const Board& board, Descriptor listener);

  int listener() const { return listener_.get(); }

  // The next call that waits; false when there was none after all, or none will ever come.
  bool answerNext();

 private:
  struct Answer {
    bool isTheMachines = false;
    std::int64_t value = 0;
    int error = 0;
    Descriptor file;  // handed over
    bool closesOnExec = false;
  };
  struct Call;

  static Answer theMachines();
  static Answer failure(int error);
  static Answer result(std::int64_t value);

  Answer answer(const Call& call);
  Answer open(const Call& call, int flags, bool isRooted);
  Answer openAsAsked(const Call& call);
  Answer openNode(const Places::Place& place, int flags);
  Answer status(const Call& call);
  Answer statusOfFile(const Call& call);
  Answer test(const Call& call);
  Answer readLink(const Call& call);
  Answer fileSystem(const Call& call);
  Answer refuse(const Call& call, int error);
  Answer enter(const Call& call);
  Answer execute(const Call& call);
  Answer workingFolder(const Call& call);
  Answer readAgain(const Call& call);
  Answer aboutOthers(int process) const;
  Answer aboutProcess(const Call& call) const;
  Answer signal(const Call& call) const;
  Answer affinity(const Call& call);
  Answer network();

  template <typename Record>
  static Answer record(const Call& call, const Record& record);
  bool isOwnProcess(const Caller& caller, int process) const;
  bool isOwnGroup(const Caller& caller, int group) const;
  bool pathOf(const Call& call, bool follows, Places::Place& place, Answer& failed) const;
  void send(std::uint64_t id, const Answer& answer);
  void warnOnce(bool& warned, const char* text) const;

  const Board& board_;
  Descriptor listener_;
  Skeleton skeleton_;
  Places places_;
  std::vector<std::vector<NotifiedCall>> calls_;  // by number
  bool warnedOfNetwork_ = false;
  bool warnedOfDevice_ = false;
  bool warnedOfFolder_ = false;
};

}  // namespace simulator

#endif
