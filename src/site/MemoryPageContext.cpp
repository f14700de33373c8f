#include "site/MemoryPageContext.h"

namespace orbitel::site {

std::optional<std::string> MemoryPageContext::Request(std::string_view key) const {
  if (auto value = query_.Find(key)) return value;
  return form_.Find(key);
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
