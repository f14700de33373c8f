#include "directory/LdifDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "directory/AccountRules.h"
#include "directory/DirectoryErrors.h"
#include "directory/DistinguishedName.h"
#include "directory/LdifReader.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::directory {

// What one version of the file says. A malformed file is remembered as such, so it is not
// parsed again on every request until it is fixed.
struct LdifDirectory::Contents {
  Status status = Status::Ok();
  std::optional<std::string> naming_context;
  std::vector<Account> accounts;
};

namespace {

Status FileError(const std::string& path, int error) {
  if (error == EACCES || error == EPERM) {
    return Status::Error(orbitel::errors::kPermissionDenied,
                         "Permission denied reading the directory file " + path);
  }
  if (error == ENOENT || error == ENOTDIR) {
    return Status::Error(orbitel::errors::kPathNotFound,
                         "The directory file " + path + " was not found");
  }
  return Status::Error(orbitel::errors::kPathNotFound, "The directory file " + path +
                                                           " cannot be read: " +
                                                           std::strerror(error));
}

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

std::optional<Account> AccountOfEntry(const LdifEntry& entry) {
  return directory::AccountOf([&entry](std::string_view name) { return entry.ValuesOf(name); });
}

}  // namespace

LdifDirectory::LdifDirectory(std::string path) : path_(std::move(path)) {}

std::shared_ptr<const LdifDirectory::Contents> LdifDirectory::ContentsOf(std::string_view text,
                                                                         const std::string& path) {
  auto contents = std::make_shared<Contents>();
  Result<std::vector<LdifEntry>> entries = ReadLdif(text, path);
  if (!entries.ok()) {
    contents->status = entries.status();
    return contents;
  }
  for (const LdifEntry& entry : *entries) {
    if (!contents->naming_context && IsDomainName(entry.dn)) contents->naming_context = entry.dn;
    if (std::optional<Account> account = AccountOfEntry(entry)) {
      contents->accounts.push_back(std::move(*account));
    }
  }
  if (!contents->naming_context && !entries->empty()) {
    contents->naming_context = entries->front().dn;
  }
  return contents;
}

Result<std::shared_ptr<const LdifDirectory::Contents>> LdifDirectory::Current() const {
  std::lock_guard<std::mutex> lock(mutex_);
  struct stat info {};
  if (::stat(path_.c_str(), &info) != 0) return FileError(path_, errno);
  if (S_ISDIR(info.st_mode)) return FileError(path_, EISDIR);
  if (contents_ && StampOf(info) == stamp_) return contents_;

  FileDescriptor file(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) return FileError(path_, errno);
  // The stamp of what is read, not of the earlier stat: a change in between is seen next time.
  if (::fstat(file.get(), &info) != 0) return FileError(path_, errno);
  std::string text;
  char buffer[64 * 1024];
  for (;;) {
    ssize_t count = ::read(file.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return FileError(path_, errno);
    if (count == 0) break;
    text.append(buffer, static_cast<std::size_t>(count));
  }

  contents_ = ContentsOf(text, path_);
  stamp_ = StampOf(info);
  return contents_;
}

Result<std::string> LdifDirectory::NamingContext() const {
  Result<std::shared_ptr<const Contents>> contents = Current();
  if (!contents.ok()) return contents.status();
  if (!(*contents)->status.ok()) return (*contents)->status;
  if (!(*contents)->naming_context) {
    return Status::Error(errors::kDirectoryFileMalformed,
                         "The directory file " + path_ + " holds no entries");
  }
  return *(*contents)->naming_context;
}

Result<std::vector<Account>> LdifDirectory::Accounts() const {
  Result<std::shared_ptr<const Contents>> contents = Current();
  if (!contents.ok()) return contents.status();
  if (!(*contents)->status.ok()) return (*contents)->status;
  return (*contents)->accounts;
}

}  // namespace orbitel::directory
