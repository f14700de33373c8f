// The server under the loads that used to starve it: connections that send a byte now and
// then, a burst of thousands of requests at once, and a flood of anonymous visitors. Each time a
// signed-in visitor is still answered and still signed in.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "host/ServedSite.h"

namespace orbitel::host {
namespace {

// A plain TCP connection to the served site, for requests no well-behaved client would send.
class RawConnection {
 public:
  explicit RawConnection(int port) : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    timeval wait{30, 0};
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    connected_ = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  ~RawConnection() {
    if (fd_ >= 0) ::close(fd_);
  }
  RawConnection(RawConnection&& other) noexcept : fd_(std::exchange(other.fd_, -1)), connected_(other.connected_) {}

  bool Send(std::string_view text) {
    return connected_ && ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
  }
  // Everything the server sends until it closes (or falls silent for 30 s).
  std::string ReadAll() {
    std::string answer;
    char buffer[16384];
    ssize_t got;
    while ((got = ::recv(fd_, buffer, sizeof buffer, 0)) > 0) answer.append(buffer, static_cast<std::size_t>(got));
    return answer;
  }

 private:
  int fd_;
  bool connected_ = false;
};

using ServerLoadTest = testing::ServedSiteTest;

TEST_F(ServerLoadTest, SlowConnectionsLeaveTheSiteAnswering) {
  const std::string cookie = SignIn();
  std::vector<RawConnection> slow;
  for (int i = 0; i < 1000; ++i) {
    slow.emplace_back(served_->port());
    ASSERT_TRUE(slow.back().Send("GET /CalendarMonth.asp HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ")) << i;
  }
  for (int round = 0; round < 3; ++round) {
    for (const char* page : {"/CalendarMonth.asp", "/CalendarWeek.asp", "/CalendarDay.asp"}) {
      auto shown = Get(page, cookie);
      ASSERT_TRUE(shown) << page;
      EXPECT_EQ(shown->status, 200) << page;
    }
    // The slow ones go on dripping their headers.
    for (RawConnection& connection : slow) connection.Send("x");
  }
}

TEST_F(ServerLoadTest, ABurstIsAnsweredOrRefusedAndTheServerGoesOn) {
  constexpr int kBurst = 5000;
  std::vector<RawConnection> burst;
  burst.reserve(kBurst);
  for (int i = 0; i < kBurst; ++i) {
    burst.emplace_back(served_->port());
    burst.back().Send("GET /CalendarLogin.asp HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n");
  }
  int answered = 0, refused = 0;
  for (RawConnection& connection : burst) {
    const std::string answer = connection.ReadAll();
    if (answer.starts_with("HTTP/1.1 200")) ++answered;
    if (answer.starts_with("HTTP/1.1 503")) ++refused;
  }
  EXPECT_EQ(answered + refused, kBurst);
  EXPECT_GT(answered, 0);
  EXPECT_EQ(served_->Client().Get("/CalendarLogin.asp")->status, 200);
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
        if (!page || page->status != 200 || page->get_header_value("Set-Cookie").empty()) ++failed;
      }
    });
  }
  for (std::thread& visitor : visitors) visitor.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Get("/CalendarMonth.asp", cookie)->status, 200);
}

}  // namespace
}  // namespace orbitel::host
