// A trace of counters in the protobuf format of Perfetto. Tracks: board > section > figure, or section > item
// > figure; the figures of processes lie on the tracks of the processes. Times are those of the boot clock,
// which is the format's own; a snapshot a minute says what the wall clock was.
//
// A counter holds its last value in the viewer. So each section has tracks "not read" with a slice for as
// long as a figure was absent, and its reason.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <protozero/pbf_builder.hpp>
#include <set>
#include <utility>

#include "tools/views/absences.h"
#include "tools/views/export.h"
#include "tools/views/words.h"

namespace tool {

namespace {

// The field numbers of the format, of those messages that are written here.
enum class Trace : protozero::pbf_tag_type { kPacket = 1 };
enum class TracePacket : protozero::pbf_tag_type {
  kClockSnapshot = 6,
  kTimestamp = 8,
  kSequenceId = 10,
  kTrackEvent = 11,
  kSequenceFlags = 13,
  kTrackDescriptor = 60
};
enum class ClockSnapshot : protozero::pbf_tag_type { kClocks = 1 };
enum class Clock : protozero::pbf_tag_type { kId = 1, kTimestamp = 2 };
enum class TrackDescriptor : protozero::pbf_tag_type {
  kUuid = 1,
  kName = 2,
  kProcess = 3,
  kParentUuid = 5,
  kCounter = 8,
  kChildOrdering = 11,
  kSiblingOrderRank = 12,
  kDescription = 14,
  kSiblingMergeBehavior = 15
};
enum class ProcessDescriptor : protozero::pbf_tag_type { kPid = 1, kName = 6 };
enum class CounterDescriptor : protozero::pbf_tag_type { kUnit = 3, kUnitName = 6 };
enum class TrackEvent : protozero::pbf_tag_type {
  kDebugAnnotations = 4,
  kType = 9,
  kTrackUuid = 11,
  kName = 23,
  kCounterValue = 30,
  kDoubleCounterValue = 44
};
enum class DebugAnnotation : protozero::pbf_tag_type { kString = 6, kName = 10 };

enum EventType { kSliceBegin = 1, kSliceEnd = 2, kCounter = 4 };
constexpr std::uint32_t kBootTimeClock = 6;
constexpr std::uint32_t kRealTimeClock = 1;
constexpr std::uint32_t kUnitBytes = 3;
constexpr std::uint32_t kExplicitOrder = 3;
constexpr std::uint32_t kNoMerge = 2;
constexpr std::uint32_t kSequence = 1;      // the writer of all packets
constexpr std::uint32_t kStateCleared = 1;  // with the first of them
constexpr std::int64_t kSnapshotEveryNs = 60000000000;

template <typename Tag>
using Message = protozero::pbf_builder<Tag>;
using Uuid = std::uint64_t;

constexpr char kPidKey[] = "pid";

// Rows whose first label is a process's number.
bool isOfProcesses(const TableInfo& table) {
  return !table.columns.empty() && table.columns[0].role == kLabel &&
         std::string_view{table.columns[0].key} == kPidKey;
}

// What a counter of the column counts: the scale leads from the figure to that unit.
struct CounterUnit {
  bool bytes;
  std::string name;
  double scale;
};

CounterUnit unitOf(const ColumnInfo& column) {
  const Unit& unit = column.format.unit;
  if (std::string_view{unit.base} == "bytes") return {true, "", unit.toBase};
  return {false, unit.name, 1};
}

class Perfetto : public Export {
 public:
  explicit Perfetto(Write write) : write_{std::move(write)} {}

  void begin(const Origin& origin) override {
    if (origin.unixTimeNs) addSnapshot(origin.bootTimeNs, *origin.unixTimeNs);
    board_ = nextUuid_++;
    const std::string name = clean(boardOf(origin));
    addTrack(board_, 0, name.empty() ? "board" : name, [&](Message<TrackDescriptor>& track) {
      track.add_uint32(TrackDescriptor::kChildOrdering, kExplicitOrder);
      track.add_string(TrackDescriptor::kDescription, clean(origin.kernel));
    });
    flush();
  }

  void add(const Report& report) override {
    if (report.unixTimeNs && report.bootTimeNs >= nextSnapshotNs_) {
      addSnapshot(report.bootTimeNs, *report.unixTimeNs);
    }
    forEachFigure(report, [&](const Figure& figure) {
      if (figure.column.role == kFigure && isNumber(figure.value)) addValue(report.bootTimeNs, figure);
    });
    addGaps(report);
    lastNs_ = report.bootTimeNs;
    flush();
  }

  void end() override {
    for (const Absence& absence : absences_.present()) endSlice(lastNs_, absence);
    flush();
  }

 private:
  struct Lane {
    Uuid track;
    std::string content;  // of the slice that is open; empty: none is
  };

  template <typename Fill>
  void addPacket(std::int64_t timeNs, Fill fill) {
    Message<Trace> trace{buffer_};
    Message<TracePacket> packet{trace, Trace::kPacket};
    if (timeNs >= 0) packet.add_uint64(TracePacket::kTimestamp, static_cast<std::uint64_t>(timeNs));
    packet.add_uint32(TracePacket::kSequenceId, kSequence);
    if (first_) packet.add_uint32(TracePacket::kSequenceFlags, kStateCleared);
    first_ = false;
    fill(packet);
  }

  void addSnapshot(std::int64_t bootNs, std::int64_t unixNs) {
    addPacket(bootNs, [&](Message<TracePacket>& packet) {
      Message<ClockSnapshot> snapshot{packet, TracePacket::kClockSnapshot};
      const std::pair<std::uint32_t, std::int64_t> clocks[] = {{kBootTimeClock, bootNs},
                                                               {kRealTimeClock, unixNs}};
      for (const auto& [id, time] : clocks) {
        Message<Clock> clock{snapshot, ClockSnapshot::kClocks};
        clock.add_uint32(Clock::kId, id);
        clock.add_uint64(Clock::kTimestamp, static_cast<std::uint64_t>(time));
      }
    });
    nextSnapshotNs_ = bootNs + kSnapshotEveryNs;
  }

  template <typename Fill>
  void addTrack(Uuid uuid, Uuid parent, const std::string& name, Fill fill) {
    constexpr std::int64_t kNoTime = -1;
    addPacket(kNoTime, [&](Message<TracePacket>& packet) {
      Message<TrackDescriptor> track{packet, TracePacket::kTrackDescriptor};
      track.add_uint64(TrackDescriptor::kUuid, uuid);
      track.add_string(TrackDescriptor::kName, name);
      if (parent != 0) {
        track.add_uint64(TrackDescriptor::kParentUuid, parent);
        track.add_int32(TrackDescriptor::kSiblingOrderRank, ++rank_);
      }
      fill(track);
    });
  }

  // A track that holds others.
  Uuid groupOf(const std::string& key, Uuid parent, const std::string& name) {
    const auto [known, isNew] = tracks_.try_emplace(key, nextUuid_);
    if (!isNew) return known->second;
    ++nextUuid_;
    addTrack(known->second, parent, name, [](Message<TrackDescriptor>& track) {
      track.add_uint32(TrackDescriptor::kChildOrdering, kExplicitOrder);
    });
    return known->second;
  }

  Uuid sectionOf(const SectionSchema& section) { return groupOf(section.name, board_, section.title); }

  Uuid processOf(const Figure& figure, const std::string& labels) {
    const auto [known, isNew] = tracks_.try_emplace(std::string{kPidKey} + " " + labels, nextUuid_);
    if (!isNew) return known->second;
    ++nextUuid_;
    const std::string pid = itemOf(figure.table, figure.row);
    const std::string name = labels.size() > pid.size() ? labels.substr(pid.size() + 1) : pid;
    addTrack(known->second, 0, name, [&](Message<TrackDescriptor>& track) {
      Message<ProcessDescriptor> process{track, TrackDescriptor::kProcess};
      process.add_int32(ProcessDescriptor::kPid, std::atoi(pid.c_str()));
      process.add_string(ProcessDescriptor::kName, name);
    });
    return known->second;
  }

  Uuid parentOf(const Figure& figure) {
    const std::string labels = labelsOf(figure.table, figure.row);
    if (isOfProcesses(figure.table)) return processOf(figure, labels);
    const Uuid section = sectionOf(figure.section);
    if (figure.table.isFields()) return section;
    return groupOf(std::string{figure.section.name} + "." + figure.table.key + " " + labels, section,
                   std::string{figure.table.item} + " " + labels);
  }

  Uuid counterOf(const Figure& figure) {
    const auto [known, isNew] = tracks_.try_emplace(pathOf(figure), 0);
    if (!isNew) return known->second;
    Uuid& uuid = known->second;
    const Uuid parent = parentOf(figure);
    uuid = nextUuid_++;
    addTrack(uuid, parent, figure.column.heading, [&](Message<TrackDescriptor>& track) {
      track.add_string(TrackDescriptor::kDescription, figure.column.description);
      const CounterUnit unit = unitOf(figure.column);
      Message<CounterDescriptor> counter{track, TrackDescriptor::kCounter};
      if (unit.bytes) {
        counter.add_uint32(CounterDescriptor::kUnit, kUnitBytes);
      } else {
        counter.add_string(CounterDescriptor::kUnitName, unit.name);
      }
    });
    return uuid;
  }

  template <typename Fill>
  void addEvent(std::int64_t timeNs, Uuid track, EventType type, Fill fill) {
    addPacket(timeNs, [&](Message<TracePacket>& packet) {
      Message<TrackEvent> event{packet, TracePacket::kTrackEvent};
      event.add_uint32(TrackEvent::kType, type);
      event.add_uint64(TrackEvent::kTrackUuid, track);
      fill(event);
    });
  }

  void addValue(std::int64_t timeNs, const Figure& figure) {
    const double scale = unitOf(figure.column).scale;
    addEvent(timeNs, counterOf(figure), kCounter, [&](Message<TrackEvent>& event) {
      const auto* const whole = std::get_if<std::int64_t>(&figure.value);
      if (whole != nullptr) {
        event.add_int64(TrackEvent::kCounterValue, *whole * static_cast<std::int64_t>(scale));
      } else {
        event.add_double(TrackEvent::kDoubleCounterValue, numberOf(figure.value) * scale);
      }
    });
  }

  // -- what was not read

  void addGaps(const Report& report) {
    const Absences::Change change = absences_.add(report);
    const std::int64_t startNs = report.bootTimeNs - static_cast<std::int64_t>(report.intervalMs * 1e6);
    for (const Absence& absence : change.ended) endSlice(std::max(lastNs_, startNs), absence);
    for (const Absence& absence : change.begun) beginSlice(absence);
  }

  // Slices of one track must not cross: what is absent at the same time lies in lanes of its own.
  Lane& laneOf(const SectionSchema& section, const std::string& content) {
    std::vector<Lane>& lanes = lanes_[&section];
    const auto found =
        std::find_if(lanes.begin(), lanes.end(), [&](const Lane& lane) { return lane.content == content; });
    if (found != lanes.end()) return *found;
    const Uuid parent = sectionOf(section);
    Lane& lane = lanes.emplace_back(Lane{nextUuid_++, {}});
    addTrack(lane.track, parent, "not read", [](Message<TrackDescriptor>& track) {
      track.add_uint32(TrackDescriptor::kSiblingMergeBehavior, kNoMerge);
    });
    return lane;
  }

  static std::string contentOf(const Absence& absence) { return absence.what + ": " + absence.reason; }

  void beginSlice(const Absence& absence) {
    Lane& lane = laneOf(*absence.section, {});
    lane.content = contentOf(absence);
    addEvent(absence.fromNs, lane.track, kSliceBegin, [&](Message<TrackEvent>& event) {
      event.add_string(TrackEvent::kName, absence.what);
      Message<DebugAnnotation> annotation{event, TrackEvent::kDebugAnnotations};
      annotation.add_string(DebugAnnotation::kName, "reason");
      annotation.add_string(DebugAnnotation::kString, absence.reason);
    });
  }

  void endSlice(std::int64_t timeNs, const Absence& absence) {
    Lane& lane = laneOf(*absence.section, contentOf(absence));
    lane.content.clear();
    addEvent(timeNs, lane.track, kSliceEnd, [](Message<TrackEvent>&) {});
  }

  void flush() {
    write_(buffer_);
    buffer_.clear();
  }

  Write write_;
  std::string buffer_;
  bool first_ = true;
  std::int64_t nextSnapshotNs_ = 0;
  std::int64_t lastNs_ = 0;
  Uuid nextUuid_ = 1;
  Uuid board_ = 0;
  std::int32_t rank_ = 0;
  std::map<std::string, Uuid> tracks_;
  Absences absences_;
  std::map<const SectionSchema*, std::vector<Lane>> lanes_;
};

}  // namespace

std::unique_ptr<Export> openPerfetto(Write write, const ExportOptions&) {
  return std::make_unique<Perfetto>(std::move(write));
}

}  // namespace tool
