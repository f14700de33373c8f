#include "caldav/MirrorRefresher.h"

#include <algorithm>
#include <ctime>
#include <exception>
#include <filesystem>
#include <utility>

#include "caldav/CalendarMirror.h"
#include "recordset/AtomicFile.h"

namespace orbitel::data {
namespace {

// Calendars refreshed at once: their answers are held together, and progress is told by batch.
constexpr std::size_t kBatch = 50;
constexpr std::chrono::seconds kShortestInterval{10};
constexpr const char* kRefreshLock = "refresh.lock";

}  // namespace

MirrorRefresher::MirrorRefresher(StoreSettings stores, std::function<Plan()> plan,
                                 std::ostream* log)
    : stores_(std::move(stores)), plan_(std::move(plan)), log_(log), thread_([this] { Run(); }) {}

MirrorRefresher::~MirrorRefresher() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

void MirrorRefresher::Log(const std::string& line) {
  if (log_ != nullptr) *log_ << "orbitel serve: calendar mirror: " << line << std::endl;
}

void MirrorRefresher::Run() {
  bool first = true;
  while (!stopping_) {
    const std::chrono::seconds interval = std::max(Round(first), kShortestInterval);
    first = false;
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait_for(lock, interval, [this] { return stopping_.load(); });
  }
}

std::chrono::seconds MirrorRefresher::Round(bool first) {
  Plan plan;
  try {
    plan = plan_();
  } catch (const std::exception& error) {
    Log(std::string("the site's calendars could not be listed: ") + error.what());
    return plan.interval;
  }
  const std::vector<std::string>& urls = plan.folder_urls;
  if (first && !urls.empty()) Log("bringing " + std::to_string(urls.size()) + " calendars in step");
  MirrorRefreshOptions options;
  options.cancel = &stopping_;
  options.days_back = plan.days_back;
  options.days_ahead = plan.days_ahead;
  std::size_t refreshed = 0;
  std::vector<std::pair<std::string, std::string>> failed;
  // Servers behind one balancer share the store root, so the mirror: one refreshes a batch at
  // a time, and the others leave alone the calendars it brought in step within half an interval.
  // (A site on the local store plans no calendars and gets no mirror folder.)
  const std::filesystem::path folder = CalendarMirror::FolderOf(stores_.store_root);
  std::error_code error;
  if (!urls.empty()) std::filesystem::create_directories(folder, error);
  for (std::size_t at = 0; at < urls.size() && !stopping_; at += kBatch) {
    const std::vector<std::string> batch(urls.begin() + at,
                                         urls.begin() + std::min(urls.size(), at + kBatch));
    const FileLock one_at_a_time(folder / kRefreshLock, FileLock::Mode::kExclusive);
    const auto now = static_cast<UtcSeconds>(std::time(nullptr));
    options.refreshed_since = now - plan.interval.count() / 2;
    MirrorRefreshOutcome outcome = RefreshMirror(stores_, batch, options, now);
    refreshed += outcome.refreshed;
    for (auto& failure : outcome.failed) failed.push_back(std::move(failure));
    if (first && urls.size() > kBatch) {
      Log(std::to_string(refreshed + failed.size()) + " of " + std::to_string(urls.size()) +
          " calendars refreshed");
    }
  }
  if (stopping_) return plan.interval;
  // A calendar that cannot be read is read directly by the pages, which log it themselves; the
  // mirror says so when the number of such calendars changes, not every round.
  if (failed.size() != failed_before_ || (first && !failed.empty())) {
    std::string line = std::to_string(failed.size()) + " of " + std::to_string(urls.size()) +
                       " calendars could not be refreshed";
    if (!failed.empty()) line += ", the first " + failed.front().first + ": " + failed.front().second;
    Log(line);
  }
  failed_before_ = failed.size();
  if (first && !urls.empty()) Log(std::to_string(refreshed) + " calendars in step");
  return plan.interval;
}

}  // namespace orbitel::data
