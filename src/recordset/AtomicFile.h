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

// Removes what interrupted replacements left in the folder: temporary files of
// ReplaceFile's own naming whose writing process is gone. Returns how many were removed.
int RemoveLeftoverTemporaries(const std::filesystem::path& folder);

// An advisory lock on a file (made if missing) for as long as the object lives: shared for
// readers that need several files to agree, exclusive for the writer of all of them. Locks
// between processes and between threads alike (each lock opens the file anew). When the file
// cannot be made (a folder the server may not write), the lock is not held and held() says so.
class FileLock {
 public:
  enum class Mode { kShared, kExclusive };
  FileLock(const std::filesystem::path& path, Mode mode);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  bool held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace orbitel::data
