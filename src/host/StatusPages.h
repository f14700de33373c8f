#pragma once
// The small pages the server answers with when it cannot show the page asked for. They are
// fixed texts, never built from the request or from what went wrong, so nothing inside the
// server is shown to a visitor.

#include <string>

namespace orbitel::host {

// The page for an error status (403, 404, 413, 500, ...).
std::string StatusPage(int status);

}  // namespace orbitel::host
