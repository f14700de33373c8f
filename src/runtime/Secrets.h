#pragma once
// Secrets the program makes and checks: form tokens, feed tokens, names of temporary files.

#include <cstddef>
#include <string>
#include <string_view>

namespace orbitel {

// Random bytes from the system's generator, as lower-case hex (two digits a byte).
std::string RandomHex(std::size_t bytes);

// Whether the secret given is the one kept, compared in a time that does not depend on where
// they differ, so timing tells nothing of it. An empty kept secret matches nothing.
bool SameSecret(std::string_view given, std::string_view kept);

}  // namespace orbitel
