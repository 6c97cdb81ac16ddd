#include "tools/recording/gzip.h"

#include <array>

#include "tools/output.h"

#ifdef TESSARY_TOOLS_ZLIB
#include <zlib.h>
#else
struct z_stream_s {};
#endif

namespace tool {

bool Decompressor::isCompressed(std::string_view start) { return start.substr(0, 2) == "\x1f\x8b"; }

#ifdef TESSARY_TOOLS_ZLIB

namespace {

constexpr int kGzip = 16;  // added to the window's bits: the format's header and checksum, not zlib's own
constexpr int kWindowBits = MAX_WBITS + kGzip;
constexpr int kMemoryLevel = 8;  // zlib's default
constexpr std::size_t kUnpackedAtOnce = 65536;

void setInput(z_stream& stream, std::string_view text) {
  // zlib's type for what it only reads is not const.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
}

// Everything that the stream gives for its input; the last call's result.
template <typename Step>
int drain(z_stream& stream, std::string& output, Step step) {
  std::array<char, kUnpackedAtOnce> chunk;
  int result = Z_OK;
  do {
    stream.next_out = reinterpret_cast<Bytef*>(chunk.data());
    stream.avail_out = static_cast<uInt>(chunk.size());
    result = step(stream);
    output.append(chunk.data(), chunk.size() - stream.avail_out);
  } while (result == Z_OK && stream.avail_out == 0);
  return result;
}

}  // namespace

Compressor::Compressor() : stream_{std::make_unique<z_stream>()} {
  const int result = ::deflateInit2(stream_.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, kWindowBits,
                                    kMemoryLevel, Z_DEFAULT_STRATEGY);
  if (result != Z_OK) throw Failure{"zlib could not be started"};
}

Compressor::~Compressor() { ::deflateEnd(stream_.get()); }

std::string Compressor::add(std::string_view text) { return run(text, Z_SYNC_FLUSH); }

std::string Compressor::finish() { return run({}, Z_FINISH); }

std::string Compressor::run(std::string_view text, int flush) {
  std::string compressed;
  setInput(*stream_, text);
  drain(*stream_, compressed, [flush](z_stream& stream) { return ::deflate(&stream, flush); });
  return compressed;
}

Decompressor::Decompressor() : stream_{std::make_unique<z_stream>()} {
  if (::inflateInit2(stream_.get(), kWindowBits) != Z_OK) throw Failure{"zlib could not be started"};
}

Decompressor::~Decompressor() { ::inflateEnd(stream_.get()); }

bool Decompressor::add(std::string_view compressed, std::string& text) {
  setInput(*stream_, compressed);
  while (stream_->avail_in != 0) {
    if (ended_) ::inflateReset(stream_.get());
    const int result =
        drain(*stream_, text, [](z_stream& stream) { return ::inflate(&stream, Z_SYNC_FLUSH); });
    ended_ = result == Z_STREAM_END;
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return false;
  }
  return true;
}

#else

Compressor::Compressor() { throw Failure{"this build cannot compress: it was made without zlib"}; }
Compressor::~Compressor() = default;
std::string Compressor::add(std::string_view text) { return std::string{text}; }
std::string Compressor::finish() { return {}; }

Decompressor::Decompressor() {
  throw Failure{"this build cannot read compressed recordings: it was made without zlib"};
}
Decompressor::~Decompressor() = default;
bool Decompressor::add(std::string_view, std::string&) { return false; }

#endif

}  // namespace tool
