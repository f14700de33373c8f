#include "runtime/TextCoding.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>

namespace orbitel {
namespace {

using std::string_literals::operator""s;

// Each coding with what it is given, well-formed or not, and what it must make of it.
TEST(TextCoding, EncodesAndDecodes) {
  using Coding = std::function<std::string(std::string_view)>;
  const Coding hex_digits = [](std::string_view text) {
    std::string values;
    for (char c : text) values += std::to_string(HexDigit(c)) + " ";
    return values;
  };
  const Coding form = [](std::string_view text) { return PercentDecode(text, true); };
  const Coding path = [](std::string_view text) { return PercentDecode(text); };
  const Coding query_value = [](std::string_view text) { return PercentEncode(text, "", true); };
  const Coding segment = [](std::string_view text) { return PercentEncode(text, "-._~@"); };
  const Coding html = [](std::string_view text) { return HtmlEscape(text); };
  const Coding attribute = [](std::string_view text) { return EscapeMarkup(text, Markup::kXmlAttribute); };
  const Coding element = [](std::string_view text) { return EscapeMarkup(text, Markup::kXmlText); };
  const std::tuple<const char*, Coding, std::string, std::string> cases[] = {
      {"hex digits", hex_digits, "09afAFgG/:", "0 9 10 15 10 15 -1 -1 -1 -1 "},
      {"hex text", HexText, "\x00\x7f\x80\xff"s, "007f80ff"},
      {"form", form, "a+b%20c%2b%C3%A9", "a b c+\xC3\xA9"},
      {"form, broken escapes kept", form, "100%+%2%zz%", "100% %2%zz%"},
      {"path keeps plus", path, "a+b%2Fc%", "a+b/c%"},
      {"query value", query_value, "Zoë O'Neil/2", "Zo%C3%AB+O%27Neil%2F2"},
      {"path segment", segment, "a b~c@d.e-f_g+", "a%20b~c@d.e-f_g%2B"},
      {"html", html, "<a href=\"x\">Tom & Jerry's</a>\t",
       "&lt;a href=&quot;x&quot;&gt;Tom &amp; Jerry&#39;s&lt;/a&gt;\t"},
      {"html, nothing to escape", html, "Zoë, 9:30 (Room 1)", "Zoë, 9:30 (Room 1)"},
      {"xml attribute", attribute, "'a'<\"b\">&\t\n\x1f", "&apos;a&apos;&lt;&quot;b&quot;&gt;&amp;&#x9;&#xA;&#x1F;"},
      {"xml element", element, "<a & 'b'>\t\"", "&lt;a &amp; 'b'&gt;\t\""},
  };
  for (const auto& [name, coding, given, expected] : cases) EXPECT_EQ(coding(given), expected) << name;
}

}  // namespace
}  // namespace orbitel
