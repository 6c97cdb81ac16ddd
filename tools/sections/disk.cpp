#include <tessary/disk_mon.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "tools/sections/section.h"
#include "tools/sections/source.h"

namespace tool {

namespace {

const Node kDiskstats{"/proc/diskstats", checkNumber, "is /proc mounted, and has the kernel block devices?"};
const Node kFolder{"/sys/block", checkFolder, "is /sys mounted?"};

struct Disk {
  std::string name;
  Value read;
  Value written;
};

constexpr Column<Disk> kColumns[] = {
    {"disk", "disk", kPlain, "The kernel's name of the whole disk.", get<&Disk::name>, kLabel},
    {"read_bytes_per_second", "read", kBytesPerSecond, "Bytes read from it, from /proc/diskstats.",
     get<&Disk::read>, kFigure, kMoreIsWorse},
    {"write_bytes_per_second", "written", kBytesPerSecond, "Bytes written to it, from /proc/diskstats.",
     get<&Disk::written>, kFigure, kMoreIsWorse},
};
constexpr Table<Disk> kDisks{"disks", "disk", kColumns};

constexpr double kSectorBytes = 512;  // of the kernel's counters, whatever the disk's own are
constexpr char kDisksChanged[] = "a disk appeared or disappeared during the interval";

class DiskSection : public Section {
 public:
  explicit DiskSection(const Plan&) {}

  void begin(int waitMs) override { monitor_.tessary_setSamplingTime(waitMs); }

  std::vector<std::function<void()>> waits() override {
    return {[this] {
      Stopwatch watch;
      try {
        stats_ = monitor_.tessary_getIOStats();
        changed_ = !sameDisks();
      } catch (const std::out_of_range&) {
        changed_ = true;
      }
      seconds_ = watch.lap();
    }};
  }

  std::vector<TableSample> read() override {
    TableSample sample;
    if (changed_) {
      sample.absent = absentBecause(kDiskstats, kDisksChanged).reason;
    } else if (stats_.empty()) {
      sample.absent = absentBecause(kDiskstats, "the machine has no disk").reason;
    } else {
      for (const diskio::_iostats_t& disk : stats_) {
        sample.rows.push_back(
            kDisks.row({disk.deviceName, rate(disk.sectorsRead), rate(disk.sectorsWritten)}));
      }
    }
    return {sample};
  }

 private:
  // The library pairs the two readings by position.
  bool sameDisks() const {
    const auto& first = monitor_.implementation->firstSample;
    const auto& second = monitor_.implementation->secondSample;
    return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                      [](const diskio::_iostats_t& a, const diskio::_iostats_t& b) {
                        return std::strcmp(a.deviceName, b.deviceName) == 0;
                      });
  }

  Value rate(std::uint64_t sectors) const {
    if (wrapped(sectors)) return Absent{"/proc/diskstats: its counter went back"};
    return finite(static_cast<double>(sectors) * kSectorBytes / seconds_, "no time has passed");
  }

  diskio::DISK_MON monitor_;
  std::vector<diskio::_iostats_t> stats_;
  bool changed_ = false;
  double seconds_ = 0;
};

}  // namespace

const SectionInfo& diskSection() {
  static const SectionInfo info{
      {"disk", "Disks", {kDisks.info()}}, {kDiskstats, kFolder}, openSection<DiskSection>};
  return info;
}

}  // namespace tool
