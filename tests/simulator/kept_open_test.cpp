// Nodes that a program keeps open, and what the file system says of them.

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/close_range.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "simulator/board/board.h"

namespace {

using simulator::Board;

constexpr char kUptime[] = "/proc/uptime";

// A node whose text is the board's time in milliseconds.
struct TimeBoard : Board {
  TimeBoard() {
    file(kUptime, [this] { return std::to_string(clock().now() / 1000000) + " ms\n"; });
  }
};

std::string readText(int file) {
  char text[64];
  const ssize_t length = ::read(file, text, sizeof text);
  return length < 0 ? ::strerrorname_np(errno) : std::string(text, static_cast<std::size_t>(length));
}

TEST(KeptOpen, ADescriptorRendersAnewAtItsStart) {
  TimeBoard board;
  const int file = ::open(kUptime, O_RDONLY);
  ::usleep(5000);
  EXPECT_EQ(readText(file), "5 ms\n");  // the first read renders, not the opening
  EXPECT_EQ(readText(file), "");
  ::usleep(95000);
  EXPECT_EQ(readText(file), "");
  ::lseek(file, 0, SEEK_SET);
  EXPECT_EQ(readText(file), "100 ms\n");

  ::usleep(8000);
  char text[64] = {};
  EXPECT_EQ(::pread(file, text, sizeof text, 3), 4);  // goes on in what was rendered
  EXPECT_STREQ(text, " ms\n");
  EXPECT_EQ(::pread(file, text, sizeof text, 0), 7);
  EXPECT_STREQ(text, "108 ms\n");
  ::usleep(1000);
  iovec parts[] = {{text, 3}, {text + 10, 20}};
  EXPECT_EQ(::preadv(file, parts, 2, 0), 7);
  EXPECT_EQ(std::string(text, 3), "109");
  board.limitReads(kUptime, 2);
  EXPECT_EQ(::preadv(file, parts, 2, 0), 2);  // no second part behind a first that is not full
  board.limitReads(kUptime, 0);

  const int duplicate = ::dup(file);
  ::usleep(1000);
  ::lseek(duplicate, 0, SEEK_SET);
  EXPECT_EQ(readText(file), "110 ms\n");
  board.file(kUptime, "1\n");
  ::lseek(duplicate, 0, SEEK_SET);
  EXPECT_EQ(readText(file), "1\n");  // and nothing of the longer text behind it
  ::close(duplicate);

  // Marked for a program that is started, it is open here all the same.
  ASSERT_EQ(::close_range(static_cast<unsigned>(file), static_cast<unsigned>(file), CLOSE_RANGE_CLOEXEC), 0);
  board.file(kUptime, "2\n");
  ::lseek(file, 0, SEEK_SET);
  EXPECT_EQ(readText(file), "2\n");
  ::close(file);
}

TEST(KeptOpen, AReadInPiecesStaysWithinOneText) {
  Board board;
  char letter = 'a';
  board.file("/proc/stat", [&] { return std::string(100000, letter); });
  const int file = ::open("/proc/stat", O_RDONLY);
  std::string text;
  char piece[4096];
  for (ssize_t length; (length = ::read(file, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(length));
    letter = 'b';
    ::usleep(10000);
  }
  EXPECT_EQ(text, std::string(100000, 'a'));
  ::close(file);
}

TEST(KeptOpen, AStreamRendersAnewWhenItIsRewound) {
  TimeBoard board;
  std::FILE* const stream = std::fopen(kUptime, "re");
  int milliseconds = -1;
  EXPECT_EQ(std::fscanf(stream, "%d", &milliseconds), 1);
  EXPECT_EQ(milliseconds, 0);
  ::usleep(7000);
  std::rewind(stream);
  ::usleep(1000);
  EXPECT_EQ(std::fscanf(stream, "%d", &milliseconds), 1);
  EXPECT_EQ(milliseconds, 8);
  ::usleep(1000);
  EXPECT_EQ(std::fseek(stream, 0, SEEK_SET), 0);
  EXPECT_EQ(std::fscanf(stream, "%d", &milliseconds), 1);
  EXPECT_EQ(milliseconds, 9);
  ::usleep(1000);
  ::lseek(::fileno(stream), 0, SEEK_SET);
  EXPECT_EQ(readText(::fileno(stream)), "10 ms\n");
  EXPECT_EQ(::fcntl(::fileno(stream), F_GETFD), FD_CLOEXEC);
  std::fclose(stream);

  board.file("/vendor/etc/name", "seven\n");
  std::FILE* const plain = std::fopen("/vendor/etc/name", "r");
  EXPECT_EQ(std::fseek(plain, -2, SEEK_END), 0);
  EXPECT_EQ(std::ftell(plain), 4);
  EXPECT_EQ(std::fgetc(plain), 'n');
  std::fclose(plain);

  std::ifstream library{kUptime};  // reads the descriptor of its stream
  library >> milliseconds;
  EXPECT_EQ(milliseconds, 10);
}

// Copies within the kernel are reads of the node.
TEST(KeptOpen, ACopyWithinTheKernelIsARead) {
  TimeBoard board;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const int file = ::open(kUptime, O_RDONLY);
  ::usleep(7000);
  EXPECT_EQ(::sendfile(ends[1], file, nullptr, 64), 5);
  EXPECT_EQ(readText(ends[0]), "7 ms\n");
  ::usleep(1000);
  off64_t start = 0;
  EXPECT_EQ(::splice(file, &start, ends[1], nullptr, 64, 0), 5);
  EXPECT_EQ(readText(ends[0]), "8 ms\n");
  ::close(file);

  board.failRead(kUptime, EIO);
  const int failing = ::open(kUptime, O_RDONLY);
  const int copy = ::memfd_create("copy", 0U);
  for (const ssize_t sent :
       {::sendfile(ends[1], failing, nullptr, 64), ::splice(failing, nullptr, ends[1], nullptr, 64, 0),
        ::copy_file_range(failing, nullptr, copy, nullptr, 64, 0)}) {
    EXPECT_EQ(sent, -1);
    EXPECT_EQ(errno, EIO);
  }
  for (const int descriptor : {failing, copy, ends[0], ends[1]}) ::close(descriptor);
}

TEST(KeptOpen, WhatIsGoneSaysSo) {
  Board board;
  board.file("/proc/12/stat", "12 (a)\n");
  board.file("/sys/class/net/eth0/mtu", "1500\n");
  board.folder("/proc");
  const int process = ::open("/proc/12/stat", O_RDONLY);
  const int network = ::open("/sys/class/net/eth0/mtu", O_RDONLY);
  board.remove("/proc/12");
  board.remove("/sys/class/net/eth0");
  ::usleep(2000);
  EXPECT_EQ(readText(process), "ESRCH");
  EXPECT_EQ(readText(network), "ENODEV");
  ::close(process);
  ::close(network);
}

// A number that was a node's, and is closed and given out again by calls that are not seen.
TEST(KeptOpen, ANumberThatIsAnothersNowIsLeftAlone) {
  TimeBoard board;
  const int file = ::open(kUptime, O_RDONLY);
  std::FILE* const own = std::tmpfile();
  std::fputs("own\n", own);
  std::fflush(own);
  ASSERT_EQ(::syscall(SYS_dup3, ::fileno(own), file, 0), file);
  ::usleep(5000);
  ::lseek(file, 0, SEEK_SET);
  EXPECT_EQ(readText(file), "own\n");
  ::close(file);
  std::fclose(own);
}

void expectSame(const struct stat& one, const struct stat& other) {
  EXPECT_EQ(one.st_ino, other.st_ino);
  EXPECT_EQ(one.st_dev, other.st_dev);
  EXPECT_EQ(one.st_mode, other.st_mode);
  EXPECT_EQ(one.st_size, other.st_size);
  EXPECT_EQ(one.st_mtim.tv_sec, other.st_mtim.tv_sec);
  EXPECT_EQ(one.st_mtim.tv_nsec, other.st_mtim.tv_nsec);
}

TEST(Status, OfAPathItsDescriptorAndItsEntryAgree) {
  Board board;
  board.file("/proc/meminfo", "MemTotal: 1 kB\n");
  board.file("/sys/class/net/eth0/mtu", "1500\n");
  board.file("/vendor/etc/name", "seven\n\n");
  board.device("/dev/profiler", [](unsigned long, void*) { return 0; });
  const struct {
    const char* path;
    off_t size;
  } kNodes[] = {{"/proc/meminfo", 0},
                {"/sys/class/net/eth0/mtu", 4096},
                {"/vendor/etc/name", 7},
                {"/sys/class/net/eth0", 0},
                {"/dev/profiler", 0}};
  for (const auto& [path, size] : kNodes) {
    SCOPED_TRACE(path);
    struct stat byPath {};
    struct stat byDescriptor {};
    ASSERT_EQ(::stat(path, &byPath), 0);
    const int file = ::open(path, O_RDONLY);
    ASSERT_EQ(::fstat(file, &byDescriptor), 0);
    expectSame(byPath, byDescriptor);
    EXPECT_EQ(byPath.st_size, size);
    struct statx extended {};
    ASSERT_EQ(::statx(file, "", AT_EMPTY_PATH, STATX_BASIC_STATS, &extended), 0);
    EXPECT_EQ(extended.stx_ino, byPath.st_ino);
    EXPECT_EQ(extended.stx_size, static_cast<std::uint64_t>(size));
    EXPECT_EQ(extended.stx_mtime.tv_sec, byPath.st_mtim.tv_sec);
    char link[64] = {};
    EXPECT_GT(::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), link, sizeof link - 1), 0);
    EXPECT_STREQ(link, path);
    EXPECT_EQ(::access(path, W_OK) == 0 ? 0 : errno, S_ISCHR(byPath.st_mode) ? 0 : EACCES);
    if (S_ISREG(byPath.st_mode)) {
      const off_t end = ::lseek(file, 0, SEEK_END);
      EXPECT_EQ(end < 0 ? -errno : end, std::strcmp(path, "/proc/meminfo") == 0 ? -EINVAL : size);
    }
    ::close(file);
  }
  DIR* const folder = ::opendir("/sys/class/net/eth0");
  struct stat mtu {};
  ::fstatat(::dirfd(folder), "mtu", &mtu, 0);
  ino_t entry = 0;
  while (const dirent* const read = ::readdir(folder)) {
    if (std::string{read->d_name} == "mtu") entry = read->d_ino;
  }
  EXPECT_EQ(entry, mtu.st_ino);
  ::closedir(folder);
}

}  // namespace
