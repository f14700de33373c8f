#pragma once
// What tells one version of a file from the next without reading it: device, inode (a file
// renamed over it, as every save of the site's files does), size and modification time to the
// nanosecond. One stat; safe from any thread.

#include <optional>
#include <string>

struct stat;

namespace orbitel {

struct FileStamp {
  unsigned long long device = 0;
  unsigned long long inode = 0;
  long long size = 0;
  long long modified_seconds = 0;
  long long modified_nanoseconds = 0;
  bool operator==(const FileStamp&) const = default;
};

// The file's stamp now; nullopt when it cannot be seen.
std::optional<FileStamp> StampOf(const std::string& path);
// The stamp of what a stat or fstat saw.
FileStamp StampOf(const struct stat& info);

// The stamp's bytes added to a fingerprint, so that two fingerprints are equal only when every
// file they were made of is unchanged; a missing file adds a mark of its own.
void AppendStamp(std::string& fingerprint, const std::optional<FileStamp>& stamp);

}  // namespace orbitel
