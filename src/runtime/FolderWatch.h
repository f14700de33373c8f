#pragma once
// Tells cheaply whether anything in a few folders changed: files written, created, removed or
// renamed in them (by this process or any other), through the kernel's inotify. The kernel
// queues each event before the write or rename that caused it returns, so a caller that asks
// after a change always hears of it. Safe from any thread.

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace orbitel {

class FolderWatch {
 public:
  // nullptr when the folders cannot be watched (a folder missing, the system's watches used up).
  // Files named in `unheeded` (a log the watcher's own work appends to) change nothing.
  static std::unique_ptr<FolderWatch> Start(const std::vector<std::string>& folders,
                                            std::vector<std::string> unheeded = {});
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Watches one more folder too; false when it cannot be watched.
  bool Add(const std::string& folder);

  // A count that grows with every change seen so far; nullopt once a watched folder itself was
  // removed or renamed, or events were lost, so that the watch no longer sees everything.
  std::optional<std::uint64_t> Changes();

 private:
  FolderWatch(int descriptor, std::vector<std::string> unheeded)
      : descriptor_(descriptor), unheeded_(std::move(unheeded)) {}

  const int descriptor_;
  const std::vector<std::string> unheeded_;
  std::mutex mutex_;
  std::uint64_t changes_ = 0;
  bool lost_ = false;
};

}  // namespace orbitel
