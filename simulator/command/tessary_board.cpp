// tessary-board: runs a program on a simulated board, lists the boards and shows one.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/board/environment.h"
#include "simulator/command/playback.h"
#include "simulator/command/unpack.h"
#include "simulator/command/way.h"
#include "simulator/model/model.h"

namespace {

using namespace simulator;
namespace fs = std::filesystem;

constexpr int kUsage = 2;
constexpr int kCannotRun = 126;  // as a shell has it
constexpr int kNotFound = 127;

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The build tree and an installed copy have the same shape.
fs::path besideExecutable(const char* relative) {
  return (fs::read_symlink("/proc/self/exe").parent_path() / relative).lexically_normal();
}

fs::path boardsFolder() { return besideExecutable(TESSARY_BOARDS_FROM_BIN); }

fs::path findBoard(const std::string& board) {
  const std::string extension = fs::path{board}.extension();
  const bool isPath = board.find('/') != std::string::npos || extension == ".json" || extension == ".jsonl" ||
                      extension == ".gz";
  fs::path path = isPath ? fs::absolute(board) : boardsFolder() / (board + ".json");
  if (!isPath && !fs::exists(path))
    throw Failure{"there is no board " + board + "; 'tessary-board list' shows those that there are"};
  return path;
}

// Laid out once, so that every mistake in it shows here.
SharedFile readWholeBoard(const std::string& path, std::uint64_t seed, Playback playback = {}) {
  Board board;
  auto file = std::make_shared<const BoardFile>(readBoardFile(path, seed, playback));
  layOut(board, file);
  return file;
}

// -- run

struct RunOptions {
  std::string board;
  std::uint64_t seed = kDefaultSeed;
  std::string time = kRealTime;
  double from = 0;  // seconds
  double speed = 1;
  std::string seam = kAutomaticSeam;
  bool machineNetwork = false;
  bool isStrict = false;
  bool isVerbose = false;
  std::vector<std::string> command;
};

int run(RunOptions options) {
  if (options.command.empty()) throw Failure{"no command: tessary-board run BOARD -- COMMAND .."};
  const fs::path path = findBoard(options.board);
  const bool isStepped = options.time == kSteppedTime;
  // For a program of that board, which could not start this one itself.
  const char* const board = std::getenv(kBoardVariable);
  const bool isNested = board != nullptr && board == path && std::getenv(kTimesVariable) != nullptr;
  const Playback playback = isNested ? playbackOfEnvironment()
                                     : Playback{std::llround(options.from * kMicrosecondsInSecond),
                                                std::llround(options.speed * kOne)};
  const ReadableBoard readable{path};
  readWholeBoard(readable.path(), options.seed, playback);
  if (isStepped && options.seam == kNotifySeam)
    throw Failure{"--seam notify is for real time: programs read the clock without a call"};

  const ChosenWay chosen = chooseWay(options.command[0], options.seam, isStepped);
  if (chosen.way == Way::kNone) {
    std::cerr << "tessary-board: " << chosen.reason << ": "
              << (options.isStrict ? "refused\n" : "it will see the machine\n");
    if (options.isStrict) return kCannotRun;
  } else if (options.isVerbose) {
    std::cerr << "tessary-board: " << chosen.reason << ": "
              << (chosen.way == Way::kNotify ? "its system calls are answered\n"
                                             : "a library is preloaded\n");
  }
  if (chosen.way == Way::kNotify) {
    Environment environment;
    environment.prependCommands(besideExecutable(TESSARY_BOARD_COMMANDS_FROM_BIN));
    ::environ = const_cast<char**>(environment.variables());
    return runNotified({readable.path(), options.seed, playback, isNested ? std::getenv(kTimesVariable) : "",
                        options.machineNetwork, std::move(options.command)});
  }

  const fs::path library = besideExecutable(TESSARY_BOARD_LIBRARY_FROM_BIN);
  if (!fs::exists(library)) throw Failure{library.string() + " is not there"};
  if (library.string().find_first_of(" :") != std::string::npos)
    throw Failure{library.string() + ": a path with a blank or a colon cannot be preloaded"};

  Environment environment;
#ifdef TESSARY_BOARD_OF_HOST
  // For the emulator to hand to the program, not for the build machine's linker, which starts the emulator.
  environment.set("QEMU_SET_ENV", "LD_PRELOAD=" + library.string());
#else
  const char* const preloaded = std::getenv("LD_PRELOAD");
  // After what is preloaded already: a sanitizer's runtime insists on being the first.
  environment.set("LD_PRELOAD",
                  (preloaded != nullptr ? std::string{preloaded} + ":" : "") + library.string());
  environment.set(kCommandVariable, fs::read_symlink("/proc/self/exe"));
#endif
  const std::string times = isNested ? std::getenv(kTimesVariable) : ProcessTimes::create();
  const std::string unpacked = ProcessTimes::boardBeside(times);
  if (readable.isUnpacked()) readable.copyTo(unpacked);
  environment.set(kBoardVariable, readable.isUnpacked() ? unpacked : path.string());
  environment.set(kSeedVariable, std::to_string(options.seed));
  environment.set(kFromVariable, std::to_string(playback.from));
  environment.set(kSpeedVariable, std::to_string(playback.speed));
  environment.set(kTimeVariable, options.time);
  environment.set(kTimesVariable, times);
  if (options.machineNetwork) environment.set(kMachineNetworkVariable, "1");
  environment.prependCommands(besideExecutable(TESSARY_BOARD_COMMANDS_FROM_BIN));
  ::environ = const_cast<char**>(environment.variables());

  std::vector<char*> arguments;
  for (std::string& argument : options.command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  ::execvp(arguments[0], arguments.data());
  const int error = errno;
  std::cerr << "tessary-board: " << options.command[0] << ": " << std::strerror(error) << '\n';
  return error == ENOENT ? kNotFound : kCannotRun;
}

// -- list

int list() {
  std::vector<fs::path> paths;
  for (const auto& entry : fs::directory_iterator{boardsFolder()}) {
    if (entry.path().extension() == ".json") paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  int status = EXIT_SUCCESS;
  for (const fs::path& path : paths) {
    try {
      const BoardFile board = readBoardFile(path);
      std::printf("%-12s %s\n", path.stem().c_str(), board.description.c_str());
    } catch (const std::exception& error) {
      std::cerr << "tessary-board: " << error.what() << '\n';
      status = EXIT_FAILURE;
    }
  }
  return status;
}

// -- show

// Names may hold what a terminal obeys.
void printRow(const char* title, const std::string& text) {
  if (text.empty()) return;
  std::string shown;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isControl = byte < ' ' || byte == 0x7f;
    if (isControl) {
      append(shown, "\\x%02x", byte);
    } else {
      shown += character;
    }
  }
  std::printf("%-16s %s\n", title, shown.c_str());
}

template <typename Items, typename Describe>
std::string joined(const Items& items, Describe describe) {
  constexpr std::size_t kShown = 8;
  std::string text;
  std::size_t shown = 0;
  for (const auto& item : items) {
    if (shown == kShown) return text + " and " + std::to_string(items.size() - kShown) + " more";
    text += (shown++ == 0 ? "" : ", ") + describe(item);
  }
  return text;
}

void printCores(const std::vector<CoreFile>& cores) {
  for (std::size_t first = 0, next = 0; first < cores.size(); first = next) {
    const CoreFile& core = cores[first];
    const auto isAlike = [&](const CoreFile& other) {
      return other.capacity == core.capacity && other.minKHz == core.minKHz && other.maxKHz == core.maxKHz;
    };
    while (next < cores.size() && isAlike(cores[next])) ++next;
    std::string text;
    append(text, "%zu to %zu: capacity %d", first, next - 1, core.capacity);
    if (core.maxKHz != 0) append(text, ", %lld to %lld MHz", core.minKHz / 1000LL, core.maxKHz / 1000LL);
    printRow(first == 0 ? "cores" : "", text);
  }
}

void printFaults(const std::vector<Fault>& faults) {
  const char* title = "faults";
  for (const Fault& fault : faults) {
    std::string text;
    append(text, "at %.3f s", static_cast<double>(fault.span.from) / kMicrosecondsInSecond);
    if (fault.span.to != kForever) {
      append(text, " for %.3f s",
             static_cast<double>(fault.span.to - fault.span.from) / kMicrosecondsInSecond);
    }
    printRow(title, text + ", " + describe(fault));
    title = "";
  }
}

int show(const std::string& name, bool asJson) {
  const fs::path path = findBoard(name);
  const ReadableBoard readable{path};
  const SharedFile laidOut = readWholeBoard(readable.path(), kDefaultSeed);
  const BoardFile& board = *laidOut;
  if (asJson) {
    std::cout << std::ifstream{readable.path()}.rdbuf();
    return EXIT_SUCCESS;
  }
  const auto nameOf = [](const auto& item) { return item.name; };
  printRow("board", path.stem().string() + (board.description.empty() ? "" : ", " + board.description));
  printRow("file", path);
  printRow("model", board.model);
  printRow("platform", board.platform);
  printRow("SoC", board.soc);
  if (board.featureId) printRow("feature id", std::to_string(*board.featureId));
  printCores(board.cores);
  printRow("thermal zones", joined(board.zones, [](const ZoneFile& zone) { return zone.type; }));
  printRow("cooling devices", joined(board.coolingDevices, [](const auto& device) { return device.type; }));
  printRow("processes", joined(board.processes, nameOf));
  printRow("disks", joined(board.disks, nameOf));
  printRow("interfaces", joined(board.interfaces, nameOf));
  if (board.gpu) printRow("GPU metrics", joined(board.gpu->metrics, nameOf));
  printRow("DSPs", joined(board.dsps, nameOf));
  if (board.ddr) printRow("DDR", board.hasNewerDdr() ? "newer interface" : "older interface");
  printFaults(board.faults);
  return EXIT_SUCCESS;
}

// What comes after "--" is the command's, whatever it looks like.
std::vector<std::string> takeCommand(std::vector<std::string>& arguments) {
  const auto end = std::find(arguments.begin(), arguments.end(), "--");
  std::vector<std::string> command;
  if (end != arguments.end()) command.assign(end + 1, arguments.end());
  arguments.erase(end, arguments.end());
  return command;
}

int runCommandLine(int count, char** values) {
  CLI::App app{"Runs programs on a simulated board.", "tessary-board"};
  app.footer(
      "Example: tessary-board run vx4490p -- tessary report\nA board is a name that 'list' shows, or a "
      "file.");
  app.set_version_flag("--version", "tessary-board " TESSARY_VERSION);
  app.require_subcommand(1);

  RunOptions options;
  auto* const runCommand =
      app.add_subcommand("run", "Run a command, and what it starts, on a board: run BOARD -- COMMAND ..");
  runCommand->footer(
      "Example: tessary-board run hostile --time stepped --seed 7 -- sh -c 'sleep 2; cat /proc/stat'\n"
      "The exit code is the command's; 126 or 127 when it cannot be run or found, 2 for a mistake in the "
      "usage.");
  runCommand->add_option("BOARD", options.board, "A name that 'list' shows, or a file")->required();
  runCommand->add_option("--seed", options.seed, "What the figures' noise comes from")->capture_default_str();
  runCommand
      ->add_option("--time", options.time,
                   "real, or stepped: time passes by the program's waits alone, which return at once")
      ->check(CLI::IsMember({kRealTime, kSteppedTime}))
      ->capture_default_str();
  constexpr double kLatest = 1e9;
  constexpr double kFastest = 1000;
  runCommand->add_option("--from", options.from, "Of a recording: begin so many seconds from its start")
      ->check(CLI::Range(0.0, kLatest));
  runCommand->add_option("--speed", options.speed, "Of a recording: how many of its seconds pass in one")
      ->check(CLI::Range(1 / kFastest, kFastest))
      ->capture_default_str();
  runCommand
      ->add_option(
          "--seam", options.seam,
          "Where the board stands: preload, in front of the C library; notify, in front of the kernel, for "
          "programs without it, in real time alone; auto, as the program needs it")
      ->check(CLI::IsMember({kAutomaticSeam, kPreloadSeam, kNotifySeam}))
      ->capture_default_str();
  runCommand->add_flag("--machine-network", options.machineNetwork,
                       "Let the program see the machine's network configuration, which is refused otherwise");
  runCommand->add_flag("--strict", options.isStrict, "Refuse a program that would see the machine");
  runCommand->add_flag("-v,--verbose", options.isVerbose, "Say which way the program gets onto the board");

  auto* const listCommand = app.add_subcommand("list", "List the boards");
  listCommand->footer("Example: tessary-board list");

  std::string shown;
  bool asJson = false;
  auto* const showCommand = app.add_subcommand("show", "Show what is on a board and what goes wrong with it");
  showCommand->footer("Example: tessary-board show hostile");
  showCommand->add_option("BOARD", shown, "A name that 'list' shows, or a file")->required();
  showCommand->add_flag("--json", asJson, "The board's file, to begin one of your own with");

  std::vector<std::string> arguments{values + 1, values + count};
  options.command = takeCommand(arguments);
  std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
  try {
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? EXIT_SUCCESS : kUsage;
  }
  if (runCommand->parsed()) return run(std::move(options));
  return listCommand->parsed() ? list() : show(shown, asJson);
}

}  // namespace

int main(int count, char** values) {
  try {
    return runCommandLine(count, values);
  } catch (const std::exception& error) {
    std::cerr << "tessary-board: " << error.what() << '\n';
    return kUsage;
  }
}
