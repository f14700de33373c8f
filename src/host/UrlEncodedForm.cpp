#include "host/UrlEncodedForm.h"

#include "runtime/TextCoding.h"

namespace orbitel::host {

std::string UrlDecode(std::string_view text) { return PercentDecode(text, true); }

site::RequestFields ParseUrlEncoded(std::string_view text) {
  site::RequestFields fields;
  while (!text.empty()) {
    const std::size_t end = text.find('&');
    const std::string_view piece = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (piece.empty()) continue;
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) {
      fields.Add(UrlDecode(piece), "");
    } else {
      fields.Add(UrlDecode(piece.substr(0, equals)), UrlDecode(piece.substr(equals + 1)));
    }
  }
  return fields;
}

}  // namespace orbitel::host
