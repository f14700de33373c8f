// Form and query decoding: the input as a query string or posted form body, and as one value.
// Decoding never grows a text, and leaves one without '%' or '+' as it is.
#include <string>

#include "FuzzInput.h"
#include "host/UrlEncodedForm.h"

using namespace orbitel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzz::InputText(data, size);
  const site::RequestFields fields = host::ParseUrlEncoded(text);
  // The first key as the server would look it up, and one that is never there.
  const std::string first_key = host::UrlDecode(text.substr(0, text.find_first_of("=&")));
  (void)fields.Find(first_key);
  (void)fields.Find("cstrUserName");

  const std::string decoded = host::UrlDecode(text);
  fuzz::Require(decoded.size() <= text.size(), "decoding never grows a text");
  if (text.find_first_of("%+") == std::string_view::npos) {
    fuzz::Require(decoded == text, "a text without escapes decodes to itself");
  }
  return 0;
}
