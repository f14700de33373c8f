#pragma once
// The site's page templates: "templates/<name>.html" in the site folder, mustache text the site
// owner may edit; every other file of that folder is a partial ("{{> header}}"). Read and parsed
// once per request thread, and again when any file of the folder changes, so an edit shows on
// the next request: the folder is listed and its files stamped for a page unless the site's
// folder watch says nothing changed since this thread last did. Method results go in as they
// stand ("{{{x}}}", they are already HTML); "{{x}}" escapes the five HTML characters, for form
// attributes.

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/AnswerBody.h"
#include "runtime/Status.h"

namespace orbitel::host {

struct PageValues {
  std::map<std::string, std::string> text;
  std::map<std::string, bool> flags;  // for "{{#SignedIn}}...{{/SignedIn}}" sections
};

// The rendered page; an error naming the file when the template is missing or broken.
Result<std::string> RenderTemplate(const std::filesystem::path& site_folder, std::string_view name,
                                   const PageValues& values);
// The same as the pieces it is sent in: the template's text, and each long value (a large team's
// calendar) in its place as a view into the values, which the body keeps, so the page is never
// copied whole. `folder_changes`: what the site's folder watch says now (PageSources), or
// nullopt when it has nothing to say.
Result<AnswerBody> RenderTemplateBody(const std::filesystem::path& site_folder, std::string_view name,
                                      std::shared_ptr<const PageValues> values,
                                      const std::optional<std::string>& folder_changes);

}  // namespace orbitel::host
