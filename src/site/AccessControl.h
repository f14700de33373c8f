#pragma once
// The access check each page makes before it shows anything. Level 1 admits a signed-in user
// or the administrator, level 2 only the administrator; anyone else is redirected to the sign-in
// page with the page to come back to. The check does not stop the page: its remaining calls
// still run, and the redirect makes the browser leave.

#include <cstdint>
#include <string_view>

namespace orbitel::site {

inline constexpr std::int16_t kUserLevel = 1;
inline constexpr std::int16_t kAdminLevel = 2;

// The session key and values the sign-in sets; compared exactly.
inline constexpr const char* kSessionKey = "SessionID";
inline constexpr const char* kUserSession = "User";
inline constexpr const char* kAdminSession = "Admin";

// Reads the session of this thread's page context and may redirect its response.
void CheckAccess(std::int16_t level, std::string_view return_page);

}  // namespace orbitel::site
