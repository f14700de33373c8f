#include "runtime/Value.h"

#include "runtime/Conversions.h"
#include "runtime/DateText.h"

namespace orbitel {

std::string Value::Text() const {
  if (const std::string* text = AsText()) return *text;
  if (const double* number = AsNumber()) return FormatDouble(*number);
  if (const bool* flag = AsBoolean()) return FormatBoolean(*flag);
  if (const Date* date = AsDate()) return FormatGeneralDate(*date);
  return {};
}

}  // namespace orbitel
