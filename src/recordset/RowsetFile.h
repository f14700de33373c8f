#pragma once
// Rowset files: a recordset persisted in the ADO XML persistence format (an s:Schema with the
// declared fields, then rs:data with one z:row element a record, each field an attribute), so
// the settings and user files of an existing site load unchanged.
//
// Saving writes a temporary file in the same folder, flushes it, and renames it over the old one
// while holding an advisory lock on "<file>.lock", so a reader never sees a half-written file and
// two writers never interleave. Loading never changes the file. Safe to call from any thread.

#include <filesystem>

#include "recordset/Recordset.h"
#include "runtime/Status.h"

namespace orbitel::data {

// Fails with errors::kFileNotFound for a missing file and errors::kPersistedFileInvalid for
// one that is not a rowset (malformed XML, no schema); the recordset is left closed then.
Status OpenRowsetFile(const std::filesystem::path& path, Recordset& recordset);

// Writes every row of the recordset (pending changes committed first) with its fields' schema.
Status SaveRowsetFile(Recordset& recordset, const std::filesystem::path& path);

}  // namespace orbitel::data
