// Compression for recordings: gzip, which every other tool reads too. A stream that is cut anywhere is
// readable up to its last flush. Built without zlib, both classes throw at their construction.
#ifndef TESSARY_TOOLS_RECORDING_GZIP_H
#define TESSARY_TOOLS_RECORDING_GZIP_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct z_stream_s;

namespace tool {

// What a compressed recording's name ends with.
constexpr std::string_view kGzipSuffix = ".gz";

#ifdef TESSARY_TOOLS_ZLIB
constexpr bool kCanCompress = true;
#else
constexpr bool kCanCompress = false;
#endif

class Compressor {
 public:
  Compressor();
  ~Compressor();

  // The compressed text, flushed: what was written up to here can be read back without what follows.
  std::string add(std::string_view text);

  // The end of the stream, behind which another one may begin.
  std::string finish();

 private:
  std::string run(std::string_view text, int flush);

  std::unique_ptr<z_stream_s> stream_;
};

class Decompressor {
 public:
  Decompressor();
  ~Decompressor();

  static bool isCompressed(std::string_view start);  // by the format's two first bytes

  // Appends to `text` what the compressed bytes hold. False when they are damaged: nothing behind that place
  // can be read.
  bool add(std::string_view compressed, std::string& text);

 private:
  std::unique_ptr<z_stream_s> stream_;
  [[maybe_unused]] bool ended_ = false;  // a stream has: what follows is another one; without zlib none does
};

}  // namespace tool

#endif
