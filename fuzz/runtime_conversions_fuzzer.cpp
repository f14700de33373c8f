// The runtime's number and date parsing, as the pages apply it to request values and rowset
// fields: the input as a number, an integer, a Boolean and a date. A text is numeric exactly
// when it converts to a number, and the runtime's own forms of what parses read back.
#include <string>

#include "FuzzInput.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"

using namespace orbitel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzz::InputText(data, size);

  const auto number = ToDouble(text);
  fuzz::Require(number.ok() == IsNumeric(text), "a text is numeric when it converts to a number");
  if (number.ok()) {
    const std::string printed = FormatDouble(*number);
    fuzz::Require(ToDouble(printed).ok(), "a printed number reads again");
    (void)ToInteger(*number);
  }
  (void)ToInteger(text);
  (void)ToBoolean(text);

  const auto date = ParseDate(text);
  if (date.ok()) {
    (void)FormatLongDate(*date);
    (void)FormatShortDate(*date);
    (void)FormatLongTime(*date);
    fuzz::Require(ParseDate(FormatGeneralDate(*date)).ok(), "a printed date reads again");
  }

  (void)Trim(text);
  (void)CompareIgnoringCase(ToUpper(text), ToLower(text));
  return 0;
}
