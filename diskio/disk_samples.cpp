#include <unistd.h>

#include <cstring>

#include "base/path.h"
#include "base/reading.h"
#include "diskio/disk_log.h"
#include "diskio/diskstats_text.h"
#include "tessary/disk_mon.h"

namespace diskio {

namespace {

constexpr char kDiskStats[] = "/proc/diskstats";

constexpr uint16_t kRamDiskMajor = 1;
constexpr uint16_t kLoopDeviceMajor = 7;

// Partitions have no entry of their own there.
bool isWholeDisk(const char* name) {
  tessary::Path<64> path;
  return ::access(path.join("/sys/block/", name), R_OK) == 0;
}

bool isReported(const _diskstats_t& disk) {
  return disk.majorNumber != kRamDiskMajor && disk.majorNumber != kLoopDeviceMajor &&
         isWholeDisk(disk.deviceName);
}

template <std::size_t kTo, std::size_t kFrom>
void copyName(char (&target)[kTo], const char (&name)[kFrom]) {
  static_assert(kTo <= kFrom);
  std::memcpy(target, name, kTo - 1);
  target[kTo - 1] = '\0';
}

}  // namespace

std::vector<_diskstats_t>& DISK_MON::DISK_MON_INTERFACE::getDiskStats() {
  parsed.clear();
  const tessary::Descriptor file = tessary::openForReading(kDiskStats);
  if (!file) {
    TESSARY_LOG_ERROR(kLog, "DISK_MON : %s can't be accessed!!!\n", kDiskStats);
    return parsed;
  }
  tessary::TextBuffer buffer;
  std::string_view text = buffer.readAll(file.get());
  char line[kLineBytes];
  while (!text.empty()) {
    _diskstats_t disk{};
    if (!parseLine(takeLine(text, line), disk)) {
      TESSARY_LOG_ERROR(kLog, "DISK_MON : sscanf failed!\n");
    } else if (isReported(disk)) {
      parsed.push_back(disk);
    }
  }
  return parsed;
}

void DISK_MON::DISK_MON_INTERFACE::assign_stats(std::vector<_diskstats_t>& disks,
                                                std::vector<_iostats_t>& target) {
  target.clear();
  target.reserve(disks.size());
  for (const _diskstats_t& disk : disks) {
    _iostats_t& record = target.emplace_back();
    copyName(record.deviceName, disk.deviceName);
    record.sectorsRead = disk.sectorsRead;
    record.sectorsWritten = disk.sectorsWritten;
  }
}

// By position, and with at(): a second sample that is too short is the caller's to hear of.
void DISK_MON::DISK_MON_INTERFACE::calc_delta(std::vector<_iostats_t>& first,
                                              std::vector<_iostats_t>& second) {
  result.clear();
  result.reserve(first.size());
  for (std::size_t i = 0; i < first.size(); ++i) {
    const _iostats_t& before = first.at(i);
    const _iostats_t& after = second.at(i);
    _iostats_t& record = result.emplace_back(before);
    record.sectorsRead = after.sectorsRead - before.sectorsRead;
    record.sectorsWritten = after.sectorsWritten - before.sectorsWritten;
  }
}

}  // namespace diskio
