#include "host/UrlEncodedForm.h"

namespace orbitel::host {

namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string UrlDecode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '+') {
      decoded += ' ';
    } else if (c == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 &&
               HexDigit(text[i + 2]) >= 0) {
      decoded += static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
      i += 2;
    } else {
      decoded += c;
    }
  }
  return decoded;
}

site::RequestFields ParseUrlEncoded(std::string_view text) {
  site::RequestFields fields;
  while (!text.empty()) {
    const std::size_t end = text.find('&');
    const std::string_view piece = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (piece.empty()) continue;
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) {
      fields.Add(UrlDecode(piece), "");
    } else {
      fields.Add(UrlDecode(piece.substr(0, equals)), UrlDecode(piece.substr(equals + 1)));
    }
  }
  return fields;
}

}  // namespace orbitel::host
