#include "store/ItemQuery.h"

#include <algorithm>
#include <compare>
#include <numeric>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "query/DataErrors.h"
#include "runtime/Conversions.h"
#include "store/StoreProperties.h"

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

// The WHERE prepared once per query for running over many items: field names resolved to
// store properties, and the comparisons a period query makes — a date property with a date, a
// number or Boolean property with a number or Boolean, a text property with a text — done on
// the item's own field rather than on Values built for the purpose. These restate only the
// plain cases of Evaluate's rules (dates as moments, numbers with True as -1, text ignoring
// ASCII case); every other comparison is handed to Evaluate itself.
class CompiledWhere {
 public:
  // False when the WHERE names a property the store does not know.
  bool Compile(const Expression& expression) {
    if (!Resolve(expression)) return false;
    root_ = Build(expression);
    return true;
  }

  bool Passes(const StoreItem& item) const { return Passes(root_, item); }

 private:
  enum class Kind { kAnd, kOr, kNot, kDates, kNumbers, kTexts, kOther };
  struct Node {
    Kind kind = Kind::kOther;
    std::vector<Node> children;         // kAnd, kOr, kNot
    const Expression* source = nullptr;  // kOther: evaluated as it stands
    Comparison comparison = Comparison::kEqual;
    StoreProperty property = StoreProperty::kHref;
    bool field_first = true;  // the property is the left operand
    const Value* literal = nullptr;
    double number = 0;  // kNumbers: the literal as a number
  };
  struct Field {
    std::string_view name;  // the operand's own text in the statement
    StoreProperty property;
  };

  bool Resolve(const Expression& expression) {
    for (const auto& child : expression.children) {
      if (!Resolve(*child)) return false;
    }
    if (expression.kind != Expression::Kind::kCompare) return true;
    for (const Expression::Operand* operand : {&expression.left, &expression.right}) {
      if (operand->kind != Expression::Operand::Kind::kField) continue;
      const std::optional<StoreProperty> property = StorePropertyNamed(operand->field);
      if (!property) return false;
      fields_.push_back(Field{operand->field, *property});
    }
    return true;
  }

  static bool IsDateProperty(StoreProperty p) {
    return p == StoreProperty::kDtStart || p == StoreProperty::kDtEnd;  // never empty
  }
  static bool IsNumberProperty(StoreProperty p) {
    return p == StoreProperty::kSensitivity || p == StoreProperty::kAllDayEvent;
  }
  static bool IsTextProperty(StoreProperty p) {
    return p == StoreProperty::kHref || p == StoreProperty::kDisplayName ||
           p == StoreProperty::kUid || p == StoreProperty::kSubject ||
           p == StoreProperty::kLocation || p == StoreProperty::kBusyStatus ||
           p == StoreProperty::kTextDescription;
  }

  Node Build(const Expression& expression) const {
    Node node;
    node.source = &expression;
    switch (expression.kind) {
      case Expression::Kind::kAnd: node.kind = Kind::kAnd; break;
      case Expression::Kind::kOr: node.kind = Kind::kOr; break;
      case Expression::Kind::kNot: node.kind = Kind::kNot; break;
      case Expression::Kind::kCompare: {
        const bool field_first = expression.left.kind == Expression::Operand::Kind::kField;
        const Expression::Operand& field = field_first ? expression.left : expression.right;
        const Expression::Operand& literal = field_first ? expression.right : expression.left;
        if (field.kind != Expression::Operand::Kind::kField ||
            literal.kind != Expression::Operand::Kind::kLiteral) {
          return node;  // two fields or two literals: kOther
        }
        node.property = *StorePropertyNamed(field.field);
        node.comparison = expression.comparison;
        node.field_first = field_first;
        node.literal = &literal.literal;
        const Value& value = literal.literal;
        if (IsDateProperty(node.property) && value.IsDate()) {
          node.kind = Kind::kDates;
        } else if (IsNumberProperty(node.property) && (value.IsNumber() || value.IsBoolean())) {
          node.kind = Kind::kNumbers;
          node.number = value.IsNumber() ? *value.AsNumber() : (*value.AsBoolean() ? -1 : 0);
        } else if (IsTextProperty(node.property) && value.IsText()) {
          node.kind = Kind::kTexts;
        }
        return node;
      }
    }
    for (const auto& child : expression.children) node.children.push_back(Build(*child));
    return node;
  }

  // Every name was resolved before the first item, so nothing here can fail, and AND and OR
  // may stop at the first child that decides them.
  bool Passes(const Node& node, const StoreItem& item) const {
    switch (node.kind) {
      case Kind::kAnd:
        for (const Node& child : node.children) {
          if (!Passes(child, item)) return false;
        }
        return true;
      case Kind::kOr:
        for (const Node& child : node.children) {
          if (Passes(child, item)) return true;
        }
        return false;
      case Kind::kNot: return !Passes(node.children.front(), item);
      case Kind::kDates: {
        const Date& field = node.property == StoreProperty::kDtStart ? item.dtstart : item.dtend;
        const Date& literal = *node.literal->AsDate();
        return Holds(node.comparison, node.field_first ? field <=> literal : literal <=> field);
      }
      case Kind::kNumbers: {
        const double field = node.property == StoreProperty::kSensitivity
                                 ? static_cast<double>(item.sensitivity)
                                 : (item.alldayevent ? -1 : 0);
        return Holds(node.comparison,
                     node.field_first ? field <=> node.number : node.number <=> field);
      }
      case Kind::kTexts: {
        // The status reads upper-cased (PropertyOf), which a comparison ignoring case cannot see.
        const std::string_view field = TextOf(item, node.property);
        const std::string_view literal = *node.literal->AsText();
        return Holds(node.comparison, node.field_first ? CompareIgnoringCase(field, literal)
                                                       : CompareIgnoringCase(literal, field));
      }
      case Kind::kOther: {
        const FieldLookup lookup = [this, &item](std::string_view name) {
          return Lookup(item, name);
        };
        const Result<bool> passes = Evaluate(*node.source, lookup);
        return passes.ok() && *passes;
      }
    }
    return false;
  }

  static std::string_view TextOf(const StoreItem& item, StoreProperty property) {
    switch (property) {
      case StoreProperty::kHref: return item.href;
      case StoreProperty::kDisplayName: return item.displayname;
      case StoreProperty::kUid: return item.uid;
      case StoreProperty::kSubject: return item.subject;
      case StoreProperty::kLocation: return item.location;
      case StoreProperty::kBusyStatus: return item.busystatus;
      case StoreProperty::kTextDescription: return item.textdescription;
      default: return {};
    }
  }

  // Evaluate hands the lookup the operand's own name, so a name is first found by where it is
  // stored (comparing addresses, not texts); any other name is matched by its text, so the
  // answer never depends on that short cut.
  std::optional<Value> Lookup(const StoreItem& item, std::string_view name) const {
    for (const Field& field : fields_) {
      if (field.name.data() == name.data() && field.name.size() == name.size()) {
        return PropertyValue(item, field.property);
      }
    }
    return PropertyOf(item, name);
  }

  std::vector<Field> fields_;
  Node root_;
};

void Collect(const Expression& expression, TimeWindow& window) {
  if (expression.kind == Expression::Kind::kCompare) {
    Narrow(expression, window);
  } else if (expression.kind == Expression::Kind::kAnd) {
    for (const auto& child : expression.children) Collect(*child, window);
  }
}

// A column's value for the recordset. When the candidates are the query's own (Item is not
// const) and no later column reads the same property, a text is moved out of the item rather
// than copied: the item is not read again.
template <typename Item>
Value ColumnValue(Item& item, StoreProperty property, bool last_read) {
  if constexpr (!std::is_const_v<Item>) {
    if (last_read) {
      switch (property) {
        case StoreProperty::kHref: return Value(std::move(item.href));
        case StoreProperty::kDisplayName: return Value(std::move(item.displayname));
        case StoreProperty::kUid: return Value(std::move(item.uid));
        case StoreProperty::kSubject: return Value(std::move(item.subject));
        case StoreProperty::kLocation: return Value(std::move(item.location));
        case StoreProperty::kTextDescription: return Value(std::move(item.textdescription));
        default: break;
      }
    }
  }
  return PropertyValue(item, property);
}

}  // namespace

// What preparing a statement settles once for every folder it runs on.
struct PreparedItemQuery::Compiled {
  const SelectStatement* statement = nullptr;
  std::optional<CompiledWhere> where;  // none without a WHERE
  std::vector<StoreProperty> sort_properties;
  std::vector<FieldInfo> fields;
  std::vector<std::optional<StoreProperty>> properties;  // nullopt: not a store property
  std::vector<bool> last_read;  // whether a column is the last to read its property (ColumnValue)

  // The query over the candidates; Items is a const vector when they are the caller's to keep.
  template <typename Items>
  Status Run(Items& candidates, Recordset& out) const {
    using Item = std::remove_reference_t<decltype(candidates.front())>;
    std::vector<Item*> kept;
    kept.reserve(candidates.size());
    for (Item& item : candidates) {
      if (where && !where->Passes(item)) continue;
      kept.push_back(&item);
    }

    if (!statement->order_by.empty()) {
      // The sort keys are read once per item, not once per comparison.
      std::vector<std::vector<Value>> keys;
      keys.reserve(kept.size());
      for (const Item* item : kept) {
        std::vector<Value> values;
        values.reserve(sort_properties.size());
        for (const StoreProperty property : sort_properties) {
          values.push_back(PropertyValue(*item, property));
        }
        keys.push_back(std::move(values));
      }
      std::vector<std::size_t> order(kept.size());
      std::iota(order.begin(), order.end(), 0);
      std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        for (std::size_t k = 0; k < statement->order_by.size(); ++k) {
          const bool descending = statement->order_by[k].descending;
          const Value& first = descending ? keys[b][k] : keys[a][k];
          const Value& second = descending ? keys[a][k] : keys[b][k];
          if (Less(first, second)) return true;
          if (Less(second, first)) return false;
        }
        return false;
      });
      std::vector<Item*> sorted;
      sorted.reserve(kept.size());
      for (const std::size_t index : order) sorted.push_back(kept[index]);
      kept = std::move(sorted);
    }

    std::vector<std::vector<Value>> rows;
    rows.reserve(kept.size());
    for (Item* item : kept) {
      std::vector<Value> row;
      row.reserve(properties.size());
      for (std::size_t i = 0; i < properties.size(); ++i) {
        row.push_back(properties[i] ? ColumnValue(*item, *properties[i], last_read[i]) : Value());
      }
      rows.push_back(std::move(row));
    }
    out = Recordset(fields, std::move(rows));
    return Status::Ok();
  }
};

Result<PreparedItemQuery> PreparedItemQuery::Prepare(const SelectStatement& statement) {
  auto compiled = std::make_unique<Compiled>();
  compiled->statement = &statement;
  // Names are resolved once, so a WHERE naming a property the store does not know fails even
  // over an empty folder, and the items are then read by property rather than by name.
  if (statement.where) {
    compiled->where.emplace();
    if (!compiled->where->Compile(*statement.where)) return ItemNotFoundError();
  }
  compiled->sort_properties.reserve(statement.order_by.size());
  for (const SortKey& key : statement.order_by) {
    const std::optional<StoreProperty> property = StorePropertyNamed(key.property);
    if (!property) return ItemNotFoundError();
    compiled->sort_properties.push_back(*property);
  }
  for (const std::string& column : statement.columns) {
    FieldInfo field;
    field.name = column;
    field.type = TypeOf(column);
    field.max_length = field.type == "string" ? 255 : 0;
    compiled->fields.push_back(std::move(field));
    compiled->properties.push_back(StorePropertyNamed(column));
  }
  const auto& properties = compiled->properties;
  compiled->last_read.assign(properties.size(), true);
  for (std::size_t i = 0; i < properties.size(); ++i) {
    for (std::size_t j = i + 1; j < properties.size(); ++j) {
      if (properties[i] && properties[j] == properties[i]) compiled->last_read[i] = false;
    }
  }
  PreparedItemQuery prepared;
  prepared.compiled_ = std::move(compiled);
  return prepared;
}

PreparedItemQuery::PreparedItemQuery() = default;
PreparedItemQuery::PreparedItemQuery(PreparedItemQuery&&) noexcept = default;
PreparedItemQuery& PreparedItemQuery::operator=(PreparedItemQuery&&) noexcept = default;
PreparedItemQuery::~PreparedItemQuery() = default;

Status PreparedItemQuery::Run(std::vector<StoreItem>&& candidates, Recordset& out) const {
  return compiled_->Run(candidates, out);
}

Status PreparedItemQuery::Run(const std::vector<StoreItem>& candidates, Recordset& out) const {
  return compiled_->Run(candidates, out);
}

namespace {

bool IsDescription(std::string_view property) {
  return StorePropertyNamed(property) == StoreProperty::kTextDescription;
}

bool IsName(std::string_view property) {
  const std::optional<StoreProperty> named = StorePropertyNamed(property);
  return named == StoreProperty::kHref || named == StoreProperty::kDisplayName || named == StoreProperty::kUid;
}

template <typename Is>
bool WhereReads(const Expression& expression, const Is& is) {
  for (const auto& child : expression.children) {
    if (WhereReads(*child, is)) return true;
  }
  return expression.kind == Expression::Kind::kCompare &&
         ((expression.left.kind == Expression::Operand::Kind::kField && is(expression.left.field)) ||
          (expression.right.kind == Expression::Operand::Kind::kField && is(expression.right.field)));
}

template <typename Is>
bool FiltersOrSortsBy(const SelectStatement& statement, const Is& is) {
  for (const SortKey& key : statement.order_by) {
    if (is(key.property)) return true;
  }
  return statement.where && WhereReads(*statement.where, is);
}

}  // namespace

bool StatementReadsDescription(const SelectStatement& statement) {
  for (const std::string& column : statement.columns) {
    if (IsDescription(column)) return true;
  }
  return FiltersOrSortsBy(statement, IsDescription);
}

bool StatementFiltersOrSortsByName(const SelectStatement& statement) {
  return FiltersOrSortsBy(statement, IsName);
}

Status RunItemQuery(const SelectStatement& statement, const std::vector<StoreItem>& candidates,
                    Recordset& out) {
  Result<PreparedItemQuery> prepared = PreparedItemQuery::Prepare(statement);
  return prepared.ok() ? prepared->Run(candidates, out) : prepared.status();
}

Status RunItemQuery(const SelectStatement& statement, std::vector<StoreItem>&& candidates,
                    Recordset& out) {
  Result<PreparedItemQuery> prepared = PreparedItemQuery::Prepare(statement);
  return prepared.ok() ? prepared->Run(std::move(candidates), out) : prepared.status();
}

TimeWindow WindowOf(const Expression* where) {
  TimeWindow window;
  if (where) Collect(*where, window);
  return window;
}

}  // namespace orbitel::data
