#pragma once
// Slows down guessing: after a few wrong passwords from one address, each further sign-in from
// it is held back, longer with every failure (never refused outright, so nobody can lock the
// team out by guessing on its behalf). The hold-backs of one address follow one another, so
// many guesses sent at once still come through one at a time. A right password, or a quarter
// of an hour without a wrong one, forgets the address. Thread-safe; memory is bounded.

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <unordered_map>

namespace orbitel::host {

class SignInThrottle {
 public:
  using Clock = std::chrono::steady_clock;

  // Wrong passwords an address may send before it is slowed down.
  static constexpr int kFreeFailures = 3;
  // The longest an attempt is held back.
  static constexpr std::chrono::seconds kLongestDelay{30};
  static constexpr std::chrono::minutes kForgetAfter{15};

  explicit SignInThrottle(std::size_t capacity = 10000) : capacity_(capacity) {}

  // When a sign-in from the address may be checked (now, unless it is being slowed down).
  Clock::time_point Schedule(const std::string& address, Clock::time_point now);
  // Records how an attempt ended. True when this failure is the one that starts slowing the
  // address down: the caller logs that once, not every attempt of the burst.
  bool Record(const std::string& address, bool succeeded, Clock::time_point now);

  // The hold-back after this many wrong passwords in a row.
  static Clock::duration DelayAfter(int failures);

 private:
  struct Entry {
    int failures = 0;
    Clock::time_point last_failure;
    Clock::time_point next_allowed;
  };
  void MakeRoom(Clock::time_point now);

  const std::size_t capacity_;
  std::mutex mutex_;
  std::unordered_map<std::string, Entry> entries_;
};

}  // namespace orbitel::host
