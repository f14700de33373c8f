#include "directory/Base64.h"

#include <cstdint>

namespace orbitel::directory {
namespace {

int SextetOf(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

std::optional<std::string> DecodeBase64(std::string_view text) {
  // Padding only at the end, at most two, and only to complete a group of four.
  std::size_t padding = 0;
  while (!text.empty() && text.back() == '=' && padding < 3) {
    text.remove_suffix(1);
    ++padding;
  }
  if (padding > 2 || text.size() % 4 == 1) return std::nullopt;
  if (padding > 0 && (text.size() + padding) % 4 != 0) return std::nullopt;

  std::string bytes;
  bytes.reserve(text.size() * 3 / 4);
  std::uint32_t bits = 0;
  int bit_count = 0;
  for (char c : text) {
    int sextet = SextetOf(c);
    if (sextet < 0) return std::nullopt;
    bits = (bits << 6) | static_cast<std::uint32_t>(sextet);
    bit_count += 6;
    if (bit_count >= 8) {
      bit_count -= 8;
      bytes.push_back(static_cast<char>((bits >> bit_count) & 0xFF));
    }
  }
  return bytes;
}

}  // namespace orbitel::directory
