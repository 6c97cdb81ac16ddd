// The file that a recording is written to: one that nobody else records to, compressed or not, in parts or in
// one, which can be read at any moment up to the last sample.
#ifndef TESSARY_TOOLS_RECORDING_FILE_H
#define TESSARY_TOOLS_RECORDING_FILE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/output.h"
#include "tools/recording/gzip.h"
#include "tools/recording/rotation.h"

namespace tool {

struct FilePlan {
  std::string path;
  bool compress = false;
  Rotation rotation;
  std::int64_t syncNs = 0;  // how much of a recording a power cut may take; 0: a sample
};

class RecordingFile {
 public:
  using Header = std::function<std::string()>;           // of a file that begins now
  using Tell = std::function<void(const std::string&)>;  // the user, of what went otherwise than planned

  // Empties the file, or begins the part behind those that are there. Failure when another recording is
  // being written to it. `now` and the later times are nanoseconds of one clock.
  RecordingFile(FilePlan plan, std::int64_t now, Header header, Tell tell);

  // The same into a stream that is open already.
  RecordingFile(FilePlan plan, Sink stream, std::int64_t now, Header header);

  // A sample that ended now. A file that was removed begins anew.
  void add(std::string_view line, std::int64_t now);

  // The recording is complete. Without it, it can be read all the same.
  void finish();

  bool isTerminal() const { return sink_->isTerminal(); }
  std::size_t written() const { return before_ + sink_->written(); }  // bytes, in all parts

 private:
  void open(int flags = 0);
  void begin(std::int64_t now);
  void put(std::string_view text);
  void sync();
  bool isRemoved() const;
  bool isFull(std::int64_t now) const;

  FilePlan plan_;
  Header header_;
  Tell tell_;
  std::optional<Sink> sink_;
  std::unique_ptr<Compressor> compressor_;
  std::size_t before_ = 0;  // bytes in the parts before this one
  int part_ = 0;            // of the next file; 0: there is one alone
  bool finished_ = false;   // the next sample begins another part
  std::int64_t begunAt_ = 0;
  std::int64_t syncedAt_ = 0;
};

}  // namespace tool

#endif
