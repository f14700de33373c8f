#include "store/FolderStatements.h"

#include <string_view>
#include <utility>

namespace orbitel::data {

namespace {

// A URL that can take another's place in a statement's text without changing how the text
// reads: nothing in it could end the scope's quoted text or the quoted URL inside it.
bool IsPlainUrl(std::string_view url) {
  return !url.empty() && url.find_first_of("'\"") == std::string_view::npos;
}

}  // namespace

bool FolderStatements::FitsShape(const FolderQuery& query) const {
  if (!shape_ || !IsPlainUrl(query.folder_url)) return false;
  const std::string_view text = query.statement;
  const std::string_view url = query.folder_url;
  return text.size() == shape_->before.size() + url.size() + shape_->after.size() &&
         text.starts_with(shape_->before) && text.ends_with(shape_->after) &&
         text.substr(shape_->before.size(), url.size()) == url;
}

Result<const SelectStatement*> FolderStatements::Parse(const FolderQuery& query, bool& same_shape) {
  same_shape = FitsShape(query);
  if (same_shape) {
    statement_->folder_url = query.folder_url;
    return &*statement_;
  }
  shape_.reset();
  statement_.reset();
  Result<SelectStatement> parsed = ParseStatement(query.statement);
  if (!parsed.ok()) return parsed.status();
  statement_ = std::move(parsed).value();
  // The URL found once in the text is the one the scope was read from: the shape holds only
  // then, as another text put in its place changes nothing else.
  const std::string& url = query.folder_url;
  const std::size_t at = query.statement.find(url);
  if (IsPlainUrl(url) && statement_->folder_url == url && at != std::string::npos &&
      query.statement.find(url, at + 1) == std::string::npos) {
    shape_ = Shape{query.statement.substr(0, at), query.statement.substr(at + url.size())};
  }
  return &*statement_;
}

}  // namespace orbitel::data
