// A working folder on the board, and the paths that count from it.

#include <dirent.h>
#include <fcntl.h>
#include <fts.h>
#include <ftw.h>
#include <glob.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "tests/simulator/board_text.h"

namespace {

using simulator::Board;

struct WorkingFolderBoard : Board {
  WorkingFolderBoard() {
    folder("/proc");
    file("/proc/stat", "cpu 1\n");
    file("/sys/class/net/eth0/mtu", "1500\n");
    file("/sys/class/net/eth0/statistics/rx_bytes", "77\n");
    file("/sys/class/net/a=b%c/mtu", "9000\n");
  }
  ~WorkingFolderBoard() { EXPECT_EQ(::chdir(before.c_str()), 0); }
  WorkingFolderBoard(const WorkingFolderBoard&) = delete;
  WorkingFolderBoard& operator=(const WorkingFolderBoard&) = delete;

  static std::string here() {
    char path[PATH_MAX];
    return ::getcwd(path, sizeof path) != nullptr ? path : ::strerrorname_np(errno);
  }

  const std::string before = here();
};

TEST(WorkingFolder, RelativePathsCountFromTheBoard) {
  WorkingFolderBoard board;
  ASSERT_EQ(::chdir("/sys/class/net"), 0);
  EXPECT_EQ(WorkingFolderBoard::here(), "/sys/class/net");
  EXPECT_EQ(textOf("eth0/mtu"), "1500\n");
  ASSERT_EQ(::chdir("./eth0/../eth0/statistics"), 0);
  EXPECT_EQ(textOf("rx_bytes"), "77\n");
  EXPECT_EQ(textOf("../mtu"), "1500\n");
  EXPECT_EQ(textOf("../../../../../proc/stat"), "cpu 1\n");

  struct stat relative {};
  struct stat absolute {};
  ASSERT_EQ(::stat(".", &relative), 0);  // as a shell compares them
  ASSERT_EQ(::stat("/sys/class/net/eth0/statistics", &absolute), 0);
  EXPECT_EQ(relative.st_ino, absolute.st_ino);
  EXPECT_EQ(::access("rx_bytes", R_OK), 0);
  std::FILE* const stream = std::fopen("rx_bytes", "r");
  ASSERT_NE(stream, nullptr);
  std::fclose(stream);

  // What is not the board's from there is the machine's.
  EXPECT_EQ(::access(("../../../../.." + board.before).c_str(), R_OK), 0);
  EXPECT_EQ(::open("nothing", O_RDONLY), -1);
  EXPECT_EQ(::open("new", O_WRONLY | O_CREAT, 0600), -1);
}

TEST(WorkingFolder, IsRefusedAsByTheKernel) {
  WorkingFolderBoard board;
  board.refuse("/sys/class/net/eth0", EACCES);
  const auto errorOf = [](int result) { return result == 0 ? 0 : errno; };
  EXPECT_EQ(errorOf(::chdir("/sys/class/net/wlan9")), ENOENT);
  EXPECT_EQ(errorOf(::chdir("/proc/stat")), ENOTDIR);
  EXPECT_EQ(errorOf(::chdir("/sys/class/net/eth0")), EACCES);
  EXPECT_EQ(WorkingFolderBoard::here(), board.before);
  ASSERT_EQ(::chdir("/sys/class/net"), 0);
  char path[sizeof "/sys/class/net"];
  EXPECT_EQ(::getcwd(path, sizeof path - 1), nullptr);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_STREQ(::getcwd(path, sizeof path), "/sys/class/net");
}

TEST(WorkingFolder, ComesFromAnOpenFolder) {
  WorkingFolderBoard board;
  const int folder = ::open("/sys/class/net/eth0", O_RDONLY | O_DIRECTORY);
  const int file = ::open("/proc/stat", O_RDONLY);
  EXPECT_EQ(::fchdir(file), -1);
  EXPECT_EQ(errno, ENOTDIR);
  ASSERT_EQ(::fchdir(folder), 0);
  char* const here = ::get_current_dir_name();
  EXPECT_STREQ(here, "/sys/class/net/eth0");
  std::free(here);
  EXPECT_EQ(::close(folder), 0);
  EXPECT_EQ(::close(file), 0);
  EXPECT_EQ(textOf("mtu"), "1500\n");
}

// Relative to a folder of the machine's a path may be the board's, too.
TEST(WorkingFolder, OfTheMachineLeadsOntoTheBoard) {
  WorkingFolderBoard board;
  ASSERT_EQ(::chdir("/"), 0);
  EXPECT_EQ(textOf("proc/stat"), "cpu 1\n");
  ASSERT_EQ(::chdir("/sys"), 0);
  EXPECT_EQ(textOf("class/net/eth0/mtu"), "1500\n");
}

TEST(WorkingFolder, IsInherited) {
  WorkingFolderBoard board;
  for (const char* const path : {"/sys/class/net/eth0", "/sys/class/net/a=b%c"}) {
    ASSERT_EQ(::chdir(path), 0);
    const pid_t child = ::fork();
    if (child == 0) ::_exit(WorkingFolderBoard::here() == path && ::chdir("..") == 0 ? 0 : 1);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(WorkingFolderBoard::here(), path);

    std::FILE* const shell = ::popen("pwd; cat mtu", "r");
    ASSERT_NE(shell, nullptr);
    char text[256] = {};
    EXPECT_GT(std::fread(text, 1, sizeof text - 1, shell), 0U);
    EXPECT_EQ(::pclose(shell), 0);
    EXPECT_EQ(text, path + std::string{"\n"} + textOf(path + std::string{"/mtu"}));
  }
}

// posix_spawn changes folders and opens files by calls within the C library.
TEST(WorkingFolder, OfASpawnedCommandMayBeTheBoards) {
  WorkingFolderBoard board;
  const int folder = ::open("/sys/class/net", O_RDONLY | O_DIRECTORY);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const int first = ::dup(ends[1]);  // the number that is free
  ::close(first);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  EXPECT_EQ(::posix_spawn_file_actions_addopen(&actions, 0, "/proc/stat", O_RDONLY, 0), 0);
  EXPECT_EQ(::posix_spawn_file_actions_addopen(&actions, 5, "/proc/nothing", O_RDONLY, 0), ENOENT);
  EXPECT_EQ(::posix_spawn_file_actions_adddup2(&actions, ends[1], 1), 0);
  EXPECT_EQ(::posix_spawn_file_actions_addfchdir_np(&actions, folder), 0);
  EXPECT_EQ(::posix_spawn_file_actions_addchdir_np(&actions, "/sys/class/net/eth0"), 0);
  EXPECT_EQ(::posix_spawn_file_actions_addchdir_np(&actions, "/proc/stat"), ENOTDIR);
  std::string words[] = {"sh", "-c", "read -r line; echo \"$line\"; readlink /proc/self/cwd"};
  char* const arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  pid_t child = -1;
  ASSERT_EQ(::posix_spawn(&child, "/bin/sh", &actions, nullptr, arguments, ::environ), 0);
  ::posix_spawn_file_actions_destroy(&actions);
  const int next = ::dup(ends[1]);
  EXPECT_EQ(next, first) << "what the actions had open is closed with them";
  ::close(next);
  ::close(ends[1]);
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  char text[256] = {};
  EXPECT_GT(::read(ends[0], text, sizeof text - 1), 0);
  // The command is not on the board itself: it is in the folder that stands for the board's.
  EXPECT_EQ(std::string{text}.find("cpu 1\n/"), 0U) << text;
  EXPECT_NE(std::string{text}.find("=sys=class=net=eth0"), std::string::npos) << text;
  ::close(ends[0]);
  ::close(folder);
}

// A child of vfork has a folder of its own, but its parent's memory.
TEST(WorkingFolder, OfAChildIsNotItsParents) {
  WorkingFolderBoard board;
  ASSERT_EQ(::chdir("/sys/class/net"), 0);
  EXPECT_EQ(WorkingFolderBoard::here(), "/sys/class/net");
  const pid_t child = ::vfork();
  if (child == 0) ::_exit(::chdir("eth0") == 0 && ::access("mtu", R_OK) == 0 ? 0 : 1);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(WorkingFolderBoard::here(), "/sys/class/net");
  EXPECT_EQ(textOf("eth0/mtu"), "1500\n");
}

std::string realPath(const char* path) {
  char* const real = ::realpath(path, nullptr);
  const std::string text = real != nullptr ? real : ::strerrorname_np(errno);
  std::free(real);
  return text;
}

TEST(WorkingFolder, PathsAreResolvedThere) {
  WorkingFolderBoard board;
  ASSERT_EQ(::chdir("/sys/class/net/eth0"), 0);
  EXPECT_EQ(realPath("../eth0/./mtu"), "/sys/class/net/eth0/mtu");
  EXPECT_EQ(realPath("nothing"), "ENOENT");
  EXPECT_EQ(realPath(("../../../.." + board.before).c_str()), board.before);
  char link[PATH_MAX];
  EXPECT_EQ(::readlink("mtu", link, sizeof link), -1);
  EXPECT_EQ(errno, EINVAL);
  const ssize_t length = ::readlink("/proc/self/cwd", link, sizeof link);
  EXPECT_EQ(std::string(link, length > 0 ? static_cast<std::size_t>(length) : 0), "/sys/class/net/eth0");
}

std::vector<std::string> globbed(const char* pattern) {
  glob_t found{};
  std::vector<std::string> paths;
  if (::glob(pattern, 0, nullptr, &found) == 0) paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  ::globfree(&found);
  return paths;
}

TEST(Walks, PatternsMatchTheBoard) {
  WorkingFolderBoard board;
  using Paths = std::vector<std::string>;
  EXPECT_EQ(globbed("/sys/class/net/*/mtu"), (Paths{"/sys/class/net/a=b%c/mtu", "/sys/class/net/eth0/mtu"}));
  ASSERT_EQ(::chdir("/sys/class/net"), 0);
  EXPECT_EQ(globbed("e*/*"), (Paths{"eth0/mtu", "eth0/statistics"}));
}

std::vector<std::string> visited;
std::string skipped;

int visit(const char* path, const struct stat*, int type, FTW* place) {
  visited.push_back(std::to_string(place->level) +
                    (type == FTW_F    ? "f"
                     : type == FTW_DP ? "p"
                                      : "d") +
                    " " + (path + place->base) + (::access(path + place->base, F_OK) == 0 ? " here" : ""));
  return path + place->base == skipped ? FTW_SKIP_SUBTREE : FTW_CONTINUE;
}

TEST(Walks, VisitTheBoard) {
  WorkingFolderBoard board;
  using Lines = std::vector<std::string>;
  visited.clear();
  skipped = "statistics";
  ASSERT_EQ(::chdir("/sys/class"), 0);
  EXPECT_EQ(::nftw("net/eth0/", visit, 8, FTW_PHYS | FTW_CHDIR | FTW_ACTIONRETVAL), 0);
  EXPECT_EQ(visited, (Lines{"0d eth0 here", "1f mtu here", "1d statistics here"}));
  EXPECT_EQ(WorkingFolderBoard::here(), "/sys/class");
  visited.clear();
  skipped.clear();
  EXPECT_EQ(::nftw("net/eth0", visit, 8, FTW_DEPTH), 0);
  EXPECT_EQ(visited, (Lines{"1f mtu", "2f rx_bytes", "1p statistics", "0p eth0"}));
  EXPECT_EQ(::nftw("/proc/nothing", visit, 8, 0), -1);
  // Unless the walk was asked to act on it, it ends with whatever is not 0.
  visited.clear();
  skipped = "mtu";
  EXPECT_EQ(::nftw("net/eth0", visit, 8, FTW_PHYS), FTW_SKIP_SUBTREE);
  EXPECT_EQ(visited, (Lines{"0d eth0", "1f mtu"}));

  std::string net = "/sys/class/net";
  char* const paths[] = {net.data(), nullptr};
  testing::internal::CaptureStderr();
  EXPECT_EQ(::fts_open(paths, FTS_PHYSICAL, nullptr), nullptr);
  EXPECT_EQ(errno, EOPNOTSUPP);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "tessary-board: fts of /sys/class/net would show the machine's and is refused\n");
}

}  // namespace
