#include "tools/serve/boards/input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/tools/machine.h"
#include "tests/tools/temporary_folder.h"
#include "tools/figures/time_units.h"
#include "tools/views/json.h"

namespace tool {
namespace {

std::string header() { return recordHeader(machine::origin()); }
std::string sample(std::int64_t second) { return recordLine(machine::report(second)); }

class InputTest : public testing::Test {
 protected:
  std::string path() const { return folder_.file("drive"); }

  // Reads until there is nothing, two seconds after the time before.
  void read() {
    now_ += 2 * kNanosecondsInSecond;
    while (input_.read(board_, now_)) {
    }
  }

  // A writer has opened the FIFO, and one that read has to have done so before.
  Descriptor writer() const { return Descriptor{::open(path().c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)}; }

  static void write(const Descriptor& to, const std::string& text) {
    ASSERT_EQ(::write(to.number(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  TemporaryFolder folder_;
  std::string said_;
  std::int64_t now_ = monotonicTime();
  Board::Tell tell_ = [this](const std::string& text) { said_ += text + "\n"; };
  Board board_{"drive", false, {3600 * kNanosecondsInSecond, std::size_t{1} << 30U}, tell_};
  StreamInput input_{path(), machine::kSchemas, tell_};
};

TEST_F(InputTest, WaitsForAFileAndFollowsIt) {
  read();
  read();
  EXPECT_EQ(said_, path() + ": No such file or directory; it is looked for again\n") << "once";
  folder_.append("drive", header() + sample(1) + sample(2).substr(0, 20));
  read();
  EXPECT_EQ(board_.samples(), 1U);
  EXPECT_EQ(board_.name(), "VX4490P") << "as the recording says";
  folder_.append("drive", sample(2).substr(20));
  read();
  EXPECT_EQ(board_.samples(), 2U);
  EXPECT_EQ(board_.badLines(), 0U);
}

TEST_F(InputTest, ReadsAFileThatWasEmptiedOrReplacedFromItsStart) {
  folder_.append("drive", header() + sample(1) + sample(2));
  read();
  std::filesystem::resize_file(path(), 0);
  read();
  folder_.append("drive", header() + sample(3));
  read();
  EXPECT_EQ(board_.samples(), 3U);
  folder_.append("other", header() + sample(4));
  std::filesystem::rename(folder_.file("other"), path());
  read();
  read();
  EXPECT_EQ(board_.samples(), 4U);
  EXPECT_EQ(board_.last()->bootTimeNs, machine::report(4).bootTimeNs);
}

TEST_F(InputTest, AnOldFileIsNoNews) {
  folder_.append("drive", header() + sample(1));
  read();
  EXPECT_EQ(board_.state(now_), BoardState::kUp);
  folder_.append("drive", sample(2));
  std::filesystem::last_write_time(path(),
                                   std::filesystem::file_time_type::clock::now() - std::chrono::hours{1});
  read();
  EXPECT_EQ(board_.samples(), 2U);
  EXPECT_EQ(board_.state(now_), BoardState::kSilent);
}

TEST_F(InputTest, AFifoThatComesBackIsTheSameBoard) {
  ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
  read();
  EXPECT_EQ(board_.state(now_), BoardState::kWaiting);
  {
    const Descriptor first = writer();
    write(first, header() + sample(1) + "{\"cut\":");
    read();
    EXPECT_EQ(board_.state(now_), BoardState::kUp);
  }
  read();
  EXPECT_EQ(board_.state(now_), BoardState::kEnded);
  const Descriptor second = writer();
  ASSERT_GE(second.number(), 0) << "it has a reader throughout";
  write(second, header());
  read();
  EXPECT_EQ(board_.state(now_), BoardState::kEnded) << "no sample has come";
  write(second, sample(2));
  read();
  EXPECT_EQ(board_.state(now_), BoardState::kUp);
  EXPECT_EQ(board_.samples(), 2U);
  EXPECT_EQ(board_.badLines(), 0U) << "a cut line is how a recording ends";
}

TEST_F(InputTest, AnEndlessLineIsNotKept) {
  ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
  read();
  const Descriptor endless = writer();
  const std::string piece(60000, 'x');
  for (int round = 0; round < 200; ++round) {
    write(endless, piece);
    read();
  }
  write(endless, "\n" + header() + sample(1));
  read();
  EXPECT_EQ(board_.samples(), 1U);
  EXPECT_EQ(board_.badLines(), 1U);
}

}  // namespace
}  // namespace tool
