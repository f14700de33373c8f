#pragma once
// The one style in which a page shows an error to its reader.

#include <string>
#include <string_view>

namespace orbitel::site {

// "<font face=... size="2"><b>ERROR:</b> " + message + "</font><br>"; the message is HTML.
std::string ErrorHtml(std::string_view message_html);

// The error every listing and store query gives when the settings never finished loading
// because this computer is in no domain.
std::string NoDomainError();

}  // namespace orbitel::site
