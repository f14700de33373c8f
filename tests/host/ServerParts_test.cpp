// The pieces of the web server that keep visitors apart and the server answering: sealed
// sessions, the sign-in throttle, the request pool, reading whatever a visitor sends, redirects
// that stay on this site, and templates filled with values of any length.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "TempFolder.h"
#include "host/CookieSession.h"
#include "host/RedirectGuard.h"
#include "host/RequestPool.h"
#include "host/SignInThrottle.h"
#include "host/SiteTemplates.h"
#include "host/UrlEncodedForm.h"

namespace orbitel::host {
namespace {

namespace fs = std::filesystem;

TEST(CookieSession, OnlyAnUnalteredRecentCookieOfThisSiteOpens) {
  const fs::path folder = orbitel::testing::MakeTempFolder("orbitel-session");
  fs::create_directories(folder / "other");
  const auto keyring = SessionKeyring::Open(folder).value_or(nullptr);
  ASSERT_TRUE(keyring);
  const std::int64_t now = 1'900'000'000;
  const SessionData session{"Admin", std::string(32, 'a'), now};
  const std::string cookie = keyring->Seal(session);
  EXPECT_NE(cookie.find("Admin"), 0u);
  EXPECT_NE(keyring->Seal(session), cookie);  // a fresh nonce each time

  const auto opened = keyring->Unseal(cookie, now + 60).value_or(SessionData{});
  EXPECT_EQ(std::tie(opened.level, opened.form_token, opened.last_used), std::tie("Admin", session.form_token, now));
  // Idle past twenty minutes, or from the future, it is over.
  EXPECT_FALSE(keyring->Unseal(cookie, now + kSessionIdleTime.count() + 1));
  EXPECT_FALSE(keyring->Unseal(cookie, now - 3600));
  // Any altered character, a cut, junk, or another site's key: an anonymous visitor.
  std::vector<std::string> refused = {cookie.substr(0, cookie.size() - 4), "", std::string(5000, 'A'),
                                      "not base64 at all!"};
  for (std::size_t at : {std::size_t{0}, cookie.size() / 2, cookie.size() - 1}) {
    refused.push_back(cookie);
    refused.back()[at] = cookie[at] == 'A' ? 'B' : 'A';
  }
  for (const std::string& bad : refused) EXPECT_FALSE(keyring->Unseal(bad, now)) << bad;
  EXPECT_FALSE(SessionKeyring::Open(folder / "other").value_or(keyring)->Unseal(cookie, now));
  fs::remove_all(folder);
}

TEST(SignInThrottle, SlowsRepeatedWrongPasswordsOneAfterAnotherAndForgetsASuccess) {
  using namespace std::chrono;
  SignInThrottle throttle;
  const auto t0 = SignInThrottle::Clock::time_point() + hours(1);
  // The first wrong passwords cost nothing; the one that starts the slowing down says so once.
  for (int i = 1; i <= SignInThrottle::kFreeFailures; ++i) {
    EXPECT_EQ(throttle.Schedule("10.0.0.1", t0), t0);
    EXPECT_FALSE(throttle.Record("10.0.0.1", false, t0));
  }
  EXPECT_TRUE(throttle.Record("10.0.0.1", false, t0));
  EXPECT_FALSE(throttle.Record("10.0.0.1", false, t0));
  // Attempts sent together are spread out, each later than the one before; other addresses
  // are not slowed.
  const auto first = throttle.Schedule("10.0.0.1", t0);
  EXPECT_GT(first, t0);
  EXPECT_GE(throttle.Schedule("10.0.0.1", t0) - first, seconds(2));
  EXPECT_EQ(throttle.Schedule("10.0.0.2", t0), t0);
  // The delay grows but has a ceiling.
  EXPECT_LT(SignInThrottle::DelayAfter(4), SignInThrottle::DelayAfter(5));
  EXPECT_EQ(SignInThrottle::DelayAfter(100), SignInThrottle::kLongestDelay);
  // A right password, or a quarter of an hour of quiet, forgets the address.
  throttle.Record("10.0.0.1", true, t0);
  EXPECT_EQ(throttle.Schedule("10.0.0.1", t0), t0);
  for (int i = 0; i < 6; ++i) throttle.Record("10.0.0.3", false, t0);
  EXPECT_EQ(throttle.Schedule("10.0.0.3", t0 + minutes(16)), t0 + minutes(16));
}

TEST(RequestPool, RunsHeldJobsAtTheirTimeRefusesBeyondItsQueueAndDrains) {
  RequestPool pool(2, 4);
  std::atomic<int> ran{0}, busy{0};
  std::atomic<bool> release{false};
  // Two workers busy, four waiting: the queue is full.
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(pool.Submit([&] {
      ++busy;
      while (!release) std::this_thread::yield();
      ++ran;
    }));
  }
  while (busy < 2) std::this_thread::yield();
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(pool.Submit([&] { ++ran; }));
  EXPECT_FALSE(pool.Submit([&] { ++ran; }));
  release = true;
  pool.Drain();
  EXPECT_EQ(ran, 6);

  // A held job waits for its time without holding a worker; Drain runs it at once.
  std::atomic<bool> held_ran{false};
  ASSERT_TRUE(pool.Submit([&] { held_ran = true; }, RequestPool::Clock::now() + std::chrono::hours(1)));
  ASSERT_TRUE(pool.Submit([&] { ++ran; }));
  while (ran < 7) std::this_thread::yield();
  EXPECT_FALSE(held_ran);
  pool.Drain();
  EXPECT_TRUE(held_ran);
}

TEST(UrlEncodedForm, ReadsWhatBrowsersAndVisitorsSend) {
  const site::RequestFields fields =
      ParseUrlEncoded("DAY=5&USER=Sean+O%27Neill&name=%C3%A9&bad=%G1%&lone&&=empty-key&DAY=6&month=%41");
  const std::pair<const char*, std::optional<std::string>> found[] = {
      {"day", "5, 6"}, {"USER", "Sean O'Neill"}, {"name", "\xC3\xA9"}, {"bad", "%G1%"},
      {"lone", ""},    {"", "empty-key"},        {"MONTH", "A"},        {"YEAR", std::nullopt}};
  for (const auto& [name, value] : found) EXPECT_EQ(fields.Find(name), value) << name;
  EXPECT_EQ(UrlDecode("%4"), "%4");
  EXPECT_EQ(UrlDecode("a%00b").size(), 3u);
}

TEST(RedirectGuard, PassesOnlyPlacesOnThisSite) {
  for (const char* kept : {"CalendarMonth.asp", "CalendarDay.asp?DAY=1&MONTH=2&YEAR=2003&USER=", "/CalendarWeek.asp",
                           "CalendarItem.asp?Name=a:b"}) {
    EXPECT_EQ(GuardRedirect(kept), kept);
  }
  for (const char* away : {"https://evil.example/", "HTTP://evil.example/", "//evil.example", "\\\\evil.example",
                           "/\\evil.example", " //evil.example", "javascript:alert(1)",
                           "CalendarMonth.asp\r\nSet-Cookie: a=b", ""}) {
    EXPECT_EQ(GuardRedirect(away), "default.asp") << away;
  }
}

// Long values (a large team's calendar) go into the page after rendering, as the template
// writes them: as they are, or escaped.
TEST(SiteTemplates, PutsLongValuesInAsTheTemplateWritesThem) {
  const fs::path site = orbitel::testing::MakeTempFolder("orbitel-templates");
  fs::create_directories(site / "templates");
  std::ofstream(site / "templates" / "page.html") << "<p>{{{Long}}}</p>{{Long}}|{{Short}}{{> part}}";
  std::ofstream(site / "templates" / "part.html") << "[{{{Long}}}]";
  const std::string long_value = "<b id=\"n\">O'Neill</b>" + std::string(20000, 'x');
  const std::string escaped = "&lt;b id=&quot;n&quot;&gt;O&#39;Neill&lt;/b&gt;" + std::string(20000, 'x');
  PageValues values;
  values.text = {{"Long", long_value}, {"Short", "<i>"}};
  EXPECT_EQ(RenderTemplate(site, "page", values).value_or(""),
            "<p>" + long_value + "</p>" + escaped + "|&lt;i&gt;[" + long_value + "]");
  fs::remove_all(site);
}

}  // namespace
}  // namespace orbitel::host
