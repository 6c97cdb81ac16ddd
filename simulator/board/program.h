// What a program is, seen from its file: which of the ways onto a board reaches it.
#ifndef TESSARY_SIMULATOR_BOARD_PROGRAM_H
#define TESSARY_SIMULATOR_BOARD_PROGRAM_H

#include <optional>
#include <string>

namespace simulator {

enum class Linking {
  kDynamic,        // with the C library that the simulator is built for: it can be preloaded
  kOtherCLibrary,  // dynamically, with another one
  kStatic,
  kGo,                 // makes its system calls itself, however it is linked
  kOtherArchitecture,  // 32-bit ones included
};

struct Program {
  Linking linking = Linking::kDynamic;
  bool gainsPrivileges = false;  // by set-user-id, set-group-id or capabilities: nothing is preloaded then
};

// None: there is no such file, or the kernel would not take it for a program. Of a script, its interpreter.
std::optional<Program> lookAtProgram(const std::string& path);

// Where execvp finds the command; none where it does not.
std::optional<std::string> findProgram(const std::string& command);

}  // namespace simulator

#endif
