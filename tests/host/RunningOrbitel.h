#pragma once
// An orbitel program (the built one or an installed copy) serving in the background as an
// operator starts it, its output caught in files of a test's folder, stopped with SIGTERM; and
// a plain HTTP/1.0 fetch from it.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "host/RunOrbitel.h"

namespace orbitel::testing {

class RunningOrbitel {
 public:
  // `environment` entries ("XDG_DATA_HOME=/tmp/x") are added to the test's own.
  RunningOrbitel(const std::string& program, const std::vector<std::string>& args, const std::string& folder,
                 const std::vector<std::string>& environment = {})
      : folder_(folder) {
    // What an earlier run said must not be taken for this one's words.
    ::unlink((folder + "/out").c_str());
    ::unlink((folder + "/err").c_str());
    pid_ = ::fork();
    if (pid_ != 0) return;
    const int out = ::open((folder + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = ::open((folder + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(out, 1);
    ::dup2(err, 2);
    for (const std::string& entry : environment) ::putenv(const_cast<char*>(entry.c_str()));
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  RunningOrbitel(const RunningOrbitel&) = delete;
  RunningOrbitel& operator=(const RunningOrbitel&) = delete;
  ~RunningOrbitel() { Stop(); }

  // The port it says it serves on; 0 when it stopped first or said nothing within 30 seconds.
  int WaitForPort() {
    const std::regex serving("is serving .* at http://[^ ]*:([0-9]+)/");
    for (int tries = 0; tries < 600; ++tries) {
      std::smatch match;
      const std::string said = out();
      if (std::regex_search(said, match, serving)) return std::stoi(match[1]);
      if (::waitpid(pid_, &status_, WNOHANG) == pid_) {
        pid_ = 0;
        return 0;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return 0;
  }

  void Stop() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, &status_, 0);
    pid_ = 0;
  }

  std::string out() const { return ReadText(folder_ + "/out"); }
  std::string err() const { return ReadText(folder_ + "/err"); }

 private:
  std::string folder_;
  pid_t pid_ = 0;
  int status_ = 0;
};

// The whole response (status line, headers, body) to a GET of `target`; empty when nothing answers.
inline std::string Fetch(int port, const std::string& target) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string response;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    const std::string request = "GET " + target + " HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
    if (::write(fd, request.data(), request.size()) == static_cast<ssize_t>(request.size())) {
      char buffer[4096];
      for (ssize_t got; (got = ::read(fd, buffer, sizeof buffer)) > 0;) response.append(buffer, got);
    }
  }
  ::close(fd);
  return response;
}

}  // namespace orbitel::testing
