#include "data/ItemQuery.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>

#include "data/DataErrors.h"
#include "runtime/Conversions.h"

namespace orbitel::data {
namespace {

constexpr std::string_view kDtStart = "urn:schemas:calendar:dtstart";
constexpr std::string_view kDtEnd = "urn:schemas:calendar:dtend";

// The declared type of a column, so a recordset of store items reads like the store's own.
std::string TypeOf(std::string_view property) {
  const std::string name = ToLower(property);
  if (name == kDtStart || name == kDtEnd || name == "urn:schemas:calendar:recurrenceid") {
    return "dateTime";
  }
  if (name == "urn:schemas:calendar:alldayevent") return "boolean";
  if (name == "http://schemas.microsoft.com/exchange/sensitivity") return "int";
  return "string";
}

// Orders two values of one property the way the WHERE compares them (text without case, dates
// as moments), by evaluating the comparison itself rather than restating its rules. The WHERE
// leaves an empty value unordered against a date; a sort needs an order, so empty comes first
// (an item without a recurrence id before the occurrences).
bool Less(const Value& a, const Value& b) {
  if (a.IsEmpty() || b.IsEmpty()) return a.IsEmpty() && !b.IsEmpty();
  Expression less;
  less.comparison = Comparison::kLess;
  less.left.literal = a;
  less.right.literal = b;
  const FieldLookup none = [](std::string_view) -> std::optional<Value> { return std::nullopt; };
  Result<bool> result = Evaluate(less, none);
  return result.ok() && *result;
}

// The comparison as seen from the field's side: "X <= dtstart" is "dtstart >= X".
Comparison Mirrored(Comparison comparison) {
  switch (comparison) {
    case Comparison::kLess: return Comparison::kGreater;
    case Comparison::kLessOrEqual: return Comparison::kGreaterOrEqual;
    case Comparison::kGreater: return Comparison::kLess;
    case Comparison::kGreaterOrEqual: return Comparison::kLessOrEqual;
    default: return comparison;
  }
}

void Narrow(const Expression& comparison, TimeWindow& window) {
  const Expression::Operand* field = &comparison.left;
  const Expression::Operand* literal = &comparison.right;
  Comparison op = comparison.comparison;
  if (field->kind != Expression::Operand::Kind::kField) {
    std::swap(field, literal);
    op = Mirrored(op);
  }
  if (field->kind != Expression::Operand::Kind::kField ||
      literal->kind != Expression::Operand::Kind::kLiteral) {
    return;
  }
  const Date* date = literal->literal.AsDate();
  if (!date) return;
  const std::string name = ToLower(field->field);
  if (name == kDtStart && (op == Comparison::kGreaterOrEqual || op == Comparison::kGreater)) {
    if (!window.start_from || *window.start_from < *date) window.start_from = *date;
  } else if (name == kDtEnd && (op == Comparison::kLessOrEqual || op == Comparison::kLess)) {
    if (!window.end_until || *date < *window.end_until) window.end_until = *date;
  }
}

void Collect(const Expression& expression, TimeWindow& window) {
  if (expression.kind == Expression::Kind::kCompare) {
    Narrow(expression, window);
  } else if (expression.kind == Expression::Kind::kAnd) {
    for (const auto& child : expression.children) Collect(*child, window);
  }
}

}  // namespace

Status RunItemQuery(const SelectStatement& statement, const std::vector<StoreItem>& candidates,
                    Recordset& out) {
  // Names are checked once against an empty item, so a WHERE naming a property the store does
  // not know fails even over an empty folder.
  const StoreItem probe;
  if (statement.where) {
    const FieldLookup lookup = [&probe](std::string_view name) { return PropertyOf(probe, name); };
    if (Result<bool> checked = Evaluate(*statement.where, lookup); !checked.ok()) {
      return checked.status();
    }
  }
  for (const SortKey& key : statement.order_by) {
    if (!PropertyOf(probe, key.property)) return ItemNotFoundError();
  }

  std::vector<const StoreItem*> kept;
  for (const StoreItem& item : candidates) {
    if (statement.where) {
      const FieldLookup lookup = [&item](std::string_view name) { return PropertyOf(item, name); };
      Result<bool> passes = Evaluate(*statement.where, lookup);
      if (!passes.ok()) return passes.status();
      if (!*passes) continue;
    }
    kept.push_back(&item);
  }

  if (!statement.order_by.empty()) {
    // The sort keys are read once per item, not once per comparison.
    std::vector<std::vector<Value>> keys;
    keys.reserve(kept.size());
    for (const StoreItem* item : kept) {
      std::vector<Value> values;
      for (const SortKey& key : statement.order_by) values.push_back(*PropertyOf(*item, key.property));
      keys.push_back(std::move(values));
    }
    std::vector<std::size_t> order(kept.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      for (std::size_t k = 0; k < statement.order_by.size(); ++k) {
        const bool descending = statement.order_by[k].descending;
        const Value& first = descending ? keys[b][k] : keys[a][k];
        const Value& second = descending ? keys[a][k] : keys[b][k];
        if (Less(first, second)) return true;
        if (Less(second, first)) return false;
      }
      return false;
    });
    std::vector<const StoreItem*> sorted;
    sorted.reserve(kept.size());
    for (const std::size_t index : order) sorted.push_back(kept[index]);
    kept = std::move(sorted);
  }

  std::vector<FieldInfo> fields;
  for (const std::string& column : statement.columns) {
    FieldInfo field;
    field.name = column;
    field.type = TypeOf(column);
    field.max_length = field.type == "string" ? 255 : 0;
    fields.push_back(std::move(field));
  }
  std::vector<std::vector<Value>> rows;
  rows.reserve(kept.size());
  for (const StoreItem* item : kept) {
    std::vector<Value> row;
    for (const std::string& column : statement.columns) {
      row.push_back(PropertyOf(*item, column).value_or(Value()));
    }
    rows.push_back(std::move(row));
  }
  out = Recordset(std::move(fields), std::move(rows));
  return Status::Ok();
}

TimeWindow WindowOf(const Expression* where) {
  TimeWindow window;
  if (where) Collect(*where, window);
  return window;
}

}  // namespace orbitel::data
