#include "runtime/FolderWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace orbitel {

namespace {

// What changes a file's text or the files a folder holds. Not attribute changes (SQLite sets
// the owner of a log file it opens) nor a file opened for writing being closed (taking a lock
// on the site's lock file does that): neither changes anything a page shows.
constexpr std::uint32_t kChanges =
    IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t kWatchGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_Q_OVERFLOW;

}  // namespace

std::unique_ptr<FolderWatch> FolderWatch::Start(const std::vector<std::string>& folders,
                                                std::vector<std::string> unheeded) {
  const int descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (descriptor < 0) return nullptr;
  std::unique_ptr<FolderWatch> watch(new FolderWatch(descriptor, std::move(unheeded)));
  for (const std::string& folder : folders) {
    if (!watch->Add(folder)) return nullptr;
  }
  return watch;
}

bool FolderWatch::Add(const std::string& folder) {
  return inotify_add_watch(descriptor_, folder.c_str(), kChanges | IN_ONLYDIR) >= 0;
}

FolderWatch::~FolderWatch() { ::close(descriptor_); }

std::optional<std::uint64_t> FolderWatch::Changes() {
  // Draining and counting under one lock: a thread that asks while another drains waits for
  // the count that includes what was drained.
  std::lock_guard lock(mutex_);
  alignas(inotify_event) char events[4096];
  for (;;) {
    const ssize_t got = ::read(descriptor_, events, sizeof events);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      if (event->mask & kWatchGone) lost_ = true;
      const std::string_view name = event->len > 0 ? std::string_view(event->name) : std::string_view();
      if (std::find(unheeded_.begin(), unheeded_.end(), name) == unheeded_.end()) ++changes_;
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
  if (lost_) return std::nullopt;
  return changes_;
}

}  // namespace orbitel
