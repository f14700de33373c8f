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
#include "runtime/FileStamp.h"
#include "runtime/Secrets.h"
#include "runtime/TextCoding.h"

namespace orbitel::host {

namespace {

namespace mustache = kainjow::mustache;

// A template that includes itself would never end; past this many partials a page gets no more.
constexpr int kPartialLimit = 64;
// Values this long (the calendars, megabytes for a large team) are not handed to the template
// engine, which copies a value several times on its way into the page: a marker stands in for
// each, and the value is put in its place once, after rendering.
constexpr std::size_t kLongValueBytes = 16 << 10;

// The start of every marker: random per process, so no text of a page can name one. A marker
// is the start, "<", the value's number and ">"; written escaped ("{{x}}") it reads "&lt;" and
// "&gt;", and the value goes in escaped too.
const std::string& MarkerStart() {
  static const std::string start = "\x02" + RandomHex(8);
  return start;
}

// The rendered page with each marker replaced by its value: the page's own text in pieces,
// the values as views (or escaped, as pieces of their own).
AnswerBody PutLongValues(const std::string& html, const std::vector<const std::string*>& values) {
  const std::string& start = MarkerStart();
  AnswerBody page;
  std::string text;  // the page's own text since the last value put in
  std::size_t at = 0;
  for (std::size_t found = html.find(start); found != std::string::npos; found = html.find(start, at)) {
    text.append(html, at, found - at);
    at = found + start.size();
    const bool escaped = html.compare(at, 4, "&lt;") == 0;
    const std::size_t digits = at + (escaped ? 4 : html.compare(at, 1, "<") == 0 ? 1 : 0);
    const std::size_t end = html.find(escaped ? "&gt;" : ">", digits);
    std::size_t index = values.size();
    if (digits > at && end != std::string::npos && end > digits && end - digits < 6 &&
        html.find_first_not_of("0123456789", digits) == end) {
      index = std::stoul(html.substr(digits, end - digits));
    }
    if (index >= values.size()) {
      text += start;  // not a marker after all
      continue;
    }
    if (escaped) {
      text += HtmlEscape(*values[index]);
    } else {
      page.pieces.emplace_back(std::move(text));
      text.clear();
      page.pieces.emplace_back(std::string_view(*values[index]));
    }
    at = end + (escaped ? 4 : 1);
  }
  text.append(html, at, std::string::npos);
  page.pieces.emplace_back(std::move(text));
  return page;
}

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
    AppendStamp(listing.fingerprint, StampOf(file.string()));
  }
  return listing;
}

// One site folder's templates as this thread last read them: the texts by name (a missing
// text is a file that could not be read) and the pages parsed so far. Kept per thread, as a
// parsed template is not safe to render from two threads at once.
struct LoadedTemplates {
  std::string fingerprint;
  // What the site's folder watch said before the folder was listed last: while it says the
  // same, nothing in the folder changed since.
  std::optional<std::string> listed_at;
  std::map<std::string, std::optional<std::string>> texts;
  std::map<std::string, std::unique_ptr<mustache::mustache>> parsed;
};

LoadedTemplates& Loaded(const std::filesystem::path& folder, const std::optional<std::string>& folder_changes) {
  thread_local std::map<std::filesystem::path, LoadedTemplates> loaded;
  LoadedTemplates& templates = loaded[folder];
  if (folder_changes && templates.listed_at == folder_changes) return templates;
  // The watch is asked before the folder is listed and the stamps are taken before the texts are
  // read: a file changed in between is read again on the next page.
  Listing listing = ListTemplates(folder);
  templates.listed_at = folder_changes;
  if (listing.fingerprint == templates.fingerprint && !templates.fingerprint.empty()) return templates;
  templates = LoadedTemplates{std::move(listing.fingerprint), folder_changes, {}, {}};
  for (const auto& file : listing.files) templates.texts[file.stem().string()] = ReadText(file);
  return templates;
}

}  // namespace

namespace {

// The rendered page in pieces, some of them views into values.
Result<AnswerBody> Render(const std::filesystem::path& site_folder, std::string_view name,
                          const PageValues& values, const std::optional<std::string>& folder_changes) {
  const std::filesystem::path folder = site_folder / "templates";
  const std::filesystem::path file = folder / (std::string(name) + ".html");
  LoadedTemplates& templates = Loaded(folder, folder_changes);
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
  std::vector<const std::string*> long_values;
  for (const auto& [key, value] : values.text) {
    if (value.size() < kLongValueBytes) {
      data.set(key, value);
      continue;
    }
    data.set(key, MarkerStart() + "<" + std::to_string(long_values.size()) + ">");
    long_values.push_back(&value);
  }
  for (const auto& [key, value] : values.flags) data.set(key, mustache::data(value));

  std::unique_ptr<mustache::mustache>& page = templates.parsed[std::string(name)];
  if (!page) {
    page = std::make_unique<mustache::mustache>(*text->second);
    page->set_custom_escape([](const std::string& value) { return HtmlEscape(value); });
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
  if (!long_values.empty()) return PutLongValues(html, long_values);
  AnswerBody whole;
  whole.pieces.emplace_back(std::move(html));
  return whole;
}

}  // namespace

Result<std::string> RenderTemplate(const std::filesystem::path& site_folder, std::string_view name,
                                   const PageValues& values) {
  Result<AnswerBody> page = Render(site_folder, name, values, std::nullopt);
  if (!page.ok()) return page.status();
  return page->Joined();
}

Result<AnswerBody> RenderTemplateBody(const std::filesystem::path& site_folder, std::string_view name,
                                      std::shared_ptr<const PageValues> values,
                                      const std::optional<std::string>& folder_changes) {
  Result<AnswerBody> page = Render(site_folder, name, *values, folder_changes);
  if (!page.ok()) return page;
  AnswerBody body = std::move(page).value();
  body.keep = std::move(values);
  return body;
}

}  // namespace orbitel::host
