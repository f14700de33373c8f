#include "runtime/TextCoding.h"

namespace orbitel {
namespace {

constexpr char kUpperHex[] = "0123456789ABCDEF";
constexpr char kLowerHex[] = "0123456789abcdef";

}  // namespace

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string HexText(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kLowerHex[byte >> 4];
    text += kLowerHex[byte & 0x0F];
  }
  return text;
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
      encoded += kUpperHex[byte >> 4];
      encoded += kUpperHex[byte & 0x0F];
    }
  }
  return encoded;
}

std::string EscapeMarkup(std::string_view text, Markup markup) {
  std::string escaped;
  escaped.reserve(text.size());
  AppendEscapedMarkup(escaped, text, markup);
  return escaped;
}

void AppendEscapedMarkup(std::string& escaped, std::string_view text, Markup markup) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '"' && markup != Markup::kXmlText) {
      escaped += "&quot;";
    } else if (c == '\'' && markup != Markup::kXmlText) {
      escaped += markup == Markup::kHtml ? "&#39;" : "&apos;";
    } else if (byte < 0x20 && markup == Markup::kXmlAttribute) {
      escaped += "&#x";
      if (byte >= 0x10) escaped += kUpperHex[byte >> 4];
      escaped += kUpperHex[byte & 0x0F];
      escaped += ';';
    } else {
      escaped += c;
    }
  }
}

}  // namespace orbitel
