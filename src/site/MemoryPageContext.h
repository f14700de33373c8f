#pragma once
// A page context made of plain strings, for unit tests of page methods and for tools that run a
// page outside the web server. Query and form values are kept in the order they were added.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "site/PageContext.h"
#include "site/RequestFields.h"

namespace orbitel::site {

class MemoryPageContext : public PageContext {
 public:
  MemoryPageContext& Query(std::string key, std::string value) {
    query_.Add(std::move(key), std::move(value));
    return *this;
  }
  MemoryPageContext& Form(std::string key, std::string value) {
    form_.Add(std::move(key), std::move(value));
    return *this;
  }
  MemoryPageContext& Variable(std::string name, std::string value) {
    variables_[std::move(name)] = std::move(value);
    return *this;
  }

  std::optional<std::string> Request(std::string_view key) const override;
  std::string ServerVariable(std::string_view name) const override;
  void Redirect(const std::string& url) override { redirects_.push_back(url); }
  std::string Session(std::string_view key) const override;
  void SetSession(std::string_view key, std::string value) override {
    session_[std::string(key)] = std::move(value);
  }

  // Every redirect asked for, in order.
  const std::vector<std::string>& redirects() const { return redirects_; }

 private:
  RequestFields query_, form_;
  std::map<std::string, std::string, std::less<>> variables_, session_;
  std::vector<std::string> redirects_;
};

}  // namespace orbitel::site
