#pragma once
// A real Radicale CalDAV server for the CalDAV store's tests and benchmarks: on a free local port
// with its own configuration, one account and a temporary storage folder, stopped (the folder
// removed) when the object goes, and with the process however that ends.

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "caldav/CalDavClient.h"
#include "ical/ICalendar.h"

namespace orbitel::data::testing {

using orbitel::testing::FreePort;

class RadicaleServer {
 public:
  static constexpr char kProgram[] = "/usr/bin/radicale";

  RadicaleServer() = default;
  ~RadicaleServer() {
    orbitel::testing::StopServer(pid_);
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
    if (!storage_.empty()) std::filesystem::remove_all(storage_);
  }
  RadicaleServer(const RadicaleServer&) = delete;
  RadicaleServer& operator=(const RadicaleServer&) = delete;

  // Starts the server with the one account; empty once it answers, else why it did not start.
  // With sync_writes the collections are on disk, synced file by file as a real server's are
  // (what the benchmarks measure); without, a test's throwaway collections are kept in memory
  // (/dev/shm) where there is one, so the server never waits for the disk.
  std::string Start(const std::string& user, const std::string& password, bool sync_writes = false) {
    if (::access(kProgram, X_OK) != 0) {
      return std::string(kProgram) + " is missing: install radicale (scripts/setup --tests)";
    }
    credentials_ = data::StoreCredentials{user, password};
    folder_ = orbitel::testing::MakeTempFolder("orbitel-caldav");
    storage_ = folder_ / "storage";
    std::string in_memory = "/dev/shm/orbitel-caldav-XXXXXX";
    if (!sync_writes && ::mkdtemp(in_memory.data()) != nullptr) storage_ = in_memory;
    port_ = FreePort();
    base_url_ = "http://127.0.0.1:" + std::to_string(port_) + "/";
    std::ofstream(folder_ / "users") << user << ":" << password << "\n";
    // The account reads and writes at any depth (sites use /exchange/<account>/calendar/), no one else.
    std::ofstream(folder_ / "rights") << "[account]\nuser: .+\ncollection: .*\npermissions: RrWw\n";
    std::ofstream(folder_ / "config")
        << "[server]\nhosts = 127.0.0.1:" << port_ << "\n"
        << "[auth]\ntype = htpasswd\nhtpasswd_filename = " << (folder_ / "users").string()
        << "\nhtpasswd_encryption = plain\ndelay = 0\n"
        << "[rights]\ntype = from_file\nfile = " << (folder_ / "rights").string() << "\n"
        << "[storage]\nfilesystem_folder = " << storage_.string() << "\n"

        << "[web]\ntype = none\n[logging]\nlevel = warning\n";
    return Resume();
  }

  // Stops the server and keeps its collections, so that Resume starts it again as it was.
  void Pause() { orbitel::testing::StopServer(pid_); }
  // Holds the server still (SIGSTOP) or lets it go on (SIGCONT), or kills it (SIGKILL: its
  // connections drop; Pause then reaps it).
  void Signal(int signal) { ::kill(pid_, signal); }
  // The account's password as the server checks it from now on (its users file rewritten).
  void SetPassword(const std::string& password) {
    std::ofstream(folder_ / "users") << credentials_.user << ":" << password << "\n";
  }
  std::string Resume() {
    std::string why;
    pid_ = orbitel::testing::StartServer({kProgram, "--config", (folder_ / "config").string()},
                                         (folder_ / "radicale.log").string(), port_, why);
    return pid_ > 0 ? std::string() : why;
  }

  // A request as the account to a path under the server's root; its status, 0 when unanswered.
  long Send(const std::string& method, const std::string& path, const std::string& body = "") {
    data::CalDavClient client(credentials_);
    auto answer = client.Send({method, base_url_ + path, body, "text/calendar", {}});
    return answer.ok() ? answer->status : 0;
  }

  // Empty calendars at /exchange/<account>/calendar/, where site URLs point; empty, else why not.
  std::string MakeSiteCalendars(const std::vector<std::string>& accounts) {
    if (Send("MKCOL", "exchange/") != 201) return "Radicale did not create /exchange/";
    for (const std::string& account : accounts) {
      if (Send("MKCOL", "exchange/" + account + "/") != 201 ||
          Send("MKCALENDAR", "exchange/" + account + "/calendar/") != 201) {
        return "Radicale did not create the calendar of " + account;
      }
    }
    return "";
  }

  // The accounts' site calendars holding the calendar texts given; empty, else why not.
  std::string StoreSiteCalendars(const std::vector<std::pair<std::string, std::string>>& calendars) {
    std::vector<std::string> accounts;
    for (const auto& [account, ics] : calendars) accounts.push_back(account);
    if (std::string why = MakeSiteCalendars(accounts); !why.empty()) return why;
    for (const auto& [account, ics] : calendars) {
      auto items = data::ParseCalendar(ics);
      if (!items.ok()) return items.status().description();
      for (const data::CalendarItem& item : *items) {
        const std::string path = "exchange/" + account + "/calendar/" + item.uid + ".ics";
        if (Send("PUT", path, item.ics) != 201) return "Radicale did not store " + path;
      }
    }
    return "";
  }

  const std::string& base_url() const { return base_url_; }
  int port() const { return port_; }
  // The server's process, for what a benchmark reads of it in /proc.
  pid_t pid() const { return pid_; }
  // Where the server keeps its collections: "<storage>/collection-root/<path>".
  std::filesystem::path storage() const { return storage_; }

 private:
  std::filesystem::path folder_;
  std::filesystem::path storage_;
  std::string base_url_;
  data::StoreCredentials credentials_;
  int port_ = 0;
  pid_t pid_ = -1;
};
}  // namespace orbitel::data::testing
