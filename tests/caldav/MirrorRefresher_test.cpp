// The background refresher stops with the server: promptly, even while a calendar server that
// has taken the connection keeps it waiting (a refresh may otherwise wait minutes for an answer).
#include "caldav/MirrorRefresher.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <future>
#include <memory>

#include "ServerProcess.h"
#include "TempFolder.h"

namespace orbitel::data {
namespace {

TEST(MirrorRefresherTest, StopsWhileARefreshWaitsForTheServer) {
  // A port that takes connections into its backlog and never answers them.
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = orbitel::testing::Loopback(0);
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(listener, 16), 0);
  socklen_t length = sizeof address;
  ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
  const std::string url =
      "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/exchange/alice/calendar/";

  const auto folder = orbitel::testing::MakeTempFolder("orbitel-refresher");
  std::promise<void> asked;
  bool first = true;
  auto refresher = std::make_unique<MirrorRefresher>(
      StoreSettings(folder.string()),
      [&] {
        if (first) asked.set_value();
        first = false;
        return MirrorRefresher::Plan{{url}, std::chrono::seconds(3600)};
      },
      nullptr);
  asked.get_future().wait();
  // The refresh has connected and waits for its answer.
  pollfd waiting{listener, POLLIN, 0};
  ASSERT_EQ(::poll(&waiting, 1, 10000), 1);
  // Ends within the request's bounds only if the refresh is cancelled: the test would hang.
  refresher.reset();
  ::close(listener);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace orbitel::data
