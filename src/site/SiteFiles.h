#pragma once
// Every file name the site uses, in one place.

#include <filesystem>
#include <string>

namespace orbitel::site::files {

inline constexpr const char* kSettings = "OrbitelSettings.xml";
inline constexpr const char* kUsers = "OrbitelUsers.xml";
inline constexpr const char* kErrorLog = "Errorfile.Log";
// The key that seals the visitors' session cookies; never served, readable by the server only.
inline constexpr const char* kSessionKey = ".orbitel-session.key";
// Held exclusive while a save rewrites the settings and the users file, shared by their
// readers, so a reader of both never sees one save's settings with another's users.
inline constexpr const char* kSettingsLock = ".orbitel-settings.lock";

// The settings and users files as the pages open them: the site path (with its separator)
// followed by the name.
inline std::string InSite(const std::string& site_path, const char* name) {
  return site_path + name;
}

// Where log lines go when the site folder cannot take them: the system's temporary folder.
inline std::filesystem::path FallbackErrorLog() {
  std::error_code error;
  auto folder = std::filesystem::temp_directory_path(error);
  if (error) folder = "/tmp";
  return folder / kErrorLog;
}

}  // namespace orbitel::site::files
