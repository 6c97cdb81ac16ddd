// What each disk reads and writes, over half a second.
#include <tessary/disk_mon.h>

#include <cstdio>
#include <stdexcept>

int main() {
  constexpr int kMilliseconds = 500;
  constexpr double kSectorBytes = 512;  // the kernel's, whatever the disk's are
  diskio::DISK_MON disks;
  disks.tessary_setSamplingTime(kMilliseconds);
  try {
    for (const diskio::_iostats_t& disk : disks.tessary_getIOStats()) {
      const auto perSecond = [](std::uint64_t sectors) {
        return static_cast<double>(sectors) * kSectorBytes * 1000 / kMilliseconds / 1e6;
      };
      std::printf("%-12s %8.1f MB/s read %8.1f MB/s written\n", disk.deviceName, perSecond(disk.sectorsRead),
                  perSecond(disk.sectorsWritten));
    }
  } catch (const std::out_of_range&) {
    return 1;  // a disk was taken out in between: the readings do not match
  }
  return disks.tessary_getNumOfIOStats() == 0;
}
