#pragma once
// Whole-file reads and replacements that a reader never sees half done: a replacement is
// written to a temporary file in the same folder, flushed to disk and renamed over the target
// while an exclusive lock on "<file>.lock" keeps other writers (threads or processes) out.

#include <filesystem>
#include <string>
#include <string_view>

#include "runtime/Status.h"

namespace orbitel::data {

// The file's bytes into `content`; 0, or the errno that stopped the read (ENOENT when the file
// or its folder is missing, EISDIR for a folder).
int ReadWholeFile(const std::filesystem::path& path, std::string& content);

// Replaces the file with `content`, keeping the old file's permissions. On failure the target
// is untouched, no temporary file is left, and the status is errors::kPermissionDenied naming
// the path and the step that failed. The lock file stays in place for the next writer.
Status ReplaceFile(const std::filesystem::path& path, std::string_view content);

}  // namespace orbitel::data
