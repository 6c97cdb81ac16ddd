// Whose process an id means: those that the program started are the machine's and its own, all others are the
// board's, even where the machine has a process of the same id.
#ifndef TESSARY_SIMULATOR_SEAM_PROCESS_OWNER_H
#define TESSARY_SIMULATOR_SEAM_PROCESS_OWNER_H

#include <sys/types.h>

namespace simulator {

enum class ProcessOwner {
  kProgram,  // the caller, and what it and the board's other programs started; all, where no board is
  kBoard,    // a process of the board: to the program, one of another user
  kNobody,   // there is none
};

ProcessOwner ownerOf(pid_t process);  // or of a thread's id; 0 is the caller
ProcessOwner ownerOfGroup(pid_t group);

// What a call that would act on the process of another user ends with; 0 for one of the program's own.
int refusalFor(ProcessOwner owner);

// Whether the board has processes of its own: without, every id is the machine's.
bool hasProcesses();

}  // namespace simulator

#endif
