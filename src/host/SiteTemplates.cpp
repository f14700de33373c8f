#include "host/SiteTemplates.h"

#include <kainjow/mustache.hpp>

#include <fstream>
#include <iterator>
#include <memory>

#include "runtime/ErrorNumbers.h"
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

}  // namespace

Result<std::string> RenderTemplate(const std::filesystem::path& site_folder, std::string_view name,
                                   const PageValues& values) {
  const std::filesystem::path folder = site_folder / "templates";
  const std::filesystem::path file = folder / (std::string(name) + ".html");
  std::optional<std::string> text = ReadText(file);
  if (!text) return Status::Error(errors::kFileNotFound, "The page template " + file.string() + " cannot be read");

  mustache::data data;
  auto partials_used = std::make_shared<int>(0);
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() != ".html") continue;
    const std::filesystem::path path = entry.path();
    data.set(path.stem().string(), mustache::partial([path, partials_used]() -> std::string {
               if (++*partials_used > kPartialLimit) return "";
               return ReadText(path).value_or("");
             }));
  }

  // The page's own values win over a partial of the same name.
  for (const auto& [key, value] : values.text) data.set(key, value);
  for (const auto& [key, value] : values.flags) data.set(key, mustache::data(value));

  mustache::mustache page(*text);
  page.set_custom_escape([](const std::string& value) { return site::HtmlEscape(value); });
  if (!page.is_valid()) {
    return Status::Error(errors::kInvalidProcedureCall,
                         "The page template " + file.string() + " is broken: " + page.error_message());
  }
  std::string html = page.render(data);
  if (!page.is_valid()) {
    return Status::Error(errors::kInvalidProcedureCall,
                         "The page template " + file.string() + " is broken: " + page.error_message());
  }
  return html;
}

}  // namespace orbitel::host
