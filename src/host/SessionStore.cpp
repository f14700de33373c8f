#include "host/SessionStore.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <vector>

namespace orbitel::host {

std::string Session::Get(std::string_view key) const {
  std::lock_guard lock(mutex_);
  auto it = values_.find(key);
  return it == values_.end() ? std::string() : it->second;
}

void Session::Set(std::string_view key, std::string value) {
  std::lock_guard lock(mutex_);
  values_[std::string(key)] = std::move(value);
}

std::string RandomHex(std::size_t bytes) {
  std::vector<unsigned char> buffer(bytes);
  std::size_t filled = 0;
  while (filled < bytes) {
    const ssize_t got = getrandom(buffer.data() + filled, bytes - filled, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      throw std::runtime_error("the system's random generator is not available");
    }
    filled += static_cast<std::size_t>(got);
  }
  static constexpr char kHex[] = "0123456789abcdef";
  std::string text;
  for (unsigned char byte : buffer) {
    text += kHex[byte >> 4];
    text += kHex[byte & 0x0F];
  }
  return text;
}

SessionStore::SessionStore(Clock::duration idle_timeout, std::size_t capacity,
                           std::function<Clock::time_point()> now)
    : idle_timeout_(idle_timeout), capacity_(capacity), now_(std::move(now)), last_sweep_(now_()) {}

std::shared_ptr<Session> SessionStore::Find(const std::string& id) {
  const Clock::time_point now = now_();
  std::lock_guard lock(mutex_);
  auto it = entries_.find(id);
  if (it == entries_.end()) return nullptr;
  if (now - it->second.last_used > idle_timeout_) {
    entries_.erase(it);
    return nullptr;
  }
  it->second.last_used = now;
  return it->second.session;
}

std::shared_ptr<Session> SessionStore::Create(std::string* id) {
  auto session = std::make_shared<Session>(RandomHex(16));
  std::string new_id = RandomHex(16);
  const Clock::time_point now = now_();
  std::lock_guard lock(mutex_);
  // Idle sessions are dropped once a minute, on the way in, so none outlives its time by much.
  if (now - last_sweep_ > std::chrono::minutes(1)) DropIdleLocked(now);
  if (!entries_.empty() && entries_.size() >= capacity_) {
    auto oldest = std::min_element(entries_.begin(), entries_.end(), [](const auto& a, const auto& b) {
      return a.second.last_used < b.second.last_used;
    });
    entries_.erase(oldest);
  }
  entries_[new_id] = Entry{session, now};
  *id = std::move(new_id);
  return session;
}

std::string SessionStore::Renew(const std::string& id) {
  std::string new_id = RandomHex(16);
  std::lock_guard lock(mutex_);
  auto it = entries_.find(id);
  if (it == entries_.end()) return "";
  Entry entry = std::move(it->second);
  entries_.erase(it);
  entries_[new_id] = std::move(entry);
  return new_id;
}

void SessionStore::Remove(const std::string& id) {
  std::lock_guard lock(mutex_);
  entries_.erase(id);
}

std::size_t SessionStore::size() const {
  std::lock_guard lock(mutex_);
  return entries_.size();
}

void SessionStore::DropIdleLocked(Clock::time_point now) {
  std::erase_if(entries_, [&](const auto& entry) { return now - entry.second.last_used > idle_timeout_; });
  last_sweep_ = now;
}

}  // namespace orbitel::host
