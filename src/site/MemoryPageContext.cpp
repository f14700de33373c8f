#include "site/MemoryPageContext.h"

#include "runtime/Conversions.h"

namespace orbitel::site {

std::optional<std::string> MemoryPageContext::Lookup(const Pairs& pairs, std::string_view key) {
  // The server matches request keys without regard to case and joins repeated keys.
  std::optional<std::string> found;
  const std::string wanted = ToLower(key);
  for (const auto& [name, value] : pairs) {
    if (ToLower(name) != wanted) continue;
    found = found ? *found + ", " + value : value;
  }
  return found;
}

std::optional<std::string> MemoryPageContext::Request(std::string_view key) const {
  if (auto value = Lookup(query_, key)) return value;
  return Lookup(form_, key);
}

std::string MemoryPageContext::ServerVariable(std::string_view name) const {
  auto it = variables_.find(name);
  return it == variables_.end() ? std::string() : it->second;
}

std::string MemoryPageContext::Session(std::string_view key) const {
  auto it = session_.find(key);
  return it == session_.end() ? std::string() : it->second;
}

}  // namespace orbitel::site
