#include "tools/commands/table.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>

#include "tools/commands/words.h"
#include "tools/figures/time_units.h"
#include "tools/views/export.h"

namespace tool {

namespace {

constexpr int kShortestIntervalMs = 10;  // the kernel counts CPU time in as many
constexpr int kLongestIntervalMs = 3600000;
constexpr int kMostRows = 100000;

constexpr char kGood[] = "";

// The whole text is a number of the range.
bool readNumber(const std::string& text, int least, int most, int& number) {
  int value = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc{} || result.ptr != end || value < least || value > most) return false;
  number = value;
  return true;
}

std::string notBetween(int least, int most) {
  return "is no number from " + std::to_string(least) + " to " + std::to_string(most);
}

std::vector<std::string> monitorNames() {
  std::vector<std::string> names;
  for (const SectionInfo* const info : allSections()) names.emplace_back(info->schema.name);
  return names;
}

std::vector<std::string> shells() { return {"bash", "zsh"}; }

std::string takeMonitor(Options& options, const std::string& name) {
  const std::vector<std::string> known = monitorNames();
  if (std::find(known.begin(), known.end(), name) == known.end()) return "is none of " + joined(known, ", ");
  options.monitors.push_back(name);
  return kGood;
}

std::string takeInterval(Options& options, const std::string& text) {
  const bool good = readNumber(text, kShortestIntervalMs, kLongestIntervalMs, options.plan.intervalMs);
  return good ? kGood : notBetween(kShortestIntervalMs, kLongestIntervalMs);
}

std::string takeTop(Options& options, const std::string& text) {
  if (text == "all") {
    options.top = std::numeric_limits<std::size_t>::max();
    return kGood;
  }
  int rows = 0;
  if (!readNumber(text, 1, kMostRows, rows)) return notBetween(1, kMostRows) + ", and not \"all\"";
  options.top = static_cast<std::size_t>(rows);
  return kGood;
}

std::string takePid(Options& options, const std::string& text) {
  int pid = 0;
  if (!readNumber(text, 1, std::numeric_limits<int>::max(), pid)) {
    return "is no process id: a number above 0, as ps shows it";
  }
  std::vector<int>& pids = options.plan.pids;
  const auto place = std::lower_bound(pids.begin(), pids.end(), pid);
  if (place == pids.end() || *place != pid) pids.insert(place, pid);
  return kGood;
}

bool readSeconds(const std::string& text, double& seconds) {
  char* end = nullptr;
  seconds = std::strtod(text.c_str(), &end);
  return !text.empty() && *end == '\0' && std::isfinite(seconds) && seconds >= 0;
}

std::string takeDuration(Options& options, const std::string& text) {
  return readSeconds(text, options.duration) && options.duration > 0 ? kGood
                                                                     : "is no number of seconds above 0";
}

std::string takeSync(Options& options, const std::string& text) {
  return readSeconds(text, options.syncSeconds) ? kGood : "is no number of seconds";
}

std::string takeRotation(Options& options, const std::string& text) {
  const std::optional<Rotation> rotation = parseRotation(text);
  if (!rotation) return "is no size (500K, 64M, 2G) and no time (90s, 10min, 1h, 1d)";
  options.rotation = *rotation;
  return kGood;
}

std::string takeCompress(Options& options, const std::string&) {
  options.compress = true;
  return kGood;
}

std::string takeRecording(Options& options, const std::string& text) {
  options.operand = text;
  return text.empty() ? "is no name of a file" : kGood;
}

std::string takeOutput(Options& options, const std::string& text) {
  options.output = text;
  return text.empty() ? "is no name of a file" : kGood;
}

std::vector<std::string> formatNames() {
  std::vector<std::string> names;
  for (const ExportFormat& format : exportFormats()) names.emplace_back(format.name);
  return names;
}

std::string takeFormat(Options& options, const std::string& name) {
  options.format = name;
  return findFormat(name) != nullptr ? kGood : "is none of " + formatList();
}

// 2026-11-21T18:36:22Z, or the seconds since 1970.
std::string takeStart(Options& options, const std::string& text) {
  constexpr int kLatest = std::numeric_limits<int>::max();
  std::tm utc{};
  int seconds = 0;
  const char* const rest = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &utc);
  if (rest != nullptr && (*rest == '\0' || std::string_view{rest} == "Z")) {
    options.startUnixNs = static_cast<std::int64_t>(::timegm(&utc)) * kNanosecondsInSecond;
  } else if (readNumber(text, 0, kLatest, seconds)) {
    options.startUnixNs = seconds * kNanosecondsInSecond;
  } else {
    return "is no time as 2026-11-21T18:36:22Z, in UTC";
  }
  return kGood;
}

// 750, 12:30, 0:12:30
std::string takeAt(Options& options, const std::string& text) {
  constexpr int kMost = 1000000;
  const std::vector<std::string> parts = split(text, ':');
  std::int64_t seconds = 0;
  for (const std::string& part : parts) {
    int number = 0;
    if (parts.size() > 3 || !readNumber(part, 0, kMost, number))
      return "is no time from the start, as 0:12:30";
    seconds = seconds * 60 + number;
  }
  options.atNs = seconds * kNanosecondsInSecond;
  return kGood;
}

std::string takeOnce(Options& options, const std::string&) {
  options.once = true;
  return kGood;
}

std::string takeAll(Options& options, const std::string&) {
  options.all = true;
  return kGood;
}

std::string takeJson(Options& options, const std::string&) {
  options.json = true;
  return kGood;
}

std::string takeWide(Options& options, const std::string&) {
  options.wide = true;
  return kGood;
}

std::string takeScrub(Options& options, const std::string&) {
  options.scrub = true;
  return kGood;
}

std::string takeDiagnostics(Options& options, const std::string&) {
  options.diagnostics = true;
  return kGood;
}

std::string takeCommand(Options& options, const std::string& name) {
  options.operand = name;
  if (findCommand(name) != nullptr) return kGood;
  return "is no command" + suggestion(name, commandNames());
}

std::string takeShell(Options& options, const std::string& name) {
  options.operand = name;
  const std::vector<std::string> known = shells();
  const bool isKnown = std::find(known.begin(), known.end(), name) != known.end();
  return isKnown ? kGood : "is none of " + joined(known, ", ");
}

std::string takeFile(Options& options, const std::string& name) {
  options.files.push_back(name);
  return name.empty() ? "is no name of a file" : kGood;
}

std::string takeWith(Options& options, const std::string& name) {
  options.with.push_back(name);
  return name.empty() ? "is no name of a file" : kGood;
}

std::string takeFigure(Options& options, const std::string& text) {
  const std::optional<Selector> selector = parseSelector(text);
  if (!selector) return "is no name of a figure, as cpu.load_percent or cpu.cores[core=3].load_percent";
  options.figures.push_back(*selector);
  const std::string unknown = unknownIn(*selector, allSchemas());
  return unknown.empty() ? kGood : "is not known: " + unknown;
}

std::string takeJunit(Options& options, const std::string& name) {
  options.junit = name;
  return name.empty() ? "is no name of a file" : kGood;
}

std::string takeHtml(Options& options, const std::string& name) {
  options.html = name;
  return name.empty() ? "is no name of a file" : kGood;
}

std::string takeBudgets(Options& options, const std::string& name) {
  options.budgets = name;
  return name.empty() ? "is no name of a file" : kGood;
}

std::vector<std::string> stops() { return {"limit"}; }

std::string takeStop(Options& options, const std::string& what) {
  options.stopOnLimit = true;
  return what == stops().front() ? kGood : "is not " + stops().front();
}

std::string takeLeast(Options& options, const std::string& text) {
  char* end = nullptr;
  const double percent = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !std::isfinite(percent) || percent < 0)
    return "is no number of percent";
  options.leastPercent = percent;
  return kGood;
}

std::string takeListen(Options& options, const std::string& text) {
  const std::optional<Address> address = parseAddress(text);
  if (!address) return "is no address, as 127.0.0.1:9464";
  options.listen = *address;
  return kGood;
}

// 90s, 10min, 1h, 64M: one way to write times and sizes, with that of a recording's parts.
std::string takeKeep(Options& options, const std::string& text) {
  const std::optional<Rotation> limit = parseRotation(text);
  if (!limit) return "is no time (90s, 10min, 1h, 1d) and no size (64M, 2G)";
  if (limit->bytes != 0) options.keepBytes = limit->bytes;
  if (limit->nanoseconds != 0)
    options.keepSeconds = static_cast<double>(limit->nanoseconds) / kNanosecondsInSecond;
  return kGood;
}

const Option kMonitors{"--monitors", "NAME,..", "Only these", takeMonitor, monitorNames, false, true};
const Option kInterval{"--interval", "MS", "Milliseconds that a sample takes; 1000", takeInterval};
const Option kTop{"--top", "N", "Processes in each table, or \"all\"; 10", takeTop};
const Option kRecordedTop{
    "--top", "N",
    "Processes in each table that join it in a sample, or \"all\"; 50. They stay while they live", takeTop};
const Option kPid{"--pid", "PID,..", "Only these processes", takePid, nullptr, false, true};
const Option kDiagnostics{"--diagnostics", nullptr, "What the library says, on standard error",
                          takeDiagnostics};
const Option kJson{"--json", nullptr, "For programs", takeJson};
const Option kWide{"--wide", nullptr, "All columns, also those that do not fit the terminal", takeWide};
const Option kOutput{"-o,--output", "FILE",  "The file, which is overwritten; - for standard output",
                     takeOutput,    nullptr, true,
                     false,         true};
const Option kDuration{"--duration", "S", "End after this many seconds", takeDuration};
const Option kRotate{"--rotate", "LIMIT",
                     "Begin another file at a size (64M) or after a time (1h): FILE-0001, ..", takeRotation};
const Option kCompress{"--compress", nullptr, "By gzip, as for a name that ends in .gz", takeCompress};
const Option kSync{"--sync", "S", "Seconds that a power cut may take of it; 10", takeSync};
const Option kShownRecording{
    "RECORDING",   "RECORDING", "Show the last sample of this recording instead; - for standard input",
    takeRecording, nullptr,     true};
const Option kRecording{"FILE", "FILE", "A recording; - for standard input", takeRecording, nullptr, true,
                        false,  true};
const Option kExported{"-o,--output", "OUT",   "The file to write; without, or with -, standard output",
                       takeOutput,    nullptr, true};
const Option kFormat{"--format", "FORMAT",
                     "csv, perfetto, openmetrics, html or board; as the name of OUT says", takeFormat,
                     formatNames};
const Option kWideCsv{"--wide", nullptr, "csv: a column a figure, not a line", takeWide};
const Option kStart{"--start", "TIME",
                    "When it began, where its wall clock is missing or wrong: 2026-11-21T18:36:22Z",
                    takeStart};
const Option kWatched{
    "FILE",        "FILE",  "A recording, also one that is still being written; - for standard input",
    takeRecording, nullptr, true};
const Option kAt{"--at", "TIME", "Where to begin in a finished recording: 0:12:30 from its start", takeAt};
const Option kOnce{"--once", nullptr, "Draw one screen and end", takeOnce};
const Option kAll{"--all", nullptr, "All figures, also those of less interest", takeAll};
const Option kCommandName{"COMMAND", "COMMAND", "The command to explain", takeCommand, commandNames};
const Option kShell{"SHELL", "SHELL", "bash or zsh", takeShell, shells, false, false, true};

const Option kFrameInterval{"--interval", "MS", "Milliseconds from one frame to the next; 1000",
                            takeInterval};
const Option kScrub{"--scrub", nullptr, "Without the names of the processes", takeScrub};

const Option kRecordings{
    "RECORDING", "RECORDING", "Two recordings, or those of the base; - for standard input",
    takeFile,    nullptr,     true,
    false,       true,        true};
const Option kWith{"--with", "RECORDING ..", "Those of the new side, where a side has several",
                   takeWith, nullptr,        true,
                   false,    false,          true};
const Option kFigures{
    "--figures", "FIGURE,..", "Only these: cpu.load_percent, process.top[name=navigation].cpu_percent",
    takeFigure,  nullptr,     false,
    true};
const Option kChecked{"FILE", "FILE", "Recordings and, last, their budgets", takeFile, nullptr, true, false,
                      true,   true};
const Option kJunit{"--junit", "FILE", "The results for a build server, too", takeJunit, nullptr, true};
const Option kHtml{"--html", "FILE",  "The recordings over each other, as a page of charts, too",
                   takeHtml, nullptr, true};
const Option kCheck{"--check",   "BUDGETS", "Mark in the recording where it exceeds these, and end with 1",
                    takeBudgets, nullptr,   true};
const Option kStopOn{"--stop-on", "limit", "End at the first limit of --check that is passed", takeStop,
                     stops};
const Option kLeast{"--least", "PERCENT", "Smaller changes of a mean or p95 do not matter; 5", takeLeast};
const Option kServedSources{
    "SOURCE",
    "SOURCE",
    "Recordings that are being written, in files or FIFOs, as front=PATH where there are several; -",
    takeFile,
    nullptr,
    true,
    false,
    false,
    true};
const Option kListen{"--listen", "ADDRESS",
                     "Where to be asked; 127.0.0.1:9464, which this machine alone reaches", takeListen};
const Option kKeep{
    "--keep", "LIMIT,..", "Samples of so long (1h), and no more memory for them than this (256M)",
    takeKeep, nullptr,    false,
    true};

}  // namespace

std::vector<std::string> Option::allNames() const { return split(names, ','); }

const std::vector<Command>& commands() {
  static const std::vector<Command> all{
      {"report",
       "Everything at a glance, over one interval",
       "tessary report --interval 500 --monitors cpu,process --top 5",
       {kShownRecording, kMonitors, kInterval, kTop, kPid, kDiagnostics, kJson, kWide},
       report},
      {"record",
       "Sample after sample into a file of JSON lines, until Ctrl-C",
       "tessary record -o drive.jsonl --duration 600 --interval 1000",
       {kMonitors, kInterval, kRecordedTop, kPid, kDiagnostics, kOutput, kDuration, kRotate, kCompress, kSync,
        kCheck, kStopOn},
       record},
      {"capture",
       "The very texts of all sources, frame by frame, as a board for tessary-board",
       "tessary capture -o field.board.json --duration 10 --scrub",
       {kOutput, kDuration, kFrameInterval, kMonitors, kScrub},
       capture},
      {"watch",
       "A live screen: this machine, a recording, or a stream",
       "adb exec-out tessary record -o - | tessary watch -",
       {kWatched, kAt, kOnce, kMonitors, kInterval, kTop, kPid},
       watch},
      {"serve",
       "Boards for browsers and Prometheus: a live page and metrics",
       "tessary serve front=/run/front.fifo rear=/run/rear.fifo",
       {kServedSources, kListen, kKeep, kMonitors, kInterval, kTop, kPid},
       serve},
      {"summary",
       "A recording in twenty lines: mean, percentiles, extremes, and what was not read",
       "tessary summary drive.jsonl",
       {kRecording, kAll, kJson},
       summary},
      {"export",
       "A recording for other programs: spreadsheets, trace viewers, Prometheus, browsers",
       "tessary export drive.jsonl -o drive.html",
       {kRecording, kExported, kFormat, kWideCsv, kStart},
       exportRecording},
      {"compare",
       "Whether a new build is worse than its base, and by how much",
       "tessary compare base.jsonl new.jsonl",
       {kRecordings, kWith, kFigures, kLeast, kHtml, kJson, kWide},
       compare},
      {"check",
       "Whether recordings keep their budgets",
       "tessary check drive.jsonl budgets.json --junit check.xml",
       {kChecked, kJunit, kJson, kWide},
       check},
      {"doctor",
       "Why a figure is missing: each source, and what to do about it",
       "tessary doctor --monitors gpu,dsp,ddr",
       {kMonitors, kJson, kWide},
       doctor},
      {"selftest", "The library's two test runs of the GPU profiler", "tessary selftest", {}, selftest},
      {"version", "Which build of the library this is", "tessary version", {}, version},
      {"help", "What a command does and takes", "tessary help record", {kCommandName}, help},
      {"completion",
       "The completions of a shell, to be sourced",
       ". <(tessary completion bash)",
       {kShell},
       completion,
       true},
  };
  return all;
}

const Command* findCommand(const std::string& name) {
  const std::vector<Command>& all = commands();
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const Command& command) { return command.name == name; });
  return found != all.end() ? &*found : nullptr;
}

std::vector<std::string> commandNames() {
  std::vector<std::string> names;
  for (const Command& command : commands()) {
    if (!command.isHidden) names.emplace_back(command.name);
  }
  return names;
}

}  // namespace tool
