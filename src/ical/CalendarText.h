#pragma once
// The structural check of a calendar text that libical's lenient parser leaves out, so a bad
// file is refused with the line where it goes wrong: every content line has a name and a colon,
// BEGIN and END pair up, and the text is made of VCALENDARs.

#include <string>
#include <string_view>
#include <vector>

#include "runtime/Status.h"

namespace orbitel::data {

struct CalendarBlock {
  std::string_view text;          // from its BEGIN:VCALENDAR line to its END:VCALENDAR line
  std::vector<int> event_lines;   // the line of each BEGIN:VEVENT directly inside, in order
};

// The VCALENDAR blocks of the text; errors::kSyntaxError "line N: ..." (1-based) otherwise.
Result<std::vector<CalendarBlock>> SplitCalendarText(std::string_view text);

// One content line of a calendar text, its folded continuation lines joined again.
struct ContentLine {
  std::string text;          // without its line end
  std::size_t colon = 0;     // where the value starts; npos: no colon outside quoted parameters
  int first_line = 0;        // 1-based line numbers in the text, continuation lines included
  int last_line = 0;
  std::size_t begin = 0;     // its bytes in the text, line ends included
  std::size_t end = 0;

  // The property name with its parameters left off ("DTSTART" of "DTSTART;VALUE=DATE:...").
  std::string_view Name() const;
  // The value as written, escapes and blanks included.
  std::string_view Value() const;
};

// Reads a calendar text's content lines one after another.
class ContentLineReader {
 public:
  explicit ContentLineReader(std::string_view text) : text_(text) {}
  // The next line into `line`; false at the end of the text.
  bool Next(ContentLine& line);

 private:
  std::string_view text_;
  std::size_t at_ = 0;
  int line_number_ = 0;
};

}  // namespace orbitel::data
