#pragma once
// Directory values, DN parts and credentials lines with their surrounding blanks removed.
// (Attribute names, object classes and DN types are ASCII case-insensitive: the directory
// compares them with the runtime's EqualsIgnoringCase, which this header brings along.)

#include <string_view>

#include "runtime/Conversions.h"

namespace orbitel {

// Without leading and trailing spaces and tabs.
inline std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

}  // namespace orbitel
