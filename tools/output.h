// Where the tool writes. The library writes to standard output itself, and the shells that it starts to
// standard error: the tool keeps both streams aside for its own and gives the library others.
#ifndef TESSARY_TOOLS_OUTPUT_H
#define TESSARY_TOOLS_OUTPUT_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tool {

// What went wrong, in words for the user.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The reader has gone: nobody is there to be told.
struct ClosedPipe {};

class Sink {
 public:
  // Takes the descriptor over; -1 refuses every write.
  Sink(std::string name, int descriptor) : name_{std::move(name)}, descriptor_{descriptor} {}
  ~Sink();
  Sink(Sink&& other) noexcept;
  Sink& operator=(Sink&&) = delete;

  // Creates or empties the file.
  static Sink file(const std::string& path);

  // Writes all of the text with one write, as far as the system takes it in one. When the system does not
  // take all of it, what a regular file has of it is cut off again, and Failure or ClosedPipe is thrown.
  void write(std::string_view text);

  bool isTerminal() const;
  int descriptor() const { return descriptor_; }

  // Of the terminal, in characters; 0 by 0 when it does not know, as over a debug bridge.
  struct Size {
    std::size_t columns = 0;
    std::size_t rows = 0;
  };
  Size size() const;

  const std::string& name() const { return name_; }
  std::size_t written() const { return written_; }  // bytes

 private:
  void cutOff(std::size_t bytes) const;

  std::string name_;
  int descriptor_;
  std::size_t written_ = 0;
};

class Streams {
 public:
  Streams();

  // From here on, what the library writes is dropped; with diagnostics all of it goes to standard error, the
  // log's progress lines included.
  void divertLibrary(bool diagnostics);

  Sink out;
  Sink error;
};

}  // namespace tool

#endif
