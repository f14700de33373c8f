#pragma once
// The values of one part of a request (its query string or its form), in the order they came.
// Keys match without regard to case, as the server's request lookup does; a key given several
// times reads as its values joined with ", ".

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orbitel::site {

class RequestFields {
 public:
  void Add(std::string key, std::string value) {
    pairs_.emplace_back(std::move(key), std::move(value));
  }
  // nullopt when the key is absent.
  std::optional<std::string> Find(std::string_view key) const;

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
};

}  // namespace orbitel::site
