// The query language: the input as a whole store query, and as a filter or WHERE expression
// that, when it parses, is evaluated against a row holding one value of every kind.
#include <optional>
#include <string_view>

#include "FuzzInput.h"
#include "query/Expression.h"
#include "query/SelectStatement.h"
#include "runtime/Conversions.h"
#include "runtime/Date.h"
#include "runtime/Value.h"

using namespace orbitel;

namespace {

std::optional<Value> FieldOfRow(std::string_view name) {
  if (EqualsIgnoringCase(name, "Users")) return Value("alice");
  if (EqualsIgnoringCase(name, "Count")) return Value(42.5);
  if (EqualsIgnoringCase(name, "Start")) return Value(Date(37685.375));
  if (EqualsIgnoringCase(name, "Busy")) return Value(true);
  if (EqualsIgnoringCase(name, "Empty")) return Value();
  return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzz::InputText(data, size);
  (void)data::ParseStatement(text);
  auto expression = data::ParseExpression(text);
  if (expression.ok()) (void)data::Evaluate(**expression, FieldOfRow);
  return 0;
}
