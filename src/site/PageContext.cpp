#include "site/PageContext.h"

#include "runtime/TextCoding.h"

namespace orbitel::site {

// Letters and digits stay, a blank is "+", every other byte of the UTF-8 text "%XX".
std::string UrlEncode(std::string_view text) { return PercentEncode(text, "", true); }

}  // namespace orbitel::site
