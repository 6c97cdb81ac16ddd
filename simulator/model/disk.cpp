#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/model/model.h"

namespace simulator {

namespace {

using DiskFigures = std::array<std::uint64_t, kDiskColumns>;

DiskFigures figuresOf(const DiskFile& disk, Microseconds now) {
  DiskFigures figures;
  for (std::size_t i = 0; i < kDiskColumns; ++i) figures[i] = disk.counters[i].at(now);
  // Not a counter, but what it is now.
  figures[kInProgressColumn] =
      static_cast<std::uint64_t>(disk.counters[kInProgressColumn].perSecond.at(now) / kOne);
  return figures;
}

void appendFigures(std::string& text, const DiskFigures& figures, int sharers) {
  for (const std::uint64_t figure : figures)
    append(text, " %" PRIu64, figure / static_cast<unsigned>(sharers));
  text += '\n';
}

// A digit at the end of the disk's name would run into the partition's number.
std::string partitionName(const std::string& disk, int number) {
  const bool endsInDigit = std::isdigit(static_cast<unsigned char>(disk.back())) != 0;
  return disk + (endsInDigit ? "p" : "") + std::to_string(number);
}

std::string diskstatsText(const BoardFile& file, Microseconds now) {
  std::string text;
  for (const DiskFile& disk : file.disks) {
    const DiskFigures figures = figuresOf(disk, now);
    append(text, "%4d %7d %s", disk.major, disk.minor, disk.name.c_str());
    appendFigures(text, figures, 1);
    for (int number = 1; number <= disk.partitions; ++number) {
      append(text, "%4d %7d %s", disk.major, disk.minor + number, partitionName(disk.name, number).c_str());
      appendFigures(text, figures, disk.partitions);
    }
  }
  return text;
}

// major minor  #blocks  name
// No board describes how large its disks are.
std::string partitionsText(const BoardFile& file) {
  std::string text = "major minor  #blocks  name\n\n";
  for (const DiskFile& disk : file.disks) {
    append(text, "%4d  %7d          0 %s\n", disk.major, disk.minor, disk.name.c_str());
    for (int number = 1; number <= disk.partitions; ++number)
      append(text, "%4d  %7d          0 %s\n", disk.major, disk.minor + number,
             partitionName(disk.name, number).c_str());
  }
  return text;
}

std::string numberOf(const DiskFile& disk) {
  return std::to_string(disk.major) + ":" + std::to_string(disk.minor);
}

std::string folderOf(const DiskFile& disk) { return "/sys/block/" + disk.name; }

std::optional<Node> nodeAt(const Board& board, const std::string& path) {
  Board::Opening opening = board.look(path);
  if (!opening.mine || opening.error == ENOENT) return std::nullopt;
  if (opening.isFolder) {
    const std::vector<std::string> entries = board.list(path);
    opening.node.entries.assign(entries.begin() + 2, entries.end());  // without "." and ".."
  }
  return std::move(opening.node);
}

// The disks' folders by another name: on a machine these are links.
Residents linksToDisks(const Board& board, const SharedFile& file, std::string (*nameOf)(const DiskFile&)) {
  return {[file, nameOf] {
            std::vector<std::string> names;
            for (const DiskFile& disk : file->disks) names.push_back(nameOf(disk));
            return names;
          },
          [&board, file, nameOf](std::string_view below) -> std::optional<Node> {
            const std::string_view name = below.substr(0, below.find('/'));
            for (const DiskFile& disk : file->disks) {
              if (nameOf(disk) == name)
                return nodeAt(board, folderOf(disk).append(below.substr(name.size())));
            }
            return std::nullopt;
          }};
}

void wrapDisk(BoardFile& file, Fault& fault) {
  for (DiskFile& disk : file.disks) {
    if (disk.name == fault.name) return wrapCounter(file, fault, kDiskKeys, disk.counters);
  }
  failAsMissing(file, fault.namePlace);
}

}  // namespace

const FaultTarget kDiskFaults{"disk", FaultTarget::Names::kText, "wrap", wrapDisk, nullptr};

void layOutDisks(Board& board, const SharedFile& file) {
  board.file("/proc/diskstats", [&board, file] { return diskstatsText(*file, boardTime(board)); });
  board.file("/proc/partitions", [file] { return partitionsText(*file); });
  board.residents("/sys/class/block",
                  linksToDisks(board, file, [](const DiskFile& disk) { return disk.name; }));
  board.residents("/sys/dev/block", linksToDisks(board, file, numberOf));
  for (const DiskFile& disk : file->disks) {
    const std::string folder = folderOf(disk) + "/";
    board.file(folder + "dev", numberOf(disk) + "\n");
    board.file(folder + "queue/hw_sector_size", "512\n");
    board.file(folder + "queue/logical_block_size", "512\n");
    board.file(folder + "queue/rotational", "0\n");
    board.file(folder + "removable", "0\n");
    board.file(folder + "ro", "0\n");
    board.file(folder + "size", "0\n");
    board.file(folder + "stat", [&board, file, &disk] {
      std::string text;
      appendFigures(text, figuresOf(disk, boardTime(board)), 1);
      return text;
    });
  }
}

}  // namespace simulator
