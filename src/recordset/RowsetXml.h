#pragma once
// The ADO XML persistence format of a recordset, as text: an s:Schema declaring the fields
// (s:AttributeType with its s:datatype), then rs:data holding one z:row a record with each
// non-empty field as an attribute. Reading goes by the elements' local names, so any prefix
// works; writing produces the layout ADO writes.

#include <string>
#include <string_view>

#include "recordset/Recordset.h"
#include "runtime/Status.h"

namespace orbitel::data {

// An open recordset with the file's fields and rows, every value as text; a field missing from
// a row is empty. Rows inside rs:insert and rs:update count (not their rs:original copies),
// rows inside rs:delete do not. Fails with errors::kPersistedFileInvalid naming `file_name`
// when the text is not XML or has no schema.
Result<Recordset> ParseRowsetXml(std::string_view xml, const std::string& file_name);

// The recordset's fields and committed rows. Empty values are left out of their row; every
// other text comes back unchanged when read again.
std::string WriteRowsetXml(const Recordset& recordset);

}  // namespace orbitel::data
