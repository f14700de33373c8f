#pragma once
// Reading LDIF content (RFC 2849) into entries with libldap's LDIF parser: comments, folded
// lines, "attr: value", "attr:: base64" and "attr:< url" (left out: the directory never
// fetches), an optional "version: 1", and change records, of which "changetype: add" counts as
// an entry and the others (modify, delete, moddn) are passed over. Lines holding only blanks
// separate entries like empty ones, as hand-edited files have them; base64 values may leave out
// their padding, and plain values lose their trailing blanks. A NUL byte or a carriage return
// inside a line (not before its line break) is malformed: libldap's parser reads a line up to
// its first NUL and takes carriage returns for the marks of folded lines.

#include <optional>
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

// The bytes of a value written "attr:: ..." (base64, its padding optional; no blanks), or
// nothing when it is not base64.
std::optional<std::string> DecodeLdifBase64(std::string_view text);

}  // namespace orbitel::directory
