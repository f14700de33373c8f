#pragma once
// Owns a POSIX file descriptor and closes it on every path out of a scope.

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace orbitel::data {

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() { Close(); }

  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      Close();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  bool valid() const { return fd_ >= 0; }
  int get() const { return fd_; }

  // Closes now; 0 or the errno of a failed close, which after a write can be the first report
  // of lost data.
  int Close() {
    if (fd_ < 0) return 0;
    const int result = ::close(std::exchange(fd_, -1));
    return result == 0 ? 0 : errno;
  }

 private:
  int fd_ = -1;
};

}  // namespace orbitel::data
