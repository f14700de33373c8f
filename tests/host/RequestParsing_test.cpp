// Reading query strings and forms, and the redirect guard: whatever a visitor sends is read
// without failing, and only redirects that stay on this site are passed on.
#include <gtest/gtest.h>

#include "host/RedirectGuard.h"
#include "host/UrlEncodedForm.h"

namespace orbitel::host {
namespace {

TEST(UrlEncodedForm, ReadsWhatBrowsersAndVisitorsSend) {
  const site::RequestFields fields =
      ParseUrlEncoded("DAY=5&USER=Sean+O%27Neill&name=%C3%A9&bad=%G1%&lone&&=empty-key&DAY=6&month=%41");
  EXPECT_EQ(fields.Find("day"), "5, 6");
  EXPECT_EQ(fields.Find("USER"), "Sean O'Neill");
  EXPECT_EQ(fields.Find("name"), "\xC3\xA9");
  EXPECT_EQ(fields.Find("bad"), "%G1%");
  EXPECT_EQ(fields.Find("lone"), "");
  EXPECT_EQ(fields.Find(""), "empty-key");
  EXPECT_EQ(fields.Find("MONTH"), "A");
  EXPECT_EQ(fields.Find("YEAR"), std::nullopt);
  EXPECT_EQ(UrlDecode("%4"), "%4");
  EXPECT_EQ(UrlDecode("a%00b").size(), 3u);
}

TEST(RedirectGuard, PassesOnlyPlacesOnThisSite) {
  const std::pair<const char*, const char*> cases[] = {
      {"CalendarMonth.asp", "CalendarMonth.asp"},
      {"CalendarDay.asp?DAY=1&MONTH=2&YEAR=2003&USER=", "CalendarDay.asp?DAY=1&MONTH=2&YEAR=2003&USER="},
      {"/CalendarWeek.asp", "/CalendarWeek.asp"},
      {"CalendarItem.asp?Name=a:b", "CalendarItem.asp?Name=a:b"},
      {"https://evil.example/", "default.asp"},
      {"HTTP://evil.example/", "default.asp"},
      {"//evil.example", "default.asp"},
      {"\\\\evil.example", "default.asp"},
      {"/\\evil.example", "default.asp"},
      {" //evil.example", "default.asp"},
      {"javascript:alert(1)", "default.asp"},
      {"CalendarMonth.asp\r\nSet-Cookie: a=b", "default.asp"},
      {"", "default.asp"},
  };
  for (const auto& [asked, sent] : cases) EXPECT_EQ(GuardRedirect(asked), sent) << asked;
}

}  // namespace
}  // namespace orbitel::host
