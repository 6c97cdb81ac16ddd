#include "base/reading.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "simulator/board.h"

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

TEST(Reading, AFailingReadEndsTheText) {
  Board board;
  TextBuffer buffer;
  board.file(kNode, "text");
  board.failRead(kNode, ESRCH);
  EXPECT_EQ(readWhole(buffer), "");
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
