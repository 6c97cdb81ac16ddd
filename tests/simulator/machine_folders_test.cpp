// Where the board's tree and the machine's meet: folders of the machine that lead onto the board, folders that
// both have entries in, and the kinds of file systems.

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/model/model.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;
using Names = std::vector<std::string>;

// By a detour, since an emulator has a folder of its own in the root's place.
constexpr char kRoot[] = "/usr/..";

Names listed(DIR* folder) {
  Names names;
  while (const dirent* const entry = ::readdir(folder)) names.emplace_back(entry->d_name);
  std::sort(names.begin(), names.end());
  return names;
}

Names listed(const char* path) {
  DIR* const folder = ::opendir(path);
  if (folder == nullptr) return {::strerrorname_np(errno)};
  Names names = listed(folder);
  ::closedir(folder);
  return names;
}

std::string textAt(int folder, const char* path) {
  const int file = ::openat(folder, path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return ::strerrorname_np(errno);
  std::string text(1 << 12, '\0');
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(::read(file, text.data(), text.size()), 0)));
  ::close(file);
  return text;
}

TEST(MachineFolders, LeadOntoTheBoard) {
  Board board;
  board.file("/proc/stat", "cpu 1\n");
  board.file("/sys/class/net/eth0/mtu", "1500\n");
  const int root = ::open(kRoot, O_PATH | O_DIRECTORY);
  EXPECT_EQ(textAt(root, "proc/stat"), "cpu 1\n");
  EXPECT_EQ(textAt(root, "usr/../sys/class/net/eth0/mtu"), "1500\n");
  EXPECT_EQ(::faccessat(root, "sys/class/net/wlan9", F_OK, 0), -1);
  struct stat status {};
  struct stat absolute {};
  EXPECT_EQ(::fstatat(root, "proc/stat", &status, 0), 0);
  EXPECT_EQ(::stat("/proc/stat", &absolute), 0);
  EXPECT_EQ(status.st_ino, absolute.st_ino);
  EXPECT_EQ(::faccessat(root, "etc/passwd", R_OK, 0), 0);
  EXPECT_EQ(textAt(root, ""), "ENOENT");
  ::close(root);

  DIR* const classes = ::opendir("/sys/class");
  ASSERT_NE(classes, nullptr);
  EXPECT_EQ(textAt(::dirfd(classes), "net/eth0/mtu"), "1500\n");
  EXPECT_EQ(textAt(::dirfd(classes), "net/lo/mtu"), "ENOENT");  // which every machine has
  ::closedir(classes);
  const int usr = ::open("/usr", O_RDONLY | O_DIRECTORY);
  EXPECT_EQ(textAt(usr, "../proc/stat"), "cpu 1\n");
  ::close(usr);
}

TEST(MachineFolders, ListWhatTheBoardAdds) {
  Board board;
  board.device("/dev/profiler", [](unsigned long, void*) { return 0; });
  board.file("/dev/zero", "");  // the machine has it, too
  board.remove("/dev/full");
  Names names = listed("/dev");
  const auto count = [&](const char* name) { return std::count(names.begin(), names.end(), name); };
  EXPECT_EQ(count("profiler"), 1);
  EXPECT_EQ(count("zero"), 1);
  EXPECT_EQ(count("null"), 1);
  EXPECT_EQ(count("full"), 0);

  dirent** entries = nullptr;
  const auto isProfiler = [](const dirent* entry) {
    return entry->d_name == std::string{"profiler"} ? 1 : 0;
  };
  const int root = ::open(kRoot, O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(::scandirat(root, "dev", &entries, isProfiler, nullptr), 1);
  std::free(entries[0]);
  std::free(entries);

  // The folder is the machine's own, and moves as one.
  DIR* const folder = ::fdopendir(::openat(root, "dev", O_RDONLY | O_DIRECTORY));
  ASSERT_NE(folder, nullptr);
  EXPECT_EQ(::faccessat(::dirfd(folder), "null", R_OK, 0), 0);
  ::readdir(folder);
  const long place = ::telldir(folder);
  const std::string second = ::readdir(folder)->d_name;
  EXPECT_EQ(listed(folder).size() + 2, names.size());
  ::seekdir(folder, place);
  EXPECT_EQ(::readdir(folder)->d_name, second);
  board.file("/dev/late", "");
  ::rewinddir(folder);
  EXPECT_EQ(listed(folder).size(), names.size() + 1);
  ::closedir(folder);
  ::close(root);
}

constexpr char kSmallBoard[] = R"({"model": "x", "cores": [{}], "disks": [{"name": "sda"}],
  "processes": [{"pid": 770007, "name": "one"}], "interfaces": [{"name": "eth0"}]})";

TEST(MachineFolders, OfProcAndSysAreNotSeenBelowAWholeBoard) {
  Board board;
  simulator::loadBoardText(board, kSmallBoard);
  EXPECT_EQ(listed("/sys"), (Names{".", "..", "block", "class", "dev", "devices"}));
  EXPECT_EQ(textOf("/sys/kernel/mm/transparent_hugepage/enabled"), "ENOENT");
  EXPECT_EQ(listed("/sys/devices/virtual"), (Names{"ENOENT"}));
  // By the program's own folder, too, which is the machine's otherwise.
  EXPECT_EQ(textOf("/proc/self/net/dev"), textOf("/proc/net/dev"));
  EXPECT_EQ(textOf("/proc/" + std::to_string(::getpid()) + "/net/wireless"), "ENOENT");
  EXPECT_NE(textOf("/proc/thread-self/comm"), "ENOENT");
}

TEST(MachineFolders, KeepWhatAProcessShowsToItsUserAlone) {
  Board board;
  simulator::loadBoardText(board, kSmallBoard);
  const std::string folder = "/proc/770007/";
  for (const char* const name :
       {"environ", "maps", "smaps", "exe", "fd/0", "cwd/etc/passwd", "map_files/1-2"})
    EXPECT_EQ(textOf(folder + name), "EACCES") << name;
  EXPECT_EQ(listed((folder + "fd").c_str()), (Names{"EACCES"}));
  char target[64];
  for (const char* const name : {"exe", "cwd", "root"}) {
    EXPECT_EQ(::readlink((folder + name).c_str(), target, sizeof target), -1);
    EXPECT_EQ(errno, EACCES);
    struct stat status {};
    ASSERT_EQ(::lstat((folder + name).c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(::stat((folder + name).c_str(), &status), -1);
    EXPECT_EQ(errno, EACCES);
  }
  EXPECT_EQ(::readlink((folder + "stat").c_str(), target, sizeof target), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(textOf(folder + "cgroup"), "0::/\n");
  std::map<std::string, unsigned char> types;
  DIR* const listing = ::opendir(folder.c_str());
  ASSERT_NE(listing, nullptr);
  while (const dirent* const entry = ::readdir(listing)) types[entry->d_name] = entry->d_type;
  ::closedir(listing);
  EXPECT_EQ(types["environ"], DT_REG);
  EXPECT_EQ(types["exe"], DT_LNK);
  EXPECT_EQ(types["task"], DT_DIR);
}

TEST(MachineFolders, NodesAreOfTheFileSystemsOfTheirPlace) {
  Board board;
  simulator::loadBoardText(board, kSmallBoard);
  struct statfs system {};
  ASSERT_EQ(::statfs("/proc/770007/stat", &system), 0);
  EXPECT_EQ(system.f_type, PROC_SUPER_MAGIC);
  const int file = ::open("/sys/class/net/eth0/mtu", O_RDONLY);
  ASSERT_EQ(::fstatfs(file, &system), 0);  // not that of the file in memory
  EXPECT_EQ(system.f_type, SYSFS_MAGIC);
  struct statvfs counts {};
  ASSERT_EQ(::fstatvfs(file, &counts), 0);
  EXPECT_EQ(counts.f_blocks, 0U);
  ::close(file);
  ASSERT_EQ(::statvfs("/sys/class", &counts), 0);
  EXPECT_EQ(counts.f_bsize, 4096U);
  EXPECT_EQ(::statfs("/proc/770008", &system), -1);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
