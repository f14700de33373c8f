#pragma once
// Case-insensitive comparison of attribute names, object classes and DN types: LDAP treats them
// as ASCII case-insensitive, and directories spell them freely ("objectclass", "DC", "dc").

#include <cstddef>
#include <string_view>

namespace orbitel::directory {

inline char AsciiLower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (AsciiLower(a[i]) != AsciiLower(b[i])) return false;
  }
  return true;
}

// Without leading and trailing spaces and tabs.
inline std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

}  // namespace orbitel::directory
