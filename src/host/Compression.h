#pragma once
// Gzip for the answers: whether a visitor's browser takes it, a whole body compressed at once,
// and the pieces a cached page is kept in, so that a stream can be put together from pieces
// deflated at different times (the page once, each visitor's form token when it is sent).

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orbitel::host {

// Answers shorter than this go as they are: compressing them saves less than it costs.
inline constexpr std::size_t kMinCompressedBytes = 1024;

// Whether an Accept-Encoding header (null when none was sent) takes gzip: named with a
// quality above 0, or "*" when gzip is not named.
bool AcceptsGzip(const char* accept_encoding);

// Whether an answer of this type is text worth compressing (pictures are compressed already).
bool CompressibleType(std::string_view content_type);

// The whole text as one gzip stream.
std::string Gzip(std::string_view text);
// The texts one after the other as one gzip stream.
std::string Gzip(const std::vector<std::string_view>& texts);

// A piece of the deflate data of a gzip stream, with the check sum and length of its text.
// Every piece but the last ends on a byte boundary and refers to no text before it, so the
// pieces of different texts follow one another in any order.
struct DeflatedPiece {
  std::string bytes;
  std::uint32_t crc = 0;
  std::size_t size = 0;
};

// The text deflated on its own; `last` ends the stream.
DeflatedPiece Deflate(std::string_view text, bool last);
// The text as stored (not compressed) blocks: quick, for short texts sent once.
DeflatedPiece Stored(std::string_view text);
// What goes before and after the pieces of one stream; crc and size of the whole text.
std::string GzipHeader();
std::string GzipTrailer(std::uint32_t crc, std::size_t size);
// The check sum of two texts one after the other.
std::uint32_t CombinedCrc(std::uint32_t first, std::uint32_t second, std::size_t second_size);

}  // namespace orbitel::host
