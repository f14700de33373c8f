#pragma once
// A real Radicale CalDAV server for the tests and benchmarks of the CalDAV store: started on a
// free local port with its own configuration, one account and a storage folder of its own under
// the system's temporary folder, and stopped (its folder removed) when the object goes. The
// account may create collections at any depth. The server goes down with the process, however
// that ends.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "../TempFolder.h"
#include "data/CalDavClient.h"

namespace orbitel::data::testing {

// A port on 127.0.0.1 that nothing listens on at the moment it is returned.
inline int FreePort() {
  const int socket_fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  int port = 0;
  if (::bind(socket_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::getsockname(socket_fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    port = ntohs(address.sin_port);
  }
  ::close(socket_fd);
  return port;
}

inline std::string FindOnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::stringstream folders(path != nullptr ? path : "/usr/bin:/bin");
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    const std::string candidate = folder + "/" + program;
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return {};
}

inline std::string ReadWholeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

class RadicaleServer {
 public:
  RadicaleServer() = default;
  ~RadicaleServer() { Stop(); }
  RadicaleServer(const RadicaleServer&) = delete;
  RadicaleServer& operator=(const RadicaleServer&) = delete;

  // Starts the server with the one account; empty once it answers, else why it did not start.
  std::string Start(const std::string& user, const std::string& password) {
    const std::string radicale = FindOnPath("radicale");
    if (radicale.empty()) {
      return "The CalDAV tests need a Radicale server, and radicale is not on the PATH; "
             "scripts/setup --tests installs it";
    }
    folder_ = orbitel::testing::MakeTempFolder("orbitel-caldav");
    const int port = FreePort();
    if (port == 0) return "No free local port for Radicale";
    port_ = port;
    base_url_ = "http://127.0.0.1:" + std::to_string(port) + "/";
    std::ofstream(folder_ / "users") << user << ":" << password << "\n";
    // The account reads and writes collections at any depth (the site's calendars live at
    // /exchange/<account>/calendar/); anonymous requests are refused.
    std::ofstream(folder_ / "rights") << "[account]\nuser: .+\ncollection: .*\npermissions: RrWw\n";
    std::ofstream(folder_ / "config")
        << "[server]\nhosts = 127.0.0.1:" << port << "\n"
        << "[auth]\ntype = htpasswd\nhtpasswd_filename = " << (folder_ / "users").string()
        << "\nhtpasswd_encryption = plain\ndelay = 0\n"
        << "[rights]\ntype = from_file\nfile = " << (folder_ / "rights").string() << "\n"
        << "[storage]\nfilesystem_folder = " << (folder_ / "storage").string() << "\n"
        << "[web]\ntype = none\n"
        << "[logging]\nlevel = warning\n";
    const std::string config = (folder_ / "config").string();
    const std::string log = (folder_ / "radicale.log").string();

    pid_ = ::fork();
    if (pid_ < 0) return "Radicale could not be started: fork failed";
    if (pid_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (out >= 0) {
        ::dup2(out, STDOUT_FILENO);
        ::dup2(out, STDERR_FILENO);
      }
      ::execl(radicale.c_str(), radicale.c_str(), "--config", config.c_str(),
              static_cast<char*>(nullptr));
      ::_exit(127);
    }

    // Started once the server answers; a server that exits or never answers is a failure.
    CalDavClient client(std::nullopt);
    for (int attempt = 0; attempt < 300; ++attempt) {
      int status = 0;
      if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return "Radicale exited at start-up: " + ReadWholeFile(log);
      }
      Result<HttpResponse> answer = client.Send(HttpRequest{"OPTIONS", base_url_, "", "", {}});
      if (answer.ok()) return {};
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    const std::string why = "Radicale did not answer on " + base_url_ + ": " + ReadWholeFile(log);
    Stop();
    return why;
  }

  void Stop() {
    if (pid_ > 0) {
      ::kill(pid_, SIGTERM);
      int status = 0;
      ::waitpid(pid_, &status, 0);
      pid_ = -1;
    }
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
    folder_.clear();
  }

  // "http://127.0.0.1:<port>/"
  const std::string& base_url() const { return base_url_; }
  int port() const { return port_; }
  // Where the server keeps its collections: "<storage>/collection-root/<path>".
  std::filesystem::path storage() const { return folder_ / "storage"; }

 private:
  std::filesystem::path folder_;
  std::string base_url_;
  int port_ = 0;
  pid_t pid_ = -1;
};

}  // namespace orbitel::data::testing
