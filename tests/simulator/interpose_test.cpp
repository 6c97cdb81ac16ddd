#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mntent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "simulator/board/board.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;

constexpr char kZones[] = "/sys/class/thermal";

struct ZoneBoard : Board {
  ZoneBoard() {
    file("/sys/class/thermal/thermal_zone1/temp", "41000\n");
    file("/sys/class/thermal/thermal_zone0/temp", "40000\n");
  }
};

TEST(Interposition, AFolderStaysOneThroughItsDuplicates) {
  ZoneBoard board;
  const int folder = ::open(kZones, O_RDONLY | O_DIRECTORY);
  const int duplicate = ::fcntl(folder, F_DUPFD_CLOEXEC, 3);
  ::close(folder);
  struct stat status {};
  EXPECT_EQ(::fstat(duplicate, &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  struct stat byPath {};
  EXPECT_EQ(::lstat(kZones, &byPath), 0);
  EXPECT_EQ(status.st_ino, byPath.st_ino);
  const int zone = ::openat(duplicate, "thermal_zone1/temp", O_RDONLY);
  EXPECT_GE(zone, 0);
  EXPECT_EQ(::openat(zone, "temp", O_RDONLY), -1);
  ::close(zone);

  // What takes the number of a closed folder is none.
  const int null = ::open("/dev/null", O_RDONLY);
  ASSERT_EQ(::dup2(null, duplicate), duplicate);
  EXPECT_EQ(::openat(duplicate, "thermal_zone1/temp", O_RDONLY), -1);
  EXPECT_EQ(errno, ENOTDIR);
  ::close(null);
  ::close(duplicate);
}

TEST(Interposition, FoldersAreScannedInOrder) {
  ZoneBoard board;
  dirent** entries = nullptr;
  const auto isZone = [](const dirent* entry) { return entry->d_name[0] == 't' ? 1 : 0; };
  ASSERT_EQ(::scandir(kZones, &entries, isZone, ::alphasort), 2);
  EXPECT_STREQ(entries[0]->d_name, "thermal_zone0");
  EXPECT_STREQ(entries[1]->d_name, "thermal_zone1");
  std::free(entries[0]);
  std::free(entries[1]);
  std::free(entries);

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"  // programs call it all the same
  DIR* const folder = ::opendir(kZones);
  dirent entry{};
  dirent* read = nullptr;
  int count = 0;
  while (count < 10 && ::readdir_r(folder, &entry, &read) == 0 && read == &entry) ++count;
  EXPECT_EQ(count, 4);  // with the two that every folder has
  EXPECT_EQ(read, nullptr);
  ::closedir(folder);
#pragma GCC diagnostic pop
}

TEST(Interposition, StreamsSeeAFailingReadAndForgetItWhenTheyAreClosed) {
  ZoneBoard board;
  board.failRead("/sys/class/thermal/thermal_zone0/temp", EIO);
  std::FILE* const stream = std::fopen("/sys/class/thermal/thermal_zone0/temp", "r");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::fgetc(stream), EOF);
  EXPECT_NE(std::ferror(stream), 0);
  EXPECT_EQ(errno, EIO);
  std::fclose(stream);
  EXPECT_EQ(textOf("/sys/class/thermal/thermal_zone1/temp"), "41000\n");

  const int failing = ::open("/sys/class/thermal/thermal_zone0/temp", O_RDONLY);
  std::fclose(::fdopen(failing, "r"));
  EXPECT_EQ(textOf("/sys/class/thermal/thermal_zone1/temp"), "41000\n");
}

TEST(Interposition, CommandsReadAndWriteTheirStreams) {
  Board board;
  board.file("/sys/devices/soc0/machine", "VX4490P\n");
  std::FILE* const reading = ::popen("cat /sys/devices/soc0/machine; exit 3", "re");
  char word[16] = {};
  EXPECT_EQ(std::fscanf(reading, "%15s", word), 1);
  EXPECT_STREQ(word, "VX4490P");
  EXPECT_EQ(::pclose(reading), 3 << 8);
  std::FILE* const writing = ::popen("read word; test \"$word\" = sent", "w");
  std::fputs("sent\n", writing);
  EXPECT_EQ(::pclose(writing), 0);
  EXPECT_EQ(::popen("true", "x"), nullptr);

  struct sigaction noted {};
  noted.sa_handler = [](int) {};
  struct sigaction before {};
  ::sigaction(SIGUSR1, &noted, &before);
  std::FILE* const signalling = ::popen("for i in $(seq 500); do kill -USR1 $PPID; done; exit 3", "w");
  EXPECT_EQ(::pclose(signalling), 3 << 8) << "its end is waited for whatever comes in between";
  ::sigaction(SIGUSR1, &before, nullptr);
}

TEST(Interposition, CommandsMeetTheErrorsOfTheBoard) {
  ZoneBoard board;
  board.failRead("/sys/class/thermal/thermal_zone0/temp", EIO);
  board.refuse("/sys/class/thermal/thermal_zone1/temp", EACCES);
  std::FILE* const reading = ::popen("LC_ALL=C cat /sys/class/thermal/thermal_zone[01]/temp 2>&1", "re");
  std::string texts;
  for (char line[128]; std::fgets(line, sizeof line, reading) != nullptr;) texts += line;
  ::pclose(reading);
  EXPECT_EQ(texts,
            "cat: /sys/class/thermal/thermal_zone0/temp: Input/output error\n"
            "cat: /sys/class/thermal/thermal_zone1/temp: Permission denied\n");
}

// The folders of the calling program are the machine's even where /proc is the board's.
TEST(Interposition, TheProgramsOwnFolderStays) {
  Board board;
  board.folder("/proc");
  EXPECT_EQ(::access("/proc/self/maps", R_OK), 0);
  EXPECT_EQ(::access(("/proc/" + std::to_string(::getpid()) + "/maps").c_str(), R_OK), 0);
  EXPECT_EQ(::access("/proc/1/stat", R_OK), -1);
  // What is mounted is the board's, by whatever name it is asked for.
  board.file("/proc/mounts", "/dev/root / ext4 rw 0 0\nproc /proc proc ro,relatime 0 0\n");
  EXPECT_EQ(textOf("/proc/self/mounts"), textOf("/proc/mounts"));
  EXPECT_EQ(textOf("/etc/mtab"), textOf("/proc/mounts"));
  EXPECT_EQ(textOf("/proc/" + std::to_string(::getpid()) + "/mountinfo"),
            "20 1 0:20 / / rw - ext4 /dev/root rw\n21 1 0:21 / /proc ro,relatime - proc proc ro,relatime\n");
  std::FILE* const table = ::setmntent("/proc/self/mounts", "r");
  ASSERT_NE(table, nullptr);
  const mntent* const first = ::getmntent(table);
  ASSERT_NE(first, nullptr);
  EXPECT_STREQ(first->mnt_fsname, "/dev/root");
  ::endmntent(table);
}

}  // namespace
