#include "simulator/http/Gzip.h"

#include <array>
#include <stdexcept>

#define ZLIB_CONST
#include <zlib.h>

namespace Kelvar::Simulator {

namespace {

void Deflate(z_stream& stream, std::string_view input, int flush, std::string& output) {
  std::array<char, 16384> piece;
  stream.next_in = reinterpret_cast<const Bytef*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  do {
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = piece.size();
    deflate(&stream, flush);
    output.append(piece.data(), piece.size() - stream.avail_out);
  } while (stream.avail_out == 0);
}

}  // namespace

std::string Gzip(std::string_view text, std::uint64_t repeat) {
  constexpr int kGzipWindow = 15 + 16;
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("cannot compress");
  }
  // Many repetitions at a time, since a call for each takes longer than compressing it.
  std::string block(text);
  std::uint64_t inBlock = 1;
  for (; block.size() < 65536 && inBlock * 2 <= repeat && !text.empty(); inBlock *= 2) {
    block += block;
  }
  std::string output;
  for (; repeat >= inBlock; repeat -= inBlock) {
    Deflate(stream, block, Z_NO_FLUSH, output);
  }
  Deflate(stream, std::string_view(block).substr(0, text.size() * repeat), Z_NO_FLUSH, output);
  Deflate(stream, {}, Z_FINISH, output);
  deflateEnd(&stream);
  return output;
}

}  // namespace Kelvar::Simulator
