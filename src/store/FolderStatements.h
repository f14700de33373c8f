#pragma once
// The statements of a run of folder reads that differ only in the folder each names (a team
// page's period queries, one a person): the first text is parsed, and each later text that is
// the same around its folder's URL is that statement with the URL set, which is what parsing
// it would give. Any other text is parsed on its own. Not thread-safe; one per run.

#include <optional>
#include <string>

#include "query/SelectStatement.h"
#include "runtime/Status.h"
#include "store/StoreProvider.h"

namespace orbitel::data {

class FolderStatements {
 public:
  // The statement of the query's text, valid until the next call, or the error parsing gave.
  // `same_shape` says whether it is the statement of the last call with only its folder URL
  // changed (so whatever was prepared from that one still holds).
  Result<const SelectStatement*> Parse(const FolderQuery& query, bool& same_shape);

 private:
  // The text parsed last, around its folder's URL, when the URL stands once in it and the parse
  // took its scope from there.
  struct Shape {
    std::string before;
    std::string after;
  };

  bool FitsShape(const FolderQuery& query) const;

  std::optional<SelectStatement> statement_;
  std::optional<Shape> shape_;
};

}  // namespace orbitel::data
