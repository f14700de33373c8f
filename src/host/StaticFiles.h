#pragma once
// The site folder's files that are served as they stand: its pictures, help pages and style
// sheet, and the one picture the user list names at the top. A path that would leave its
// folder (a ".." or a symbolic link pointing out) is not found; the settings, user list,
// directory, store, templates and keys beside these folders are never served.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orbitel::host {

struct StaticFile {
  int status = 200;  // 200, or 404 when a served folder does not have it
  std::string body;
  std::string content_type;
};

// The file a decoded request path ("/images/BUSY_pix.gif") names, when the path lies in one of
// the served folders; nothing for any other path (a page, or something the site does not serve).
std::optional<StaticFile> FindStaticFile(const std::filesystem::path& site_folder, std::string_view path);

// How long browsers may keep a served file.
inline constexpr const char* kStaticCaching = "public, max-age=3600";

}  // namespace orbitel::host
