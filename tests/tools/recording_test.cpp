#include "tools/recording/recording.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <filesystem>
#include <fstream>

#include "tests/tools/machine.h"
#include "tests/tools/temporary_folder.h"
#include "tools/output.h"
#include "tools/recording/feed.h"
#include "tools/recording/gzip.h"
#include "tools/views/json.h"

namespace {

using tool::Recording;
using tool::Report;

std::string header() { return tool::recordHeader(machine::origin()); }
std::string sample(std::int64_t seconds) { return tool::recordLine(machine::report(seconds)); }

class RecordingTest : public testing::Test {
 protected:
  std::string path() const { return folder_.file("drive.jsonl"); }
  void append(const std::string& text) const { folder_.append("drive.jsonl", text); }

  std::unique_ptr<Recording> open(tool::Ending ending = tool::kAtItsEnd, int stop = tool::kNoStop) {
    return tool::openRecording(
        path(), machine::kSchemas, [this](const std::string& text) { warnings_ += text + "\n"; }, ending,
        stop);
  }

  // At which seconds the samples of the file end.
  std::vector<std::int64_t> seconds() {
    std::vector<std::int64_t> all;
    const std::unique_ptr<Recording> recording = open();
    while (const std::optional<Report> report = recording->next()) {
      all.push_back(report->bootTimeNs / 1'000'000'000 - 3600);
    }
    return all;
  }

  std::string failure() {
    try {
      open();
    } catch (const tool::Failure& failed) {
      return failed.what();
    }
    return "opened";
  }

  TemporaryFolder folder_;
  std::string warnings_;
};

using Seconds = std::vector<std::int64_t>;

TEST_F(RecordingTest, GivesItsSamplesInOrder) {
  append(header() + sample(1) + sample(2));
  EXPECT_EQ(seconds(), (Seconds{1, 2}));
  EXPECT_EQ(open()->origin().host, "bench7");
  EXPECT_EQ(warnings_, "");
}

TEST_F(RecordingTest, LosesOnlyTheLineThatIsCut) {
  const std::string whole = header() + sample(1) + sample(2);
  append(whole + sample(3).substr(0, 100));
  EXPECT_EQ(seconds(), (Seconds{1, 2}));
  std::filesystem::resize_file(path(), whole.size() - 1);
  EXPECT_EQ(seconds(), (Seconds{1, 2})) << "the last line lacks nothing but its end";
  EXPECT_EQ(warnings_, "");
}

TEST_F(RecordingTest, SkipsRubbishAndNamesTheFirstLineOfIt) {
  append(header() + sample(1) + "rubbish\n\n" + std::string(100, '\0') + "\n" + sample(2));
  EXPECT_EQ(seconds(), (Seconds{1, 2}));
  EXPECT_EQ(warnings_, path() + ":3: skipped: no JSON from byte 1 on\n");
}

TEST_F(RecordingTest, IsRefusedWhenThereIsNone) {
  EXPECT_EQ(failure(), path() + ": No such file or directory");
  append("");
  EXPECT_EQ(failure(), path() + ": holds no recording");
  append("A letter.\nAnd its second line.");
  EXPECT_EQ(failure(), path() + ": holds no recording");
}

TEST_F(RecordingTest, MayHoldSeveralOneBehindTheOther) {
  tool::Origin other = machine::origin();
  other.host = "bench8";
  append(header() + sample(1) + header() + tool::recordHeader(other) + sample(5));  // one of them is empty
  const auto recording = open();
  recording->next();
  EXPECT_EQ(recording->origin().host, "bench7");
  EXPECT_EQ(recording->next()->bootTimeNs, 3605'000'000'000);
  EXPECT_EQ(recording->origin().host, "bench8");
}

TEST_F(RecordingTest, OfALaterVersionIsReadWithAWarning) {
  append(R"({"schema":"tessary-record","version":9})"
         "\n" +
         sample(1));
  EXPECT_EQ(seconds(), (Seconds{1}));
  EXPECT_EQ(warnings_, path() + ": of version 9, which is newer than this tool's 2\n");
}

TEST_F(RecordingTest, IsReadAsFarAsItWasCompressed) {
  if (!tool::kCanCompress) GTEST_SKIP() << "built without zlib";
  tool::Compressor compressor;
  append(compressor.add(header() + sample(1)));
  append(compressor.add(sample(2)));
  const std::uintmax_t second = std::filesystem::file_size(path());
  append(compressor.add(sample(3)));
  append(compressor.finish());
  EXPECT_EQ(seconds(), (Seconds{1, 2, 3}));
  std::filesystem::resize_file(path(), second);
  EXPECT_EQ(seconds(), (Seconds{1, 2}));
  std::filesystem::resize_file(path(), second - 7);
  EXPECT_EQ(seconds(), (Seconds{1}));
  EXPECT_EQ(warnings_, "");

  append(std::string(200, '\xff'));
  EXPECT_EQ(seconds(), (Seconds{1}));
  EXPECT_NE(warnings_.find("the compressed data is damaged behind line"), std::string::npos) << warnings_;
}

TEST_F(RecordingTest, MayBeCompressedInPieces) {
  if (!tool::kCanCompress) GTEST_SKIP() << "built without zlib";
  for (const std::string& text : {header() + sample(1), sample(2)}) {
    tool::Compressor compressor;
    append(compressor.add(text));
    append(compressor.finish());
  }
  EXPECT_EQ(seconds(), (Seconds{1, 2}));
}

TEST_F(RecordingTest, IsFollowedWhileItIsWritten) {
  append(header());
  const auto recording = open(tool::kFollowed);
  append(sample(1) + sample(2).substr(0, 40));
  EXPECT_EQ(recording->next()->bootTimeNs, 3601'000'000'000);
  append(sample(2).substr(40));
  EXPECT_EQ(recording->next()->bootTimeNs, 3602'000'000'000);

  std::ofstream{path(), std::ios::trunc} << header() << sample(7);
  EXPECT_EQ(recording->next()->bootTimeNs, 3607'000'000'000) << "another recording began in the same file";
}

TEST_F(RecordingTest, GivesWayToTheStop) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const tool::Descriptor readable{ends[0]};
  const tool::Descriptor stop{ends[1]};
  append(header() + sample(1).substr(0, 40));
  const auto recording = open(tool::kFollowed);
  ASSERT_EQ(::write(stop.number(), "q", 1), 1);
  EXPECT_FALSE(recording->next(readable.number()));
  append(sample(1).substr(40));
  EXPECT_EQ(recording->next()->bootTimeNs, 3601'000'000'000) << "half a line is not lost by a stop";
}

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator{"/proc/self/fd"}, {});
}

TEST_F(RecordingTest, IsFedToTheEndAndLeavesNothingOpen) {
  append(header() + sample(1) + sample(2));
  const std::ptrdiff_t before = openDescriptors();
  {
    const tool::Feed stopped{open(tool::kFollowed)};  // while it waits for what does not come
    tool::Feed feed{open()};
    std::size_t reports = 0;
    for (bool ended = false; !ended;) {
      pollfd ready{feed.ready(), POLLIN, 0};
      ASSERT_EQ(::poll(&ready, 1, 60000), 1);
      const tool::Feed::News news = feed.take();
      reports += news.reports.size();
      ended = news.ended;
    }
    EXPECT_EQ(reports, 2U);
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
