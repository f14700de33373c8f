#pragma once
// Server-side sessions. A visitor's session values and form token live here, found by a random
// 128-bit id that the browser keeps in a cookie; the id carries nothing else. A session unused
// for the idle time is gone, as if never made. Thread-safe: any request thread may use it, and
// two requests of one visitor may touch the same session at once.

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace orbitel::host {

// One visitor's values and the token every form of theirs must post back.
class Session {
 public:
  explicit Session(std::string form_token) : form_token_(std::move(form_token)) {}

  const std::string& form_token() const { return form_token_; }
  // An unset key reads as empty.
  std::string Get(std::string_view key) const;
  void Set(std::string_view key, std::string value);

 private:
  const std::string form_token_;
  mutable std::mutex mutex_;
  std::map<std::string, std::string, std::less<>> values_;
};

class SessionStore {
 public:
  using Clock = std::chrono::steady_clock;

  explicit SessionStore(Clock::duration idle_timeout = std::chrono::minutes(20),
                        std::size_t capacity = 100000,
                        std::function<Clock::time_point()> now = Clock::now);

  // The live session with this id, marked as used now; null when there is none.
  std::shared_ptr<Session> Find(const std::string& id);
  // A new, empty session and its id. At capacity, the longest-idle session makes room.
  std::shared_ptr<Session> Create(std::string* id);
  // Moves a session to a new id (on sign-in, so an id seen before it is worthless after it);
  // returns the new id, or empty when the old one is gone.
  std::string Renew(const std::string& id);
  // Ends a session at once (signing out); an unknown id is ignored.
  void Remove(const std::string& id);

  std::size_t size() const;

 private:
  struct Entry {
    std::shared_ptr<Session> session;
    Clock::time_point last_used;
  };
  void DropIdleLocked(Clock::time_point now);

  const Clock::duration idle_timeout_;
  const std::size_t capacity_;
  const std::function<Clock::time_point()> now_;
  mutable std::mutex mutex_;
  std::unordered_map<std::string, Entry> entries_;
  Clock::time_point last_sweep_;
};

// Random bytes from the system's generator as lower-case hex; throws if the system has none.
std::string RandomHex(std::size_t bytes);

}  // namespace orbitel::host
