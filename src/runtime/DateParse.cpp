// Text read as a date the way the runtime's CDate reads the forms this system writes and
// receives: an optional date part (numeric month/day/year, ISO year-month-day, or month name)
// followed by an optional time of day.

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel {

namespace {

Status TypeMismatch() { return Status::Error(errors::kTypeMismatch, "Type mismatch"); }

struct Token {
  enum Kind { kNumber, kWord, kSymbol } kind;
  std::string text;  // words upper-cased
  bool has_point = false;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::vector<Token> Tokenize(std::string_view text) {
  std::vector<Token> tokens;
  std::size_t at = 0;
  while (at < text.size()) {
    const char c = text[at];
    const bool starts_fraction = c == '.' && at + 1 < text.size() && IsDigit(text[at + 1]);
    if (c == ' ' || c == '\t') {
      ++at;
    } else if (IsDigit(c) || starts_fraction) {
      Token token{Token::kNumber, {}};
      while (at < text.size() && IsDigit(text[at])) token.text += text[at++];
      if (at + 1 < text.size() && text[at] == '.' && IsDigit(text[at + 1])) {
        token.has_point = true;
        token.text += text[at++];
        while (at < text.size() && IsDigit(text[at])) token.text += text[at++];
      }
      tokens.push_back(std::move(token));
    } else if (IsLetter(c)) {
      Token token{Token::kWord, {}};
      while (at < text.size() && IsLetter(text[at])) token.text += text[at++];
      token.text = ToUpper(token.text);
      tokens.push_back(std::move(token));
    } else {
      tokens.push_back({Token::kSymbol, std::string(1, c)});
      ++at;
    }
  }
  return tokens;
}

// 1..12 for a month's full name or three-letter abbreviation, else 0.
int MonthNumber(const std::string& word) {
  static constexpr const char* kNames[] = {"JANUARY",   "FEBRUARY", "MARCH",    "APRIL",
                                           "MAY",       "JUNE",     "JULY",     "AUGUST",
                                           "SEPTEMBER", "OCTOBER",  "NOVEMBER", "DECEMBER"};
  for (int i = 0; i < 12; ++i) {
    const std::string_view name = kNames[i];
    if (word == name || word == name.substr(0, 3)) return i + 1;
  }
  return 0;
}

bool IsWeekdayName(const std::string& word) {
  static constexpr const char* kNames[] = {"SUNDAY",   "MONDAY", "TUESDAY", "WEDNESDAY",
                                           "THURSDAY", "FRIDAY", "SATURDAY"};
  for (const std::string_view name : kNames) {
    if (word == name || word == name.substr(0, 3)) return true;
  }
  return false;
}

class DateReader {
 public:
  explicit DateReader(std::string_view text) : tokens_(Tokenize(text)) {}

  Result<Date> Read() {
    std::optional<Date> date;
    if (StartsDate()) {
      date = ReadDate();
      if (!date) return TypeMismatch();
      // The ISO separator between date and time must have a time after it.
      if (IsWord("T") && ++at_ == tokens_.size()) return TypeMismatch();
    }
    std::optional<int> seconds;
    if (at_ < tokens_.size()) {
      seconds = ReadTime();
      if (!seconds) return TypeMismatch();
    }
    if (at_ != tokens_.size() || (!date && !seconds)) return TypeMismatch();
    // "23:1" is 24:00, which carries into the next day (time only: 31 December 1899).
    return date.value_or(Date()).AddSeconds(seconds.value_or(0));
  }

 private:
  const Token* Peek(std::size_t ahead = 0) const {
    return at_ + ahead < tokens_.size() ? &tokens_[at_ + ahead] : nullptr;
  }
  bool IsSymbol(char c, std::size_t ahead = 0) const {
    const Token* token = Peek(ahead);
    return token && token->kind == Token::kSymbol && token->text[0] == c;
  }
  bool IsWord(std::string_view word) const {
    const Token* token = Peek();
    return token && token->kind == Token::kWord && token->text == word;
  }
  bool SkipSymbol(char c) {
    if (!IsSymbol(c)) return false;
    ++at_;
    return true;
  }

  // A whole number of at most max_digits digits.
  std::optional<int> ReadInteger(std::size_t max_digits) {
    const Token* token = Peek();
    if (!token || token->kind != Token::kNumber || token->has_point ||
        token->text.size() > max_digits) {
      return std::nullopt;
    }
    ++at_;
    return std::stoi(token->text);
  }

  bool StartsDate() const {
    const Token* first = Peek();
    if (!first) return false;
    if (first->kind == Token::kWord) return MonthNumber(first->text) || IsWeekdayName(first->text);
    return first->kind == Token::kNumber && (IsSymbol('/', 1) || IsSymbol('-', 1));
  }

  std::optional<Date> ReadDate() {
    if (Peek()->kind == Token::kWord) return ReadNamedDate();
    const char separator = Peek(1)->text[0];
    const std::size_t first_digits = Peek()->text.size();
    const std::optional<int> first = ReadInteger(4);
    if (!first || !SkipSymbol(separator)) return std::nullopt;
    const std::optional<int> second = ReadInteger(2);
    if (!second || !SkipSymbol(separator)) return std::nullopt;
    const Token* last = Peek();
    const std::optional<int> third = ReadInteger(4);
    if (!third) return std::nullopt;
    // A leading year ("2003-03-05") is recognised by its digit count.
    if (first_digits >= 3) {
      if (last->text.size() > 2) return std::nullopt;
      return Validate(*first, first_digits, *second, *third);
    }
    return Validate(*third, last->text.size(), *first, *second);
  }

  // "March 5, 2003" and "Wednesday, March 05, 2003"; the weekday is not checked, as the
  // runtime does not check it either.
  std::optional<Date> ReadNamedDate() {
    if (IsWeekdayName(Peek()->text)) {
      ++at_;
      SkipSymbol(',');
    }
    const Token* month_word = Peek();
    if (!month_word || month_word->kind != Token::kWord || !MonthNumber(month_word->text)) {
      return std::nullopt;
    }
    ++at_;
    const std::optional<int> day = ReadInteger(2);
    if (!day) return std::nullopt;
    SkipSymbol(',');
    const Token* year_token = Peek();
    const std::optional<int> year = ReadInteger(4);
    if (!year) return std::nullopt;
    return Validate(*year, year_token->text.size(), MonthNumber(month_word->text), *day);
  }

  // Written dates do not carry: a month or day out of range makes the text no date.
  static std::optional<Date> Validate(int year, std::size_t year_digits, int month, int day) {
    if (year_digits <= 2) year += year < 30 ? 2000 : 1900;
    if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 ||
        day > DaysIn(year, month)) {
      return std::nullopt;
    }
    const Result<Date> date = Date::FromParts(year, month, day);
    if (!date.ok()) return std::nullopt;
    return *date;
  }

  // The seconds since midnight of "9:30", "9:30:15 PM", "9 AM" or the hour-fraction "10:0.5".
  std::optional<int> ReadTime() {
    std::optional<int> hour = ReadInteger(2);
    if (!hour) return std::nullopt;
    int minute = 0;
    int second = 0;
    int fraction_seconds = 0;
    const bool has_colon = SkipSymbol(':');
    if (has_colon) {
      const Token* token = Peek();
      if (!token || token->kind != Token::kNumber) return std::nullopt;
      const bool hour_fraction =
          token->has_point || ((token->text == "0" || token->text == "1") && !IsSymbol(':', 1));
      if (hour_fraction) {
        const std::optional<int> seconds = ReadHourFraction();
        if (!seconds) return std::nullopt;
        fraction_seconds = *seconds;
      } else {
        const std::optional<int> minutes = ReadInteger(2);
        if (!minutes || *minutes > 59) return std::nullopt;
        minute = *minutes;
        if (SkipSymbol(':')) {
          const std::optional<int> seconds = ReadInteger(2);
          if (!seconds || *seconds > 59) return std::nullopt;
          second = *seconds;
        }
      }
    }
    if (IsWord("AM") || IsWord("PM")) {
      const bool afternoon = Peek()->text == "PM";
      ++at_;
      if (*hour > 12) return std::nullopt;
      if (*hour == 12) *hour = 0;
      if (afternoon) *hour += 12;
    } else if (!has_colon || *hour > 23) {
      return std::nullopt;  // a bare number is no time of day
    }
    return *hour * 3600 + minute * 60 + second + fraction_seconds;
  }

  // The part after the colon of "10:0.5" as seconds: a fraction of an hour from 0 to 1.
  std::optional<int> ReadHourFraction() {
    const std::string& text = Peek()->text;
    const std::string plain = text.front() == '.' ? "0" + text : text;
    double fraction = 0;
    const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), fraction);
    if (error != std::errc() || end != plain.data() + plain.size() || fraction > 1) {
      return std::nullopt;
    }
    ++at_;
    return static_cast<int>(std::lround(fraction * 3600));
  }

  std::vector<Token> tokens_;
  std::size_t at_ = 0;
};

}  // namespace

Result<Date> ParseDate(std::string_view text) { return DateReader(text).Read(); }

}  // namespace orbitel
