#include "host/StaticFiles.h"

#include "recordset/AtomicFile.h"

namespace orbitel::host {

namespace {

namespace fs = std::filesystem;

// The folders of the site that are served as they stand.
constexpr std::string_view kStaticFolders[] = {"images", "help", "styles"};
// The team user list names its spacer picture without the images folder.
constexpr std::string_view kRootPictures[] = {"dot.gif"};

constexpr std::pair<std::string_view, const char*> kContentTypes[] = {
    {".gif", "image/gif"},         {".png", "image/png"},        {".svg", "image/svg+xml"},
    {".ico", "image/x-icon"},      {".jpg", "image/jpeg"},       {".css", "text/css; charset=utf-8"},
    {".html", "text/html; charset=utf-8"}, {".js", "text/javascript; charset=utf-8"},
    {".txt", "text/plain; charset=utf-8"},
};

const char* ContentTypeOf(std::string_view name) {
  for (const auto& [extension, type] : kContentTypes) {
    if (name.ends_with(extension)) return type;
  }
  return "application/octet-stream";
}

// The file inside folder, when it is a regular file whose real place (links followed) is
// still inside the folder's real place.
std::optional<fs::path> Inside(const fs::path& folder, std::string_view relative) {
  std::error_code error;
  const fs::path root = fs::canonical(folder, error);
  if (error) return std::nullopt;
  const fs::path file = fs::canonical(folder / fs::path(relative), error);
  if (error || !fs::is_regular_file(file, error)) return std::nullopt;
  const auto [mismatch, _] = std::mismatch(root.begin(), root.end(), file.begin(), file.end());
  if (mismatch != root.end()) return std::nullopt;
  return file;
}

StaticFile Read(const fs::path& folder, std::string_view relative) {
  std::optional<fs::path> file = Inside(folder, relative);
  StaticFile answer;
  if (!file || data::ReadWholeFile(*file, answer.body) != 0) return StaticFile{404, "", ""};
  answer.content_type = ContentTypeOf(relative);
  return answer;
}

}  // namespace

std::optional<StaticFile> FindStaticFile(const fs::path& site_folder, std::string_view path) {
  if (!path.starts_with('/')) return std::nullopt;
  path.remove_prefix(1);
  for (std::string_view picture : kRootPictures) {
    if (path == picture) return Read(site_folder / "images", picture);
  }
  const std::size_t slash = path.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const std::string_view folder = path.substr(0, slash);
  const std::string_view relative = path.substr(slash + 1);
  for (std::string_view served : kStaticFolders) {
    if (folder != served) continue;
    // Names with a ".." part are never files of the folder, whatever they resolve to.
    for (const auto& part : fs::path(relative)) {
      if (part == "..") return StaticFile{404, "", ""};
    }
    return Read(site_folder / served, relative);
  }
  return std::nullopt;
}

}  // namespace orbitel::host
