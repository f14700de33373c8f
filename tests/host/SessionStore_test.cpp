// Sessions: idle ones are gone, a renewed one answers only to its new id, and a full store
// makes room by dropping the longest idle.
#include <gtest/gtest.h>

#include <set>

#include "host/SessionStore.h"

namespace orbitel::host {
namespace {

using namespace std::chrono_literals;

class SessionStoreTest : public ::testing::Test {
 protected:
  SessionStore::Clock::time_point now_{};
  SessionStore store_{20min, 3, [this] { return now_; }};
};

TEST_F(SessionStoreTest, IdleSessionsExpireButUseKeepsThemAlive) {
  std::string id;
  auto session = store_.Create(&id);
  session->Set("SessionID", "User");
  now_ += 19min;
  ASSERT_NE(store_.Find(id), nullptr);
  now_ += 19min;  // used 19 minutes ago, not 38
  ASSERT_NE(store_.Find(id), nullptr);
  EXPECT_EQ(store_.Find(id)->Get("SessionID"), "User");
  now_ += 21min;
  EXPECT_EQ(store_.Find(id), nullptr);
  EXPECT_EQ(store_.Find(""), nullptr);
}

TEST_F(SessionStoreTest, RenewedSessionsKeepTheirValuesUnderANewIdOnly) {
  std::string id;
  store_.Create(&id)->Set("SessionID", "Admin");
  const std::string renewed = store_.Renew(id);
  ASSERT_FALSE(renewed.empty());
  EXPECT_NE(renewed, id);
  EXPECT_EQ(store_.Find(id), nullptr);
  EXPECT_EQ(store_.Find(renewed)->Get("SessionID"), "Admin");
  EXPECT_EQ(store_.Renew(id), "");
}

TEST_F(SessionStoreTest, IdsAndTokensAreRandomAndAFullStoreDropsTheLongestIdle) {
  std::set<std::string> seen;
  std::string first;
  auto session = store_.Create(&first);
  seen.insert(first);
  seen.insert(session->form_token());
  for (int i = 0; i < 3; ++i) {
    now_ += 1s;
    std::string id;
    seen.insert(store_.Create(&id)->form_token());
    seen.insert(id);
    EXPECT_EQ(id.size(), 32u);  // 128 bits in hex
  }
  EXPECT_EQ(seen.size(), 8u);
  EXPECT_EQ(store_.size(), 3u);
  EXPECT_EQ(store_.Find(first), nullptr);
}

}  // namespace
}  // namespace orbitel::host
