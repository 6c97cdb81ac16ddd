// Where a board's samples come from: a stream of lines, or this machine. Nothing here waits.
#ifndef TESSARY_TOOLS_SERVE_BOARDS_INPUT_H
#define TESSARY_TOOLS_SERVE_BOARDS_INPUT_H

#include <cstdint>
#include <memory>
#include <string>

#include "tools/recording/descriptor.h"
#include "tools/recording/feed.h"
#include "tools/recording/line_splitter.h"
#include "tools/serve/boards/board.h"

namespace tool {

class Input {
 public:
  virtual ~Input() = default;

  // What becomes readable when there is something to read; -1 where only looking tells, as for a file.
  virtual int descriptor() const = 0;

  // After how many milliseconds it is worth a look although nothing has told; 0: never.
  virtual int lookAfterMs() const = 0;

  // Gives the board what is there, but no more than a piece of it, so that one board does not hold the others.
  // True when there is more.
  virtual bool read(Board& board, std::int64_t now) = 0;
};

// A recording in a file or a FIFO, or on standard input ("-"). What does not exist is waited for, what was
// replaced is read from its start, and a FIFO whose writer has gone is read on when another one comes.
class StreamInput : public Input {
 public:
  StreamInput(std::string path, Schemas known, Board::Tell tell);

  int descriptor() const override;
  int lookAfterMs() const override;
  bool read(Board& board, std::int64_t now) override;

 private:
  void open(Board& board);
  void fail(const std::string& reason);
  bool readFile(Board& board, std::int64_t now);
  bool readStream(Board& board, std::int64_t now);
  void give(Board& board, std::string_view bytes, std::int64_t arrived);
  bool isEmptied() const;
  void lookForAnother(Board& board, std::int64_t now);
  std::int64_t age() const;

  std::string path_;
  std::string name_;
  Schemas known_;
  Board::Tell tell_;
  Descriptor file_;
  bool isFile_ = false;  // a regular one: its end is no end
  bool over_ = false;
  std::string reason_;  // why it could not be read; told once
  LineSplitter splitter_;
  std::int64_t lookedNs_ = 0;
};

// This machine, sampled on a thread of its own.
class LiveInput : public Input {
 public:
  explicit LiveInput(std::unique_ptr<ReportSource> source) : feed_{std::move(source)} {}

  int descriptor() const override { return ended_ ? -1 : feed_.ready(); }
  int lookAfterMs() const override { return 0; }
  bool read(Board& board, std::int64_t now) override;

 private:
  Feed feed_;
  bool begun_ = false;
  bool ended_ = false;
};

}  // namespace tool

#endif
