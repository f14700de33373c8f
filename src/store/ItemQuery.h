#pragma once
// The part of running a store query that every provider shares: once a provider has gathered
// the items of its folder (occurrences expanded), this keeps those passing the WHERE, orders
// them and builds the recordset of the selected columns. A provider that can range-scan asks
// WindowOf for the time bounds the WHERE sets, so it need not read the whole folder.

#include <memory>
#include <optional>
#include <vector>

#include "query/Expression.h"
#include "query/SelectStatement.h"
#include "recordset/Recordset.h"
#include "runtime/Date.h"
#include "runtime/Status.h"
#include "store/StoreItem.h"

namespace orbitel::data {

// The candidates that pass the statement's WHERE, in ORDER BY order (ties and no ORDER BY keep
// the candidates' order), as an open recordset whose fields are the selected columns in the
// selected order. A selected property the store does not know reads as an empty value; a
// property it does not know in the WHERE or ORDER BY fails with
// errors::kItemNotFoundInCollection. On failure `out` is left as it was.
Status RunItemQuery(const SelectStatement& statement, const std::vector<StoreItem>& candidates,
                    Recordset& out);
// The same over candidates the query may use up (their texts are moved into the recordset).
Status RunItemQuery(const SelectStatement& statement, std::vector<StoreItem>&& candidates,
                    Recordset& out);

// A statement made ready to run over the candidates of one folder after another: its names
// resolved and its WHERE compiled once. It refers to the statement, which must outlive it.
class PreparedItemQuery {
 public:
  // errors::kItemNotFoundInCollection when the WHERE or ORDER BY names a property the store
  // does not know.
  static Result<PreparedItemQuery> Prepare(const SelectStatement& statement);
  PreparedItemQuery(PreparedItemQuery&&) noexcept;
  PreparedItemQuery& operator=(PreparedItemQuery&&) noexcept;
  ~PreparedItemQuery();

  // As RunItemQuery with the statement prepared.
  Status Run(std::vector<StoreItem>&& candidates, Recordset& out) const;
  Status Run(const std::vector<StoreItem>& candidates, Recordset& out) const;

 private:
  PreparedItemQuery();
  struct Compiled;
  std::unique_ptr<const Compiled> compiled_;
};

// Whether the statement reads the items' text description at all (selects it, or sorts or
// filters by it): a store may leave that long text out of the candidates otherwise.
bool StatementReadsDescription(const SelectStatement& statement);
// Whether its WHERE or ORDER BY reads an item's names (href, displayname, uid), which a store
// must then fill whatever the reader reads of them (see ReadNeeds).
bool StatementFiltersOrSortsByName(const SelectStatement& statement);

// The time range a WHERE confines items to: items starting at or after start_from and ending at
// or before end_until. Taken from comparisons of "urn:schemas:calendar:dtstart" >= (or >) and
// "urn:schemas:calendar:dtend" <= (or <) with a date, either way round, that are AND-ed at the
// top of the WHERE; anything under OR or NOT leaves the bound open. The window only narrows a
// scan: every item inside it must still pass the WHERE.
struct TimeWindow {
  std::optional<Date> start_from;
  std::optional<Date> end_until;
};
TimeWindow WindowOf(const Expression* where);

}  // namespace orbitel::data
