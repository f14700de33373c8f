#pragma once
// Reading LDIF content (RFC 2849) into entries: comments, folded lines, "attr: value",
// "attr:: base64" and "attr:< url" (left out: the directory never fetches), an optional
// "version: 1", and change records, of which "changetype: add" counts as an entry and the
// others (modify, delete, moddn) are passed over. Lines holding only blanks separate entries
// like empty ones, as hand-edited files have them.

#include <string>
#include <string_view>
#include <vector>

#include "runtime/Status.h"

namespace orbitel::directory {

struct LdifAttribute {
  std::string name;   // as spelled in the file
  std::string value;  // decoded; plain values without trailing blanks
};

struct LdifEntry {
  std::string dn;
  int line = 0;  // where the entry starts, for messages
  std::vector<LdifAttribute> attributes;

  // The values of an attribute (name in any case), in file order.
  std::vector<std::string_view> ValuesOf(std::string_view name) const;
  // The first value that is not empty, or an empty text.
  std::string_view FirstValueOf(std::string_view name) const;
  bool Has(std::string_view name) const;
};

// The entries of the text in file order. Text that is not LDIF fails with
// errors::kDirectoryFileMalformed: "The directory file <source> is malformed at line N: ...".
Result<std::vector<LdifEntry>> ReadLdif(std::string_view text, std::string_view source);

}  // namespace orbitel::directory
