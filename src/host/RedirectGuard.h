#pragma once
// Where the server lets a page send the browser: places on this site only. A redirect to
// another site (an absolute URL, "//host", or anything a browser might read as one) goes to
// the home page instead, so a crafted sign-in link cannot hand a visitor to a stranger.

#include <string>
#include <string_view>

namespace orbitel::host {

inline constexpr const char* kHomePage = "default.asp";

// The url itself when it stays on this site; "default.asp" otherwise.
std::string GuardRedirect(std::string_view url);

}  // namespace orbitel::host
