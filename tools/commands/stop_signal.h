// How a command that goes on for long is ended from outside.
#ifndef TESSARY_TOOLS_COMMANDS_STOP_SIGNAL_H
#define TESSARY_TOOLS_COMMANDS_STOP_SIGNAL_H

namespace tool {

// Ctrl-C, the termination signal and the end of the terminal, as a descriptor that becomes readable. The
// second of them ends the program at once, whatever it waits for.
class StopSignal {
 public:
  StopSignal();

  static int descriptor();
  static bool raised();
};

}  // namespace tool

#endif
