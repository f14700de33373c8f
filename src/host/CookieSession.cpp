#include "host/CookieSession.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "runtime/ErrorNumbers.h"
#include "runtime/Secrets.h"
#include "site/SiteFiles.h"

namespace orbitel::host {

namespace {

static_assert(crypto_secretbox_KEYBYTES == 32);
// What a sealed session starts with, so a cookie of another format never opens as one.
constexpr std::string_view kSessionFormat = "orbitel-session-1";

void EnsureSodium() {
  static const bool ready = sodium_init() >= 0;
  if (!ready) throw std::runtime_error("the cryptography library could not start");
}

std::string_view NextLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

Status KeyFileError(const std::filesystem::path& path, const char* step) {
  return Status::Error(errors::kPermissionDenied,
                       "cannot " + std::string(step) + " the session key " + path.string() + ": " + std::strerror(errno));
}

// Writes fresh random bytes into a new file beside the key file, readable by the owner only;
// returns its path.
Result<std::filesystem::path> WriteNewKey(const std::filesystem::path& key_file) {
  EnsureSodium();
  unsigned char key[crypto_secretbox_KEYBYTES];
  crypto_secretbox_keygen(key);
  const std::filesystem::path temporary = key_file.string() + ".new." + RandomHex(8);
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return KeyFileError(temporary, "write");
  const bool written = ::write(fd, key, sizeof key) == static_cast<ssize_t>(sizeof key) && ::fsync(fd) == 0;
  sodium_memzero(key, sizeof key);
  ::close(fd);
  if (!written) {
    ::unlink(temporary.c_str());
    return KeyFileError(temporary, "write");
  }
  return temporary;
}

}  // namespace

std::int64_t UnixNow() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

Result<std::shared_ptr<SessionKeyring>> SessionKeyring::Open(const std::filesystem::path& site_folder) {
  const std::filesystem::path key_file = site_folder / site::files::kSessionKey;
  if (::access(key_file.c_str(), F_OK) != 0) {
    // Two processes starting at once both make a key; link keeps the first and drops the other.
    Result<std::filesystem::path> made = WriteNewKey(key_file);
    if (!made.ok()) return made.status();
    const int linked = ::link(made->c_str(), key_file.c_str());
    const int link_error = errno;
    ::unlink(made->c_str());
    if (linked != 0 && link_error != EEXIST) {
      errno = link_error;
      return KeyFileError(key_file, "make");
    }
  }
  std::shared_ptr<SessionKeyring> keyring(new SessionKeyring(key_file));
  if (Status loaded = keyring->Load(); !loaded.ok()) return loaded;
  return keyring;
}

Status SessionKeyring::Load() {
  const int fd = ::open(key_file_.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return KeyFileError(key_file_, "read");
  struct stat info {};
  Key key{};
  const bool read_whole = ::fstat(fd, &info) == 0 && ::read(fd, key.data(), key.size()) == static_cast<ssize_t>(key.size());
  ::close(fd);
  if (!read_whole) {
    return Status::Error(errors::kPermissionDenied, "the session key " + key_file_.string() + " is damaged");
  }
  key_ = key;
  inode_ = info.st_ino;
  modified_ns_ = static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
  checked_ = std::chrono::steady_clock::now();
  return Status::Ok();
}

SessionKeyring::Key SessionKeyring::CurrentKey() {
  std::lock_guard lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (now - checked_ >= std::chrono::seconds(1)) {
    checked_ = now;
    struct stat info {};
    const std::int64_t modified =
        ::stat(key_file_.c_str(), &info) == 0 ? static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec : 0;
    // A key file that vanished or cannot be read keeps the key in hand: sessions go on.
    if (modified != 0 && (info.st_ino != inode_ || modified != modified_ns_)) (void)Load();
  }
  return key_;
}

std::string SessionKeyring::Seal(const SessionData& session) {
  EnsureSodium();
  const std::string plain = std::string(kSessionFormat) + "\n" + session.level + "\n" + session.form_token + "\n" +
                            std::to_string(session.last_used);
  std::vector<unsigned char> sealed(crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES + plain.size());
  randombytes_buf(sealed.data(), crypto_secretbox_NONCEBYTES);
  const Key key = CurrentKey();
  crypto_secretbox_easy(sealed.data() + crypto_secretbox_NONCEBYTES,
                        reinterpret_cast<const unsigned char*>(plain.data()), plain.size(), sealed.data(), key.data());
  std::string text(sodium_base64_ENCODED_LEN(sealed.size(), sodium_base64_VARIANT_URLSAFE_NO_PADDING), '\0');
  sodium_bin2base64(text.data(), text.size(), sealed.data(), sealed.size(), sodium_base64_VARIANT_URLSAFE_NO_PADDING);
  text.resize(std::strlen(text.c_str()));
  return text;
}

std::optional<SessionData> SessionKeyring::Unseal(std::string_view cookie, std::int64_t now) {
  EnsureSodium();
  // Far more than a session ever takes; anything longer is not one of ours.
  if (cookie.empty() || cookie.size() > 512) return std::nullopt;
  std::vector<unsigned char> sealed(cookie.size());
  std::size_t length = 0;
  if (sodium_base642bin(sealed.data(), sealed.size(), cookie.data(), cookie.size(), nullptr, &length, nullptr,
                        sodium_base64_VARIANT_URLSAFE_NO_PADDING) != 0 ||
      length < crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES) {
    return std::nullopt;
  }
  std::string plain(length - crypto_secretbox_NONCEBYTES - crypto_secretbox_MACBYTES, '\0');
  const Key key = CurrentKey();
  if (crypto_secretbox_open_easy(reinterpret_cast<unsigned char*>(plain.data()), sealed.data() + crypto_secretbox_NONCEBYTES,
                                 length - crypto_secretbox_NONCEBYTES, sealed.data(), key.data()) != 0) {
    return std::nullopt;
  }
  std::string_view rest = plain;
  if (NextLine(rest) != kSessionFormat) return std::nullopt;
  SessionData session;
  session.level = NextLine(rest);
  session.form_token = NextLine(rest);
  try {
    session.last_used = std::stoll(std::string(NextLine(rest)));
  } catch (const std::exception&) {
    return std::nullopt;
  }
  // A last use in the future (a clock turned back by more than a minute) is not trusted either.
  if (now - session.last_used > kSessionIdleTime.count() || session.last_used - now > 60) return std::nullopt;
  return session;
}

Status SessionKeyring::Rotate() {
  if (Status rotated = RotateSessionKey(key_file_.parent_path()); !rotated.ok()) return rotated;
  std::lock_guard lock(mutex_);
  return Load();
}

Status RotateSessionKey(const std::filesystem::path& site_folder) {
  const std::filesystem::path key_file = site_folder / site::files::kSessionKey;
  Result<std::filesystem::path> made = WriteNewKey(key_file);
  if (!made.ok()) return made.status();
  if (::rename(made->c_str(), key_file.c_str()) != 0) {
    const int error = errno;
    ::unlink(made->c_str());
    errno = error;
    return KeyFileError(key_file, "replace");
  }
  return Status::Ok();
}

}  // namespace orbitel::host
