#include "tools/recording/file.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/tools/temporary_folder.h"
#include "tools/figures/time_units.h"
#include "tools/recording/gzip.h"

namespace {

int timesSynchronized = 0;
int synchronizingError = 0;

}  // namespace

// In place of the C library's, for all of this program: what a power cut would leave is not to be seen otherwise.
extern "C" int fdatasync(int) {
  ++timesSynchronized;
  errno = synchronizingError;
  return synchronizingError == 0 ? 0 : -1;
}

namespace {

using tool::FilePlan;
using tool::kNanosecondsInSecond;
using tool::RecordingFile;

class RecordingFileTest : public testing::Test {
 protected:
  RecordingFile open(FilePlan plan) {
    if (plan.path.empty()) plan.path = folder_.file("drive.jsonl");
    return RecordingFile{plan, 0, [this] { return "header " + std::to_string(++headers_) + "\n"; },
                         [this](const std::string& text) { told_ += text + "\n"; }};
  }

  FilePlan rotating(const char* limit) const {
    FilePlan plan;
    plan.rotation = *tool::parseRotation(limit);
    return plan;
  }

  std::string failure() {
    try {
      open({});
    } catch (const tool::Failure& failed) {
      return failed.what();
    }
    return "opened";
  }

  std::string textOf(const std::string& name) const {
    std::string text;
    EXPECT_TRUE(tool::Decompressor{}.add(folder_.read(name), text));
    return text;
  }

  TemporaryFolder folder_;
  std::string told_;
  int headers_ = 0;
};

TEST_F(RecordingFileTest, CanBeReadAfterEachSample) {
  folder_.append("drive.jsonl", "what an earlier recording left behind, longer than the new one");
  RecordingFile file = open({});
  EXPECT_EQ(folder_.read("drive.jsonl"), "header 1\n");
  file.add("sample 1\n", kNanosecondsInSecond);
  EXPECT_EQ(folder_.read("drive.jsonl"), "header 1\nsample 1\n");
  EXPECT_EQ(file.written(), 18u);
}

TEST_F(RecordingFileTest, CanBeReadAfterEachSampleWhenCompressed) {
  if (!tool::kCanCompress) GTEST_SKIP() << "built without zlib";
  FilePlan plan;
  plan.compress = true;
  RecordingFile file = open(plan);
  file.add("sample 1\n", kNanosecondsInSecond);
  EXPECT_EQ(textOf("drive.jsonl"), "header 1\nsample 1\n");
  const std::size_t unfinished = file.written();
  file.finish();
  EXPECT_GT(file.written(), unfinished) << "the end of the stream, which gunzip asks for";
  EXPECT_EQ(textOf("drive.jsonl"), "header 1\nsample 1\n");
}

TEST_F(RecordingFileTest, IsOnTheDiskAsOftenAsIsAskedFor) {
  const auto times = [this](std::int64_t syncSeconds) {
    FilePlan plan;
    plan.syncNs = syncSeconds * kNanosecondsInSecond;
    RecordingFile file = open(plan);
    timesSynchronized = 0;
    std::string after;
    for (int second = 1; second <= 5; ++second) {
      file.add("sample\n", second * kNanosecondsInSecond);
      after += std::to_string(timesSynchronized);
    }
    file.finish();
    return after + " " + std::to_string(timesSynchronized);
  };
  EXPECT_EQ(times(2), "01122 3");
  EXPECT_EQ(times(0), "12345 6");
  EXPECT_EQ(times(3600), "00000 1");

  synchronizingError = EINVAL;  // a pipe
  EXPECT_NO_THROW(times(0));
  synchronizingError = ENOSPC;
  EXPECT_THROW(times(0), tool::Failure);
  synchronizingError = 0;
}

TEST_F(RecordingFileTest, HasOneWriter) {
  const RecordingFile file = open({});
  EXPECT_EQ(failure(), folder_.file("drive.jsonl") + ": another recording is being written to it");
  EXPECT_EQ(folder_.read("drive.jsonl"), "header 1\n") << "the first one's is left alone";
}

TEST_F(RecordingFileTest, IsFreeOnceItsWriterHasGone) {
  open({}).add("sample 1\n", kNanosecondsInSecond);
  EXPECT_EQ(failure(), "opened");
}

TEST_F(RecordingFileTest, GoesOnInANewFileWhenItIsRemoved) {
  RecordingFile file = open({});
  file.add("sample 1\n", kNanosecondsInSecond);
  std::filesystem::remove(folder_.file("drive.jsonl"));
  file.add("sample 2\n", 2 * kNanosecondsInSecond);
  file.add("sample 3\n", 3 * kNanosecondsInSecond);
  EXPECT_EQ(folder_.read("drive.jsonl"), "header 2\nsample 2\nsample 3\n");
  EXPECT_EQ(told_, folder_.file("drive.jsonl") + ": was removed; the recording goes on in a new file\n");
}

TEST_F(RecordingFileTest, LeavesTheFileAloneThatTookItsPlace) {
  RecordingFile file = open({});
  folder_.append("other", "not a recording");
  std::filesystem::rename(folder_.file("other"), folder_.file("drive.jsonl"));
  EXPECT_THROW(file.add("sample 1\n", kNanosecondsInSecond), tool::Failure);
  EXPECT_EQ(folder_.read("drive.jsonl"), "not a recording");
}

TEST_F(RecordingFileTest, StaysInAFileThatIsMoved) {
  RecordingFile file = open({});
  std::filesystem::rename(folder_.file("drive.jsonl"), folder_.file("kept.jsonl"));
  file.add("sample 1\n", kNanosecondsInSecond);
  EXPECT_EQ(folder_.read("kept.jsonl"), "header 1\nsample 1\n");
  EXPECT_EQ(told_, "");
}

TEST_F(RecordingFileTest, BeginsAPartAfterItsTime) {
  RecordingFile file = open(rotating("2s"));
  for (int second = 1; second <= 4; ++second)
    file.add(std::to_string(second) + "\n", second * kNanosecondsInSecond);
  file.finish();
  EXPECT_EQ(folder_.read("drive-0001.jsonl"), "header 1\n1\n2\n");
  EXPECT_EQ(folder_.read("drive-0002.jsonl"), "header 2\n3\n4\n");
  EXPECT_EQ(file.written(), 26u) << "of all parts";
  EXPECT_FALSE(std::filesystem::exists(folder_.file("drive-0003.jsonl"))) << "no part without a sample";
}

TEST_F(RecordingFileTest, BeginsAPartAtItsSize) {
  if (!tool::kCanCompress) GTEST_SKIP() << "built without zlib";
  FilePlan plan = rotating("1K");
  plan.compress = true;
  plan.path = folder_.file("drive.jsonl.gz");
  RecordingFile file = open(plan);
  std::string noise(2000, ' ');
  for (char& letter : noise) letter = static_cast<char>(std::rand());
  file.add(noise, kNanosecondsInSecond);
  file.add("small", 2 * kNanosecondsInSecond);
  file.add("small", 3 * kNanosecondsInSecond);
  EXPECT_EQ(textOf("drive-0001.jsonl.gz"), "header 1\n" + noise);
  EXPECT_EQ(textOf("drive-0002.jsonl.gz"), "header 2\nsmallsmall");
}

TEST_F(RecordingFileTest, OverwritesNoPart) {
  folder_.append("drive-0041.jsonl", "yesterday's");
  open(rotating("1h")).add("sample 1\n", kNanosecondsInSecond);
  EXPECT_EQ(folder_.read("drive-0042.jsonl"), "header 1\nsample 1\n");
  EXPECT_EQ(folder_.read("drive-0041.jsonl"), "yesterday's");
}

}  // namespace
