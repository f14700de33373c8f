#include "recordset/AtomicFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <random>
#include <regex>

#include "recordset/FileDescriptor.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

namespace fs = std::filesystem;

Status WriteFailure(const fs::path& path, std::string_view step, int error) {
  return Status::Error(errors::kPermissionDenied, "Permission denied: " + path.string() + " (" +
                                                      std::string(step) + ": " +
                                                      std::strerror(error) + ")");
}

int OpenRetrying(const char* path, int flags, mode_t mode = 0) {
  int fd;
  do {
    fd = ::open(path, flags, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// Removes the temporary file unless the rename consumed it.
class TemporaryFile {
 public:
  explicit TemporaryFile(fs::path path) : path_(std::move(path)) {}
  ~TemporaryFile() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const fs::path& path() const { return path_; }
  void Release() { path_.clear(); }

 private:
  fs::path path_;
};

// ".<name>.tmp.<pid>.<random>": hidden, recognisably ours, and unique across the processes and
// threads that may save the same file at once.
fs::path TemporaryName(const fs::path& target) {
  thread_local std::mt19937_64 random{std::random_device{}()};
  char suffix[64];
  std::snprintf(suffix, sizeof suffix, ".tmp.%ld.%016llx", static_cast<long>(::getpid()),
                static_cast<unsigned long long>(random()));
  // Built by appending: GCC 12 at -O3 warns falsely (-Wrestrict) on "literal" + std::string.
  std::string name = ".";
  name += target.filename().string();
  name += suffix;
  return target.parent_path() / name;
}

int WriteAll(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(fd, content.data(), content.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

int ReadWholeFile(const fs::path& path, std::string& content) {
  FileDescriptor file(OpenRetrying(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.valid()) return errno;
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) return errno;
  if (S_ISDIR(info.st_mode)) return EISDIR;
  content.clear();
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(file.get(), buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (got == 0) return 0;
    content.append(buffer, static_cast<std::size_t>(got));
  }
}

Status ReplaceFile(const fs::path& path, std::string_view content) {
  fs::path lock_path = path;
  lock_path += ".lock";
  FileDescriptor lock(OpenRetrying(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  if (!lock.valid()) return WriteFailure(path, "lock", errno);
  while (::flock(lock.get(), LOCK_EX) != 0) {
    if (errno != EINTR) return WriteFailure(path, "lock", errno);
  }

  // O_EXCL makes a name clash (another writer's leftover) a retry rather than a shared file.
  std::optional<TemporaryFile> temporary;
  FileDescriptor file;
  for (int attempt = 0; attempt < 16 && !file.valid(); ++attempt) {
    fs::path name = TemporaryName(path);
    file = FileDescriptor(
        OpenRetrying(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file.valid()) {
      temporary.emplace(std::move(name));
    } else if (errno != EEXIST) {
      return WriteFailure(path, "create", errno);
    }
  }
  if (!file.valid()) return WriteFailure(path, "create", EEXIST);

  struct stat old {};
  if (::stat(path.c_str(), &old) == 0 && ::fchmod(file.get(), old.st_mode & 07777) != 0) {
    return WriteFailure(path, "permissions", errno);
  }
  if (int error = WriteAll(file.get(), content); error != 0) return WriteFailure(path, "write", error);
  if (::fsync(file.get()) != 0) return WriteFailure(path, "flush", errno);
  if (int error = file.Close(); error != 0) return WriteFailure(path, "close", error);
  if (::rename(temporary->path().c_str(), path.c_str()) != 0) {
    return WriteFailure(path, "rename", errno);
  }
  temporary->Release();

  // The rename is durable only once the folder's entry is on disk too. Some file systems do not
  // flush folders (EINVAL); the new file is already complete there.
  fs::path folder = path.parent_path();
  if (folder.empty()) folder = ".";
  FileDescriptor directory(OpenRetrying(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.valid()) return WriteFailure(path, "open folder", errno);
  if (::fsync(directory.get()) != 0 && errno != EINVAL && errno != ENOTSUP) {
    return WriteFailure(path, "flush folder", errno);
  }
  return Status::Ok();
}

int RemoveLeftoverTemporaries(const fs::path& folder) {
  // ".<name>.tmp.<pid>.<16 hex digits>"
  static const std::regex kLeftover(R"(\..+\.tmp\.([0-9]+)\.[0-9a-f]{16})");
  int removed = 0;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    std::smatch match;
    const std::string name = entry.path().filename().string();
    if (!std::regex_match(name, match, kLeftover) || !entry.is_regular_file(error)) continue;
    const long pid = std::strtol(match[1].str().c_str(), nullptr, 10);
    // A writer still at work (this process, or another serving the same folder) keeps its file.
    if (pid == ::getpid() || (::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM)) continue;
    if (::unlink(entry.path().c_str()) == 0) ++removed;
  }
  return removed;
}

FileLock::FileLock(const fs::path& path, Mode mode) {
  fd_ = OpenRetrying(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd_ < 0) return;
  while (::flock(fd_, mode == Mode::kShared ? LOCK_SH : LOCK_EX) != 0) {
    if (errno != EINTR) {
      ::close(fd_);
      fd_ = -1;
      return;
    }
  }
}

FileLock::~FileLock() {
  if (fd_ >= 0) ::close(fd_);
}

}  // namespace orbitel::data
