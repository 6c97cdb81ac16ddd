#include "base/reading.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <string>

#include "simulator/board/board.h"

namespace {

using simulator::Board;
using tessary::TextBuffer;

constexpr char kNode[] = "/proc/diskstats";

std::string readWhole(TextBuffer& buffer) {
  const tessary::Descriptor node = tessary::openForReading(kNode);
  return std::string{buffer.readAll(node.get())};
}

TEST(Reading, ATextThatArrivesInPiecesOrOutgrowsTheBufferIsReadWhole) {
  Board board;
  TextBuffer buffer;
  const std::string large(3 * TextBuffer::kInlineSpace + 5, 'x');
  board.file(kNode, large);
  board.limitReads(kNode, 1000);
  EXPECT_EQ(readWhole(buffer), large);
  for (const std::size_t size : {TextBuffer::kInlineSpace - 1, TextBuffer::kInlineSpace}) {
    const std::string exact(size, 'y');
    board.file(kNode, exact);
    EXPECT_EQ(readWhole(buffer), exact);
  }
}

TEST(Reading, ATextWithoutAnEndIsCut) {
  TextBuffer buffer;
  const tessary::Descriptor endless = tessary::openForReading("/dev/zero");
  ASSERT_TRUE(endless);
  EXPECT_EQ(buffer.readAll(endless.get()).size(), TextBuffer::kLongestText - 1);
}

TEST(Reading, ALineEndsAtItsNewlineItsLimitOrTheTextsEnd) {
  Board board;
  TextBuffer buffer;
  const struct {
    const char* text;
    std::size_t limit;
    const char* line;
  } rows[] = {
      {"one\ntwo\n", 255, "one\n"}, {"one", 255, "one"}, {"one\n", 2, "on"}, {"\n", 255, "\n"}, {"", 9, ""}};
  for (const std::size_t atOnce : {1U, 2U, 255U}) {
    for (const auto& row : rows) {
      board.file(kNode, row.text);
      board.limitReads(kNode, atOnce);
      const tessary::Descriptor node = tessary::openForReading(kNode);
      EXPECT_EQ(buffer.readLine(node.get(), row.limit), row.line) << atOnce;
    }
  }
}

TEST(Reading, AFailingReadEndsTheText) {
  Board board;
  TextBuffer buffer;
  board.file(kNode, "text");
  board.failRead(kNode, ESRCH);
  EXPECT_EQ(readWhole(buffer), "");
}

// A host's timers interrupt the reading of a pipe that has nothing yet. The third signal brings the text.
TEST(Reading, ASignalDoesNotEndTheText) {
  static int pipeEnds[2];
  static int signals;
  ASSERT_EQ(::pipe(pipeEnds), 0);
  signals = 0;
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {
    if (++signals < 3) return;
    if (signals > 3 || ::write(pipeEnds[1], "text", 4) < 0) return;
    ::close(pipeEnds[1]);
  };
  ::sigaction(SIGALRM, &action, &before);
  const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
  ::setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
  const tessary::Descriptor pipe{pipeEnds[0]};
  TextBuffer buffer;
  const std::string_view text = buffer.readAll(pipe.get());
  const itimerval none{};
  ::setitimer(ITIMER_REAL, &none, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
  EXPECT_EQ(text, "text");
}

// A shell that nobody waits for stays behind as a zombie.
TEST(Reading, ACommandLeavesNoProcessBehind) {
  for (const bool onBoard : {false, true}) {
    std::optional<Board> board;
    if (onBoard) board.emplace();
    TextBuffer buffer;
    {
      const tessary::CommandStream output = tessary::runCommand("echo word");
      EXPECT_EQ(buffer.readAll(::fileno(output.get())), "word\n");
    }
    errno = 0;
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }
}

TEST(Reading, TheFilesOfAFolderThatCannotBeOpenedFailWithItsError) {
  Board board;
  board.file("/sys/class/net/eth0/mtu", "1500\n");
  board.refuse("/sys/class/net", EACCES);
  const tessary::Folder folder{"/sys/class/net"};
  errno = 0;
  EXPECT_FALSE(folder.open("eth0/mtu"));
  EXPECT_EQ(errno, EACCES);
}

}  // namespace
