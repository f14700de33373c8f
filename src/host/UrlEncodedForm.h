#pragma once
// Reading a query string or a posted form ("a=1&b=two+words&c=%C3%A9") into request values.
// Nothing a browser or a visitor sends makes it fail: a broken escape ("%G1", a lone "%") is
// kept as it stands, a key without "=" has an empty value, empty pieces are skipped.

#include <string>
#include <string_view>

#include "site/RequestFields.h"

namespace orbitel::host {

site::RequestFields ParseUrlEncoded(std::string_view text);

// One value or key with "+" read as a space and every valid %XX as its byte.
std::string UrlDecode(std::string_view text);

}  // namespace orbitel::host
