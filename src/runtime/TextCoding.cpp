#include "runtime/TextCoding.h"

namespace orbitel {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string PercentDecode(std::string_view text, bool plus_is_space) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '+' && plus_is_space) {
      decoded += ' ';
    } else if (c == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0) {
      decoded += static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
      i += 2;
    } else {
      decoded += c;
    }
  }
  return decoded;
}

std::string PercentEncode(std::string_view text, std::string_view kept, bool space_as_plus) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size() * 3);
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
        kept.find(c) != std::string_view::npos) {
      encoded += c;
    } else if (c == ' ' && space_as_plus) {
      encoded += '+';
    } else {
      encoded += '%';
      encoded += kHex[byte >> 4];
      encoded += kHex[byte & 0x0F];
    }
  }
  return encoded;
}

}  // namespace orbitel
