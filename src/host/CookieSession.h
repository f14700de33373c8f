#pragma once
// Sessions that travel in the visitor's cookie, sealed (encrypted and authenticated) with the
// site's key, so any Orbitel process serving the site reads them, a restart signs nobody out,
// and the server keeps nothing per visitor: a flood of anonymous visits costs no memory. A
// cookie that is forged, altered, expired or sealed by another site's key opens as nothing.

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "runtime/Status.h"

namespace orbitel::host {

// One visitor's sign-in and the token every form of theirs posts back.
struct SessionData {
  std::string level;         // the sign-in value: "User", "Admin", "" for an anonymous visitor
  std::string form_token;    // 32 hex digits
  std::int64_t last_used = 0;  // seconds since the epoch
};

// A session unused this long is over.
inline constexpr std::chrono::seconds kSessionIdleTime = std::chrono::minutes(20);
// A session in use is sealed anew when its last-use time is older than this, so a busy visitor
// is not sent a fresh cookie with every page.
inline constexpr std::chrono::seconds kSessionRefreshAfter = std::chrono::minutes(1);

// The site's session key: random bytes in the site folder's key file, readable by the server
// only, made on first use. Replacing the file (RotateSessionKey, here or in another process)
// ends every session; the file is looked at again at most once a second. Thread-safe.
class SessionKeyring {
 public:
  // Reads the site's key, making it when the site has none yet.
  static Result<std::shared_ptr<SessionKeyring>> Open(const std::filesystem::path& site_folder);

  // The cookie value that carries the session.
  std::string Seal(const SessionData& session);
  // The session the cookie carries, when it was sealed with this site's current key and was
  // used within the idle time before `now`; nothing otherwise.
  std::optional<SessionData> Unseal(std::string_view cookie, std::int64_t now);
  // A new key, in force here at once (other processes take it within a second).
  Status Rotate();

 private:
  using Key = std::array<unsigned char, 32>;  // a secret-box key
  explicit SessionKeyring(std::filesystem::path key_file) : key_file_(std::move(key_file)) {}
  Status Load();
  Key CurrentKey();

  const std::filesystem::path key_file_;
  std::mutex mutex_;
  Key key_{};
  ino_t inode_ = 0;
  std::int64_t modified_ns_ = 0;
  std::chrono::steady_clock::time_point checked_;
};

// Puts a new random key in the site folder; every session sealed before is over.
Status RotateSessionKey(const std::filesystem::path& site_folder);

// Seconds since the epoch, as sessions record their last use.
std::int64_t UnixNow();

}  // namespace orbitel::host
