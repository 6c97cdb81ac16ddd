#include <tessary/disk_mon.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "tools/sections/sections.h"

namespace tool {

namespace {

const std::vector<Source> kSources{
    {"/proc/diskstats", checkNumber, "is /proc mounted, and has the kernel block devices?"},
    {"/sys/block", checkFolder, "is /sys mounted?"},
};

constexpr double kSectorBytes = 512;  // of the kernel's counters, whatever the disk's own are
constexpr char kDisksChanged[] = "a disk appeared or disappeared during the interval";

class DiskSection : public Section {
 public:
  explicit DiskSection(const Plan& plan) { monitor_.tessary_setSamplingTime(plan.intervalMs); }

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

  Sample read() override {
    Sample sample(1);
    if (changed_) {
      sample[0].absent = absentBecause(kSources[0], kSources[0].target, kDisksChanged).reason;
    } else if (stats_.empty()) {
      sample[0].absent = absentBecause(kSources[0], kSources[0].target, "the machine has no disk").reason;
    } else {
      for (const diskio::_iostats_t& disk : stats_) {
        sample[0].rows.push_back(
            {std::string{disk.deviceName}, rate(disk.sectorsRead), rate(disk.sectorsWritten)});
      }
    }
    return sample;
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

const SectionInfo kDiskSection{"disk",
                               "Disks",
                               {{"disks",
                                 {{"disk", "disk", kPlain, true},
                                  {"read_bytes_per_second", "read", kBytesPerSecond},
                                  {"write_bytes_per_second", "written", kBytesPerSecond}}}},
                               kSources,
                               openSection<DiskSection>};

}  // namespace tool
