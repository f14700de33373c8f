#pragma once
// The store query statement, the one form the pages send:
//
//   SELECT "prop", "prop", ... FROM scope('shallow traversal of "<folder URL>"')
//     [WHERE <expression>] [ORDER BY "prop" [ASC|DESC], ...]
//
// Keywords in any case, blanks anywhere between tokens. The WHERE part is the grammar of
// Expression.h. Malformed text is errors::kSyntaxError with the 1-based position.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "query/Expression.h"
#include "runtime/Status.h"

namespace orbitel::data {

struct SortKey {
  std::string property;
  bool descending = false;
};

struct SelectStatement {
  std::vector<std::string> columns;     // property names, unquoted, in the order selected
  std::string folder_url;               // the URL inside the scope's traversal text
  std::unique_ptr<Expression> where;    // null without a WHERE
  std::vector<SortKey> order_by;
};

Result<SelectStatement> ParseStatement(std::string_view text);

}  // namespace orbitel::data
