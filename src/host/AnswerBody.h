#pragma once
// An answer's body as the pieces it is sent in, one after the other without joining them: texts
// of its own and views into what `keep` holds alive (a cached page shared by every answer made
// from it, so a large page goes out without a copy).

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orbitel::host {

struct AnswerBody {
  std::vector<std::variant<std::string, std::string_view>> pieces;
  std::shared_ptr<const void> keep;

  std::size_t size() const {
    std::size_t total = 0;
    for (const auto& piece : pieces) {
      total += std::visit([](const auto& text) { return std::string_view(text).size(); }, piece);
    }
    return total;
  }

  // The pieces in one text.
  std::string Joined() const {
    std::string text;
    text.reserve(size());
    for (const auto& piece : pieces) {
      text += std::visit([](const auto& part) { return std::string_view(part); }, piece);
    }
    return text;
  }
};

}  // namespace orbitel::host
