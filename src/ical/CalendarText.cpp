#include "ical/CalendarText.h"

#include <algorithm>
#include <cctype>

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

Status LineError(int line, const std::string& what) {
  return Status::Error(errors::kSyntaxError, "line " + std::to_string(line) + ": " + what);
}

struct OpenComponent {
  std::string name;
  int line;
};

// The name of a content line and where its value starts; npos when the line has no colon
// outside quoted parameter values.
std::size_t ColonOf(std::string_view line) {
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == ':' && !quoted) return i;
  }
  return std::string_view::npos;
}

bool IsNameCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-';
}

}  // namespace

std::string_view ContentLine::Name() const {
  return std::string_view(text).substr(0, std::min(colon, text.find(';')));
}

std::string_view ContentLine::Value() const {
  return colon == std::string::npos ? std::string_view() : std::string_view(text).substr(colon + 1);
}

bool ContentLineReader::Next(ContentLine& line) {
  if (at_ >= text_.size()) return false;
  line.text.clear();
  line.begin = at_;
  line.first_line = ++line_number_;
  // The line with its folded continuation lines (those starting with a blank).
  std::size_t end = text_.find('\n', at_);
  for (;;) {
    std::string_view piece = text_.substr(at_, end == std::string_view::npos ? text_.size() - at_ : end - at_);
    if (!piece.empty() && piece.back() == '\r') piece.remove_suffix(1);
    if (at_ != line.begin && !piece.empty()) piece.remove_prefix(1);
    line.text += piece;
    at_ = end == std::string_view::npos ? text_.size() : end + 1;
    if (at_ >= text_.size() || (text_[at_] != ' ' && text_[at_] != '\t')) break;
    ++line_number_;
    end = text_.find('\n', at_);
  }
  line.last_line = line_number_;
  line.end = at_;
  line.colon = ColonOf(line.text);
  return true;
}

Result<std::vector<CalendarBlock>> SplitCalendarText(std::string_view text) {
  std::vector<CalendarBlock> blocks;
  std::vector<OpenComponent> open;
  std::size_t block_start = 0;
  int line_number = 0;
  ContentLineReader reader(text);
  ContentLine content;
  while (reader.Next(content)) {
    const std::string& line = content.text;
    const std::size_t line_start = content.begin;
    const std::size_t at = content.end;
    const int first_line = content.first_line;
    line_number = content.last_line;
    if (Trim(line).empty()) continue;

    const std::size_t colon = content.colon;
    if (colon == std::string::npos) return LineError(first_line, "a line without a colon");
    std::size_t name_end = 0;
    while (name_end < colon && IsNameCharacter(line[name_end])) ++name_end;
    if (name_end == 0 || (name_end < colon && line[name_end] != ';')) {
      return LineError(first_line, "a property without a valid name");
    }
    const std::string name = ToUpper(line.substr(0, name_end));
    const std::string value = ToUpper(Trim(line.substr(colon + 1)));
    if (name == "BEGIN") {
      if (open.empty()) {
        if (value != "VCALENDAR") return LineError(first_line, "BEGIN:VCALENDAR expected");
        blocks.push_back(CalendarBlock{});
        block_start = line_start;
      } else if (value == "VEVENT" && open.size() == 1) {
        blocks.back().event_lines.push_back(first_line);
      }
      if (value.empty()) return LineError(first_line, "BEGIN without a component name");
      open.push_back(OpenComponent{value, first_line});
    } else if (name == "END") {
      if (open.empty()) return LineError(first_line, "END:" + value + " without its BEGIN");
      if (open.back().name != value) {
        return LineError(first_line, "END:" + value + " where BEGIN:" + open.back().name +
                                         " of line " + std::to_string(open.back().line) +
                                         " is still open");
      }
      open.pop_back();
      if (open.empty()) blocks.back().text = text.substr(block_start, at - block_start);
    } else if (open.empty()) {
      return LineError(first_line, "a property outside a VCALENDAR");
    }
  }
  if (!open.empty()) {
    return LineError(line_number, "BEGIN:" + open.back().name + " of line " +
                                      std::to_string(open.back().line) + " is never ended");
  }
  if (blocks.empty()) return LineError(line_number == 0 ? 1 : line_number, "no VCALENDAR");
  return blocks;
}

}  // namespace orbitel::data
