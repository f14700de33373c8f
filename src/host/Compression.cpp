#include "host/Compression.h"

#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "runtime/Conversions.h"

namespace orbitel::host {

namespace {

// Pages are text with much repetition: the fastest level takes most of what the others would.
constexpr int kLevel = 1;
// Raw deflate data (the gzip header and trailer are written here).
constexpr int kRawDeflate = -15;

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// The quality of one element of the header ("gzip;q=0.5"): 1 when none is given.
double QualityOf(std::string_view parameters) {
  while (!parameters.empty()) {
    const std::size_t semicolon = parameters.find(';');
    const std::string_view parameter = Trimmed(parameters.substr(0, semicolon));
    parameters = semicolon == std::string_view::npos ? std::string_view() : parameters.substr(semicolon + 1);
    if (parameter.size() > 2 && (parameter[0] == 'q' || parameter[0] == 'Q') && parameter[1] == '=') {
      return std::strtod(std::string(parameter.substr(2)).c_str(), nullptr);
    }
  }
  return 1;
}

void AppendLittleEndian(std::string& out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
}

}  // namespace

bool AcceptsGzip(const char* accept_encoding) {
  if (!accept_encoding) return false;
  std::string_view header(accept_encoding);
  std::optional<bool> gzip, any;
  while (!header.empty()) {
    const std::size_t comma = header.find(',');
    const std::string_view element = header.substr(0, comma);
    header = comma == std::string_view::npos ? std::string_view() : header.substr(comma + 1);
    const std::size_t semicolon = element.find(';');
    const std::string_view coding = Trimmed(element.substr(0, semicolon));
    const bool wanted =
        QualityOf(semicolon == std::string_view::npos ? std::string_view() : element.substr(semicolon + 1)) > 0;
    if (EqualsIgnoringCase(coding, "gzip") || EqualsIgnoringCase(coding, "x-gzip")) gzip = wanted;
    if (coding == "*") any = wanted;
  }
  return gzip.value_or(any.value_or(false));
}

bool CompressibleType(std::string_view content_type) {
  return content_type.starts_with("text/") || content_type.starts_with("application/json") ||
         content_type.starts_with("image/svg+xml") || content_type.starts_with("application/javascript");
}

DeflatedPiece Deflate(std::string_view text, bool last) {
  z_stream stream{};
  if (deflateInit2(&stream, kLevel, Z_DEFLATED, kRawDeflate, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("zlib cannot start compressing");
  }
  DeflatedPiece piece;
  // Room for the worst case and the flush's empty block.
  piece.bytes.resize(deflateBound(&stream, text.size()) + 16);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(piece.bytes.data());
  stream.avail_out = static_cast<uInt>(piece.bytes.size());
  const int result = deflate(&stream, last ? Z_FINISH : Z_SYNC_FLUSH);
  const bool done = last ? result == Z_STREAM_END : result == Z_OK && stream.avail_in == 0;
  piece.bytes.resize(stream.total_out);
  deflateEnd(&stream);
  if (!done) throw std::runtime_error("zlib cannot compress a page");
  piece.crc = static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
  piece.size = text.size();
  return piece;
}

DeflatedPiece Stored(std::string_view text) {
  DeflatedPiece piece;
  constexpr std::size_t kMaxStoredBlock = 65535;
  std::size_t at = 0;
  do {
    const std::size_t length = std::min(kMaxStoredBlock, text.size() - at);
    // A stored block that is not the last: header bits 000, then the length and its complement.
    piece.bytes += '\0';
    piece.bytes += static_cast<char>(length & 0xFF);
    piece.bytes += static_cast<char>(length >> 8);
    piece.bytes += static_cast<char>(~length & 0xFF);
    piece.bytes += static_cast<char>((~length >> 8) & 0xFF);
    piece.bytes.append(text.substr(at, length));
    at += length;
  } while (at < text.size());
  piece.crc = static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
  piece.size = text.size();
  return piece;
}

std::string GzipHeader() {
  // Magic, deflate, no flags, no time, no extra flags, operating system unknown.
  return std::string("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\xff", 10);
}

std::string GzipTrailer(std::uint32_t crc, std::size_t size) {
  std::string trailer;
  AppendLittleEndian(trailer, crc);
  AppendLittleEndian(trailer, static_cast<std::uint32_t>(size & 0xFFFFFFFFu));
  return trailer;
}

std::uint32_t CombinedCrc(std::uint32_t first, std::uint32_t second, std::size_t second_size) {
  return static_cast<std::uint32_t>(crc32_combine(first, second, static_cast<z_off_t>(second_size)));
}

std::string Gzip(std::string_view text) {
  DeflatedPiece piece = Deflate(text, true);
  std::string out = GzipHeader();
  out.reserve(out.size() + piece.bytes.size() + 8);
  out += piece.bytes;
  out += GzipTrailer(piece.crc, piece.size);
  return out;
}

std::string Gzip(const std::vector<std::string_view>& texts) {
  z_stream stream{};
  if (deflateInit2(&stream, kLevel, Z_DEFLATED, kRawDeflate, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("zlib cannot start compressing");
  }
  std::size_t size = 0;
  for (const std::string_view text : texts) size += text.size();
  std::string out = GzipHeader();
  const std::size_t header = out.size();
  // Room for the worst case and the trailer.
  out.resize(header + deflateBound(&stream, size) + 16);
  stream.next_out = reinterpret_cast<Bytef*>(out.data() + header);
  stream.avail_out = static_cast<uInt>(out.size() - header);
  uLong crc = crc32(0, nullptr, 0);
  int result = Z_OK;
  for (const std::string_view text : texts) {
    if (text.empty()) continue;  // deflate refuses a call that could make no progress
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    crc = crc32(crc, stream.next_in, stream.avail_in);
    result = deflate(&stream, Z_NO_FLUSH);
    if (result != Z_OK) break;
  }
  if (result == Z_OK) result = deflate(&stream, Z_FINISH);
  const std::size_t written = stream.total_out;
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("zlib cannot compress a page");
  out.resize(header + written);
  out += GzipTrailer(static_cast<std::uint32_t>(crc), size);
  return out;
}

}  // namespace orbitel::host
