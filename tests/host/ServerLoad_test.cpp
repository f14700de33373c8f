// The server under the loads that used to starve it: connections that send a byte now and
// then, a burst of thousands of requests at once, and a flood of anonymous visitors. Each time a
// signed-in visitor is still answered and still signed in.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ServerProcess.h"
#include "host/ServedSite.h"

namespace orbitel::host {
namespace {

// A plain TCP connection to the served site, for requests no well-behaved client would send.
int Connected(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = orbitel::testing::Loopback(port);
  const timeval wait{30, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
  return ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? fd : -1;
}
bool Send(int fd, std::string_view text) {
  return ::send(fd, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}
// Everything the server sends until it closes (or falls silent for 30 s).
std::string ReadAll(int fd) {
  std::string answer;
  char buffer[16384];
  for (ssize_t got; (got = ::recv(fd, buffer, sizeof buffer, 0)) > 0;) answer.append(buffer, got);
  return answer;
}

using ServerLoadTest = testing::ServedSiteTest;

TEST_F(ServerLoadTest, SlowConnectionsLeaveTheSiteAnswering) {
  const std::string cookie = SignIn();
  std::vector<int> slow;
  for (int i = 0; i < 1000; ++i) {
    slow.push_back(Connected(served_->port()));
    ASSERT_TRUE(Send(slow.back(), "GET /CalendarMonth.asp HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ")) << i;
  }
  for (int round = 0; round < 3; ++round) {
    for (const char* page : {"/CalendarMonth.asp", "/CalendarWeek.asp", "/CalendarDay.asp"}) {
      EXPECT_EQ(Get(page, cookie)->status, 200) << page;
    }
    for (int fd : slow) Send(fd, "x");  // the slow ones go on dripping their headers
  }
  for (int fd : slow) ::close(fd);
}

TEST_F(ServerLoadTest, ABurstIsAnsweredOrRefusedAndTheServerGoesOn) {
  constexpr int kBurst = 5000;
  std::vector<int> burst;
  for (int i = 0; i < kBurst; ++i) {
    burst.push_back(Connected(served_->port()));
    Send(burst.back(), "GET /CalendarLogin.asp HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n");
  }
  int answered = 0, refused = 0;
  for (int fd : burst) {
    const std::string answer = ReadAll(fd);
    ::close(fd);
    answered += answer.starts_with("HTTP/1.1 200");
    refused += answer.starts_with("HTTP/1.1 503");
  }
  EXPECT_EQ(answered + refused, kBurst);
  EXPECT_GT(answered, 0);
  EXPECT_EQ(Get("/CalendarLogin.asp")->status, 200);
}

TEST_F(ServerLoadTest, AnonymousVisitsSignNobodyOut) {
  const std::string cookie = SignIn();
  constexpr int kVisitors = 4, kVisits = 50000;
  std::vector<std::thread> visitors;
  std::atomic<int> failed{0};
  for (int v = 0; v < kVisitors; ++v) {
    visitors.emplace_back([&] {
      httplib::Client client = served_->Client();
      client.set_keep_alive(true);
      for (int i = 0; i < kVisits; ++i) {
        auto page = client.Get("/CalendarLogin.asp");
        failed += !page || page->status != 200 || page->get_header_value("Set-Cookie").empty();
      }
    });
  }
  for (std::thread& visitor : visitors) visitor.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 200);
}

}  // namespace
}  // namespace orbitel::host
