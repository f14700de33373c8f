#include "directory/AccountRules.h"

#include <charconv>

#include "runtime/TrimBlanks.h"

namespace orbitel::directory {
namespace {

constexpr long kAccountDisabled = 0x2;  // userAccountControl ACCOUNTDISABLE

bool IsAccountEntry(const AttributeValues& values_of) {
  bool person = false;
  for (std::string_view object_class : values_of("objectClass")) {
    object_class = TrimBlanks(object_class);
    if (EqualsIgnoringCase(object_class, "computer")) return false;  // computers are users too
    person = person || EqualsIgnoringCase(object_class, "user") ||
             EqualsIgnoringCase(object_class, "person") ||
             EqualsIgnoringCase(object_class, "organizationalPerson") ||
             EqualsIgnoringCase(object_class, "inetOrgPerson");
  }
  return person;
}

// The first value that is not empty, or an empty text.
std::string_view FirstValueOf(const AttributeValues& values_of, std::string_view name) {
  for (std::string_view value : values_of(name)) {
    if (!value.empty()) return value;
  }
  return {};
}

// userAccountControl is a decimal 32-bit flag set; some tools write it signed.
bool HasDisabledFlag(std::string_view text) {
  text = TrimBlanks(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  long long flags = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), flags);
  return error == std::errc() && end == text.data() + text.size() && (flags & kAccountDisabled);
}

bool IsDisabled(const AttributeValues& values_of) {
  return HasDisabledFlag(FirstValueOf(values_of, "userAccountControl")) ||
         EqualsIgnoringCase(TrimBlanks(FirstValueOf(values_of, "nsAccountLock")), "true") ||
         !values_of("pwdAccountLockedTime").empty();
}

}  // namespace

std::optional<Account> AccountOf(const AttributeValues& values_of) {
  if (!IsAccountEntry(values_of)) return std::nullopt;
  std::string_view name = FirstValueOf(values_of, "sAMAccountName");
  if (name.empty()) name = FirstValueOf(values_of, "uid");
  if (name.empty()) return std::nullopt;
  std::string_view full_name = FirstValueOf(values_of, "displayName");
  if (full_name.empty()) full_name = FirstValueOf(values_of, "cn");
  return Account{std::string(name), std::string(full_name), IsDisabled(values_of)};
}

const std::vector<const char*>& AccountAttributeNames() {
  // pwdAccountLockedTime is operational on OpenLDAP: it comes only when asked for by name.
  static const std::vector<const char*> names = {
      "objectClass", "sAMAccountName", "uid",           "displayName",
      "cn",          "userAccountControl", "nsAccountLock", "pwdAccountLockedTime"};
  return names;
}

const char* AccountSearchFilter() {
  return "(&(|(objectClass=user)(objectClass=person)(objectClass=organizationalPerson)"
         "(objectClass=inetOrgPerson))(!(objectClass=computer)))";
}

}  // namespace orbitel::directory
