#include "runtime/FileStamp.h"

#include <sys/stat.h>

namespace orbitel {

FileStamp StampOf(const struct stat& info) {
  return FileStamp{static_cast<unsigned long long>(info.st_dev), static_cast<unsigned long long>(info.st_ino),
                   static_cast<long long>(info.st_size), static_cast<long long>(info.st_mtim.tv_sec),
                   static_cast<long long>(info.st_mtim.tv_nsec)};
}

std::optional<FileStamp> StampOf(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return std::nullopt;
  return StampOf(info);
}

void AppendStamp(std::string& fingerprint, const std::optional<FileStamp>& stamp) {
  if (!stamp) {
    fingerprint += '-';
    return;
  }
  fingerprint += '+';
  fingerprint.append(reinterpret_cast<const char*>(&*stamp), sizeof *stamp);
}

}  // namespace orbitel
