#include "host/SiteTemplates.h"

#include <kainjow/mustache.hpp>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "runtime/ErrorNumbers.h"
#include "site/FileStamp.h"
#include "site/HtmlEscape.h"

namespace orbitel::host {

namespace {

namespace mustache = kainjow::mustache;

// A template that includes itself would never end; past this many partials a page gets no more.
constexpr int kPartialLimit = 64;

std::optional<std::string> ReadText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The ".html" files of the templates folder in name order, each with its stamp.
struct Listing {
  std::vector<std::filesystem::path> files;
  std::string fingerprint;
};

Listing ListTemplates(const std::filesystem::path& folder) {
  Listing listing;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() == ".html") listing.files.push_back(entry.path());
  }
  std::sort(listing.files.begin(), listing.files.end());
  for (const auto& file : listing.files) {
    listing.fingerprint += file.filename().string();
    site::AppendStamp(listing.fingerprint, site::StampOf(file.string()));
  }
  return listing;
}

// One site folder's templates as this thread last read them: the texts by name (a missing
// text is a file that could not be read) and the pages parsed so far. Kept per thread, as a
// parsed template is not safe to render from two threads at once.
struct LoadedTemplates {
  std::string fingerprint;
  std::map<std::string, std::optional<std::string>> texts;
  std::map<std::string, std::unique_ptr<mustache::mustache>> parsed;
};

LoadedTemplates& Loaded(const std::filesystem::path& folder) {
  thread_local std::map<std::filesystem::path, LoadedTemplates> loaded;
  LoadedTemplates& templates = loaded[folder];
  // The stamps are taken before the texts are read: a file changed in between is read again on
  // the next page.
  Listing listing = ListTemplates(folder);
  if (listing.fingerprint == templates.fingerprint && !templates.fingerprint.empty()) return templates;
  templates = LoadedTemplates{std::move(listing.fingerprint), {}, {}};
  for (const auto& file : listing.files) templates.texts[file.stem().string()] = ReadText(file);
  return templates;
}

}  // namespace

std::string TemplatesFingerprint(const std::filesystem::path& site_folder) {
  return ListTemplates(site_folder / "templates").fingerprint;
}

Result<std::string> RenderTemplate(const std::filesystem::path& site_folder, std::string_view name,
                                   const PageValues& values) {
  const std::filesystem::path folder = site_folder / "templates";
  const std::filesystem::path file = folder / (std::string(name) + ".html");
  LoadedTemplates& templates = Loaded(folder);
  const auto text = templates.texts.find(std::string(name));
  if (text == templates.texts.end() || !text->second) {
    return Status::Error(errors::kFileNotFound, "The page template " + file.string() + " cannot be read");
  }

  mustache::data data;
  auto partials_used = std::make_shared<int>(0);
  for (const auto& [stem, partial] : templates.texts) {
    const std::string* partial_text = partial ? &*partial : nullptr;
    data.set(stem, mustache::partial([partial_text, partials_used]() -> std::string {
               if (++*partials_used > kPartialLimit || !partial_text) return "";
               return *partial_text;
             }));
  }

  // The page's own values win over a partial of the same name.
  for (const auto& [key, value] : values.text) data.set(key, value);
  for (const auto& [key, value] : values.flags) data.set(key, mustache::data(value));

  std::unique_ptr<mustache::mustache>& page = templates.parsed[std::string(name)];
  if (!page) {
    page = std::make_unique<mustache::mustache>(*text->second);
    page->set_custom_escape([](const std::string& value) { return site::HtmlEscape(value); });
  }
  if (!page->is_valid()) {
    return Status::Error(errors::kInvalidProcedureCall,
                         "The page template " + file.string() + " is broken: " + page->error_message());
  }
  std::string html = page->render(data);
  if (!page->is_valid()) {
    Status broken = Status::Error(errors::kInvalidProcedureCall,
                                  "The page template " + file.string() + " is broken: " + page->error_message());
    // A failed render leaves its error in the parsed page: parsed afresh next time.
    page.reset();
    return broken;
  }
  return html;
}

}  // namespace orbitel::host
