#include "simulator/command/way.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "simulator/board/board.h"
#include "simulator/board/program.h"
#include "simulator/model/model.h"
#include "simulator/notify/filter.h"
#include "simulator/notify/launch.h"

namespace simulator {

namespace {

const char* describe(Linking linking) {
  switch (linking) {
    case Linking::kDynamic:
      break;
    case Linking::kOtherCLibrary:
      return " has another C library";
    case Linking::kStatic:
      return " is statically linked";
    case Linking::kGo:
      return " is a Go program";
    case Linking::kOtherArchitecture:
      return " is for another architecture";
  }
  return " is dynamically linked";
}

bool readsMayFail(const BoardFile& file) {
  return std::any_of(file.faults.begin(), file.faults.end(),
                     [](const Fault& fault) { return fault.kind == Fault::Kind::kRead; });
}

}  // namespace

ChosenWay chooseWay(const std::string& command, const std::string& seam, bool isStepped) {
  const std::optional<std::string> path = findProgram(command);
  const std::optional<Program> program = path ? lookAtProgram(*path) : std::nullopt;
  const Linking linking = program ? program->linking : Linking::kDynamic;
  const std::string name = command + describe(linking);
#ifdef TESSARY_BOARD_OF_HOST
  if (linking == Linking::kOtherArchitecture) return {Way::kPreload, command + " is taken for the emulator"};
#endif
  if (linking == Linking::kOtherArchitecture) return {Way::kNone, name};
  if (program && program->gainsPrivileges) return {Way::kNone, command + " gains privileges when it starts"};
  const bool asksForNotify = seam == kNotifySeam;
  if (linking == Linking::kDynamic && !asksForNotify) return {Way::kPreload, name};
  if (isStepped) return {Way::kNone, name + ", and time is stepped"};
  if (seam == kPreloadSeam) return {Way::kNone, name + ", and cannot be preloaded"};
  if (!filterIsSupported()) return {Way::kNone, name + ", and this kernel cannot ask about its system calls"};
  return {Way::kNotify, name};
}

int runNotified(const NotifiedRun& run) {
  BoardFile file = readBoardFile(run.board, run.seed, run.playback);
  // These programs have the machine's from the kernel, without a call.
  file.ticksPerSecond = static_cast<int>(::sysconf(_SC_CLK_TCK));
  const FilterOptions filter{readsMayFail(file), run.machineNetwork};
  const ProcessTimes* const times = run.times.empty() ? nullptr : ProcessTimes::attach(run.times);
  Board board{times != nullptr ? Clock::since(times->origin(), times->date()) : Clock{Clock::Mode::kReal}};
  board.keepHistory(false);
  layOut(board, std::make_shared<const BoardFile>(std::move(file)));
  return runSupervised(board, filter, run.command);
}

}  // namespace simulator
