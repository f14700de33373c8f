#pragma once
// The real servers the tests talk to (slapd, Radicale): a free loopback port, and the server
// started as a child of the test program that goes down with it, however that ends.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace orbitel::testing {

inline sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  return address;
}

// A port on 127.0.0.1 that nothing listens on at the moment it is returned; 0 when none is.
inline int FreePort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = Loopback(0);
  socklen_t length = sizeof address;
  const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                     ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
  ::close(fd);
  return bound ? ntohs(address.sin_port) : 0;
}

inline std::string ReadWholeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Asks the server to stop, and kills it when it has not within five seconds: Radicale now and
// then lets a SIGTERM pass unheeded, and a test must never wait for it forever.
inline void StopServer(pid_t& pid) {
  if (pid <= 0) return;
  ::kill(pid, SIGTERM);
  for (int waited = 0; ::waitpid(pid, nullptr, WNOHANG) == 0; ++waited) {
    if (waited == 100) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, nullptr, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  pid = -1;
}

// Runs the program (argv[0], a full path) with its output appended to log, and waits up to ten
// seconds for it to accept connections on the port. Its pid, or -1 with why set.
inline pid_t StartServer(const std::vector<std::string>& argv, const std::string& log, int port,
                         std::string& why) {
  pid_t pid = ::fork();
  if (pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(out, STDERR_FILENO);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
  for (int tries = 0; pid > 0 && tries < 500; ++tries) {
    if (::waitpid(pid, nullptr, WNOHANG) == pid) {
      why = argv[0] + " stopped at start: " + ReadWholeFile(log);
      return -1;
    }
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = Loopback(port);
    const bool accepts = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    if (accepts) return pid;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  why = argv[0] + (pid < 0 ? " could not be started" : " did not listen on port " + std::to_string(port)) + ": " +
        ReadWholeFile(log);
  StopServer(pid);
  return -1;
}

}  // namespace orbitel::testing
