// A board's file that holds the recording itself: the simulator plays it. Faults, further nodes and other
// keys of a board's file can be added by hand.
#include <utility>

#include "tools/views/export.h"
#include "tools/views/json.h"

namespace tool {

namespace {

std::string withoutLineEnd(std::string line) {
  if (!line.empty() && line.back() == '\n') line.pop_back();
  return line;
}

class BoardFile : public Export {
 public:
  explicit BoardFile(Write write) : write_{std::move(write)} {}

  void begin(const Origin& origin) override {
    write_("{\"recording\": [\n" + withoutLineEnd(recordHeader(origin)));
  }
  void add(const Report& report) override { write_(",\n" + withoutLineEnd(recordLine(report))); }
  void end() override { write_("\n]}\n"); }

 private:
  Write write_;
};

}  // namespace

std::unique_ptr<Export> openBoard(Write write, const ExportOptions&) {
  return std::make_unique<BoardFile>(std::move(write));
}

}  // namespace tool
