#pragma once
// The small pages the server answers with when it cannot show the page asked for. They are
// fixed texts, never built from the request or from what went wrong, so nothing inside the
// server is shown to a visitor.

#include <string>
#include <string_view>

namespace orbitel::host {

// The page for an error status (403, 404, 413, 500, ...). Its links are relative, so it works
// under any base path a reverse proxy puts the site at: to_site_root leads from the address
// asked for back to the site's root ("", "../", "../../", ...).
std::string StatusPage(int status, std::string_view to_site_root = "");

// The way back from a path ("/a/b/c") to the site's root ("../../").
std::string ToSiteRoot(std::string_view path);

}  // namespace orbitel::host
