#include "runtime/DateText.h"

#include <cstdio>

namespace orbitel {
namespace {

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  bool AtEnd() const { return at_ == text_.size(); }
  bool Accept(char c) {
    if (at_ < text_.size() && text_[at_] == c) {
      ++at_;
      return true;
    }
    return false;
  }
  char Peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  // Exactly `digits` decimal digits.
  std::optional<int> Fixed(int digits) {
    int value = 0;
    for (int i = 0; i < digits; ++i) {
      if (at_ >= text_.size() || text_[at_] < '0' || text_[at_] > '9') return std::nullopt;
      value = value * 10 + (text_[at_++] - '0');
    }
    return value;
  }

  // The digits after a decimal point, as a fraction.
  double Fraction() {
    double value = 0;
    double scale = 0.1;
    while (at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9') {
      value += (text_[at_++] - '0') * scale;
      scale /= 10;
    }
    return value;
  }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
};

constexpr double kSecondsPerDay = 86400;

}  // namespace

std::optional<Date> ParseIsoDate(std::string_view text) {
  Reader in(text);
  const auto year = in.Fixed(4);
  // The store's queries also write dates as 2003/06/01; the separators must agree.
  const char separator = in.Peek() == '/' ? '/' : '-';
  if (!year || !in.Accept(separator)) return std::nullopt;
  const auto month = in.Fixed(2);
  if (!month || !in.Accept(separator)) return std::nullopt;
  const auto day = in.Fixed(2);
  if (!day || *month < 1 || *month > 12 || *day < 1 || *day > DaysIn(*year, *month)) {
    return std::nullopt;
  }
  // Two-digit years would carry into 1930..2029 in FromParts; an ISO year is always literal.
  if (*year < 100) return std::nullopt;
  Result<Date> date = Date::FromParts(*year, *month, *day);
  if (!date.ok()) return std::nullopt;

  double seconds = 0;
  int offset_minutes = 0;
  if (in.Accept('T') || in.Accept(' ')) {
    const auto hour = in.Fixed(2);
    if (!hour || !in.Accept(':')) return std::nullopt;
    const auto minute = in.Fixed(2);
    if (!minute || *hour > 23 || *minute > 59) return std::nullopt;
    seconds = *hour * 3600.0 + *minute * 60.0;
    if (in.Accept(':')) {
      const auto second = in.Fixed(2);
      if (!second || *second > 59) return std::nullopt;
      seconds += *second;
      if (in.Accept('.')) seconds += in.Fraction();
    }
    if (!in.Accept('Z') && (in.Peek() == '+' || in.Peek() == '-')) {
      const int sign = in.Peek() == '-' ? -1 : 1;
      in.Accept(in.Peek());
      const auto zone_hours = in.Fixed(2);
      if (!zone_hours) return std::nullopt;
      in.Accept(':');
      const auto zone_minutes = in.Fixed(2);
      if (!zone_minutes || *zone_hours > 14 || *zone_minutes > 59) return std::nullopt;
      offset_minutes = sign * (*zone_hours * 60 + *zone_minutes);
    }
  }
  if (!in.AtEnd()) return std::nullopt;

  // Before 1899-12-30 serials are negative but their fraction still counts forward (Date.h).
  const double day_serial = date->serial();
  const double time = seconds / kSecondsPerDay;
  Date moment(day_serial >= 0 ? day_serial + time : day_serial - time);
  if (offset_minutes != 0) {
    Result<Date> utc = moment.AddMinutes(-offset_minutes);
    if (!utc.ok()) return std::nullopt;
    moment = *utc;
  }
  return moment;
}

std::string FormatIsoDate(Date date) {
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", date.Year(), date.Month(),
                date.Day(), date.Hour(), date.Minute(), date.Second());
  return text;
}

std::optional<Date> ParseIsoDay(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  return ParseIsoDate(text);
}

std::string IsoDayText(Date day) { return FormatIsoDate(day.DatePart()).substr(0, 10); }

}  // namespace orbitel
