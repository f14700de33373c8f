#include "site/RequestFields.h"

#include "runtime/Conversions.h"

namespace orbitel::site {

std::optional<std::string> RequestFields::Find(std::string_view key) const {
  std::optional<std::string> found;
  for (const auto& [name, value] : pairs_) {
    if (!EqualsIgnoringCase(name, key)) continue;
    found = found ? *found + ", " + value : value;
  }
  return found;
}

}  // namespace orbitel::site
