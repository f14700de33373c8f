// Numbers read from and written as text the way the runtime's CDbl, CInt, CBool and CStr do.

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel {

namespace {

Status TypeMismatch() { return Status::Error(errors::kTypeMismatch, "Type mismatch"); }
Status Overflow() { return Status::Error(errors::kOverflow, "Overflow"); }

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view StripBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

int DigitValue(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 99;
}

// "&H1F" / "&O17". Like the runtime's hexadecimal literals these are 16-bit when they fit in
// 16 bits and 32-bit otherwise, both signed: "&HFFFF" is -1 and "&H10000" is 65536.
Result<double> ParseRadix(std::string_view digits, int radix) {
  if (digits.empty()) return TypeMismatch();
  std::uint64_t value = 0;
  for (char c : digits) {
    const int digit = DigitValue(c);
    if (digit >= radix) return TypeMismatch();
    value = value * radix + digit;
    if (value > 0xFFFFFFFFu) return Overflow();
  }
  if (value <= 0xFFFF) return static_cast<double>(static_cast<std::int16_t>(value));
  return static_cast<double>(static_cast<std::int32_t>(value));
}

Result<double> ParseNumber(std::string_view text) {
  text = StripBlanks(text);
  if (text.size() > 2 && text[0] == '&') {
    const char kind = text[1];
    if (kind == 'H' || kind == 'h') return ParseRadix(text.substr(2), 16);
    if (kind == 'O' || kind == 'o') return ParseRadix(text.substr(2), 8);
    return TypeMismatch();
  }

  // The decimal form is rebuilt without sign and separators for the locale-free reader.
  std::string plain;
  std::size_t at = 0;
  bool negative = false;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) negative = text[at++] == '-';
  std::size_t mantissa_digits = 0;
  // The decimal magnitude of the mantissa (digits before the point from the first nonzero one,
  // or minus the zeros after the point): with the exponent it tells overflow from underflow.
  long magnitude = 0;
  bool nonzero = false;
  for (; at < text.size(); ++at) {
    if (IsDigit(text[at])) {
      nonzero = nonzero || text[at] != '0';
      magnitude += nonzero;
      plain += text[at];
      ++mantissa_digits;
    } else if (text[at] != ',' || mantissa_digits == 0) {
      // Thousands separators are taken wherever they follow a digit, as the runtime does.
      break;
    }
  }
  if (at < text.size() && text[at] == '.') {
    plain += text[at++];
    for (; at < text.size() && IsDigit(text[at]); ++at, ++mantissa_digits) {
      if (!nonzero && text[at] == '0') --magnitude;
      nonzero = nonzero || text[at] != '0';
      plain += text[at];
    }
  }
  if (mantissa_digits == 0) return TypeMismatch();
  long exponent = 0;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    plain += text[at++];
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) plain += text[at++];
    const std::size_t first = at;
    for (; at < text.size() && IsDigit(text[at]); ++at) plain += text[at];
    if (at == first) return TypeMismatch();
    if (std::from_chars(text.data() + first, text.data() + at, exponent).ec != std::errc()) {
      exponent = 100000;
    }
    if (text[first - 1] == '-') exponent = -exponent;
  }
  if (at != text.size()) return TypeMismatch();
  if (plain.front() == '.') plain.insert(plain.begin(), '0');

  double value = 0;
  const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  if (error == std::errc::result_out_of_range) {
    // Too small to represent reads as zero; too large is the runtime's overflow.
    if (magnitude + exponent > 0) return Overflow();
    value = 0;
  } else if (error != std::errc() || end != plain.data() + plain.size()) {
    return TypeMismatch();
  }
  return negative ? -value : value;
}

}  // namespace

bool IsNumeric(std::string_view text) { return ParseNumber(text).ok(); }

Result<double> ToDouble(std::string_view text) { return ParseNumber(text); }

Result<std::int16_t> ToInteger(double value) {
  if (std::isnan(value)) return Overflow();
  // Half to even, independent of the floating-point rounding mode.
  double rounded = std::floor(value);
  const double rest = value - rounded;
  if (rest > 0.5 || (rest == 0.5 && std::fmod(rounded, 2.0) != 0)) rounded += 1;
  if (rounded < -32768 || rounded > 32767) return Overflow();
  return static_cast<std::int16_t>(rounded);
}

Result<std::int16_t> ToInteger(std::string_view text) {
  const Result<double> number = ParseNumber(text);
  if (!number.ok()) return number.status();
  return ToInteger(*number);
}

Result<bool> ToBoolean(std::string_view text) {
  const std::string word = ToUpper(StripBlanks(text));
  if (word == "TRUE") return true;
  if (word == "FALSE") return false;
  const Result<double> number = ParseNumber(text);
  if (!number.ok()) return number.status();
  return *number != 0;
}

std::string FormatDouble(double value) {
  if (std::isnan(value)) return "-1.#IND";
  if (std::isinf(value)) return value > 0 ? "1.#INF" : "-1.#INF";
  if (value == 0) return "0";

  // Rounding to 15 significant digits first, so that 999999999999999.9 counts as 1E+15.
  char buffer[40];
  const auto written =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific, 14);
  const std::string_view scientific(buffer, written.ptr - buffer);
  const std::size_t e = scientific.find('e');
  const bool negative = scientific.front() == '-';
  std::string digits;
  for (char c : scientific.substr(0, e)) {
    if (IsDigit(c)) digits += c;
  }
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  int exponent = 0;
  const std::string_view exponent_text = scientific.substr(e + 1);
  std::from_chars(exponent_text.data() + (exponent_text.front() == '+'),
                  exponent_text.data() + exponent_text.size(), exponent);

  std::string out = negative ? "-" : "";
  if (exponent >= 15 || exponent < -6) {
    out += digits.front();
    // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) on "." + std::string.
    if (digits.size() > 1) out.append(".").append(digits, 1);
    const int magnitude = std::abs(exponent);
    out += exponent < 0 ? "E-" : "E+";
    if (magnitude < 10) out += '0';
    out += std::to_string(magnitude);
  } else if (exponent >= 0) {
    const std::size_t integer_digits = static_cast<std::size_t>(exponent) + 1;
    if (digits.size() < integer_digits) digits.append(integer_digits - digits.size(), '0');
    out += digits.substr(0, integer_digits);
    if (digits.size() > integer_digits) out.append(".").append(digits, integer_digits);
  } else {
    out.append("0.").append(static_cast<std::size_t>(-exponent - 1), '0').append(digits);
  }
  return out;
}

std::string FormatBoolean(bool value) { return value ? "True" : "False"; }

}  // namespace orbitel
