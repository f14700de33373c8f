#pragma once
// A directory kept in an LDIF file, as exported from a directory server (ldifde, slapcat) or
// written by hand for a small site. The file is parsed on first use and again only when its
// modification time, size or identity (a file renamed over it) changes, so each page request
// costs one stat of the file. Safe to call from several threads.

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "directory/Directory.h"
#include "runtime/FileStamp.h"

namespace orbitel::directory {

class LdifDirectory final : public Directory {
 public:
  explicit LdifDirectory(std::string path);

  // The DN of the top entry: the first entry whose DN is only DC components, else the first
  // entry's; a file without entries has none, which is an error.
  Result<std::string> NamingContext() const override;
  // Every account entry, disabled ones included (flagged); entries without an account name
  // are left out.
  Result<std::vector<Account>> Accounts() const override;

  const std::string& path() const { return path_; }

 private:
  struct Contents;

  // What one version of the file says.
  static std::shared_ptr<const Contents> ContentsOf(std::string_view text,
                                                    const std::string& path);
  // The parsed file, read again if it changed since; a file that cannot be read is an error.
  Result<std::shared_ptr<const Contents>> Current() const;

  std::string path_;
  mutable std::mutex mutex_;
  mutable FileStamp stamp_;  // of the file contents_ was read from
  mutable std::shared_ptr<const Contents> contents_;  // null until the file was first read
};

}  // namespace orbitel::directory
