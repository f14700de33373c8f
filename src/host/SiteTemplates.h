#pragma once
// The site's page templates: "templates/<name>.html" in the site folder, mustache text the site
// owner may edit; every other file of that folder is a partial ("{{> header}}"). Read and parsed
// once per request thread, and again when any file of the folder changes (a stat of each per
// page), so an edit shows on the next request. Method results go in as they stand ("{{{x}}}",
// they are already HTML); "{{x}}" escapes the five HTML characters, for form attributes.

#include <filesystem>
#include <map>
#include <memory>
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
// copied whole.
Result<AnswerBody> RenderTemplateBody(const std::filesystem::path& site_folder, std::string_view name,
                                      std::shared_ptr<const PageValues> values);

}  // namespace orbitel::host
