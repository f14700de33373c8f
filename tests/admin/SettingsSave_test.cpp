// Saving the options page from many administrators at once, and a restart after a crash in
// the middle of a save: the settings and the users file always belong to one save, and nothing
// of an interrupted write is left behind.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "admin/Options.h"
#include "data/AtomicFile.h"
#include "data/RowsetFile.h"
#include "runtime/Value.h"
#include "site/SiteFiles.h"
#include "site/SiteFixture.h"
#include "site/SiteState.h"

namespace orbitel::admin {
namespace {

using site::Site;

class SettingsSaveTest : public site::testing::SiteFixture {
 protected:
  // The team password of the settings file and the one account of the users file, read as a
  // reader of both does.
  std::pair<std::string, std::string> SavedPair() const {
    data::FileLock saved_pair(File(site::files::kSettingsLock), data::FileLock::Mode::kShared);
    data::Recordset settings, users;
    if (!data::OpenRowsetFile(File(site::files::kSettings), settings).ok() ||
        !data::OpenRowsetFile(File(site::files::kUsers), users).ok()) {
      return {"unreadable", ""};
    }
    auto password = settings.Field("UserPassword");
    auto account = users.IsEOF() ? Result<Value>(Value()) : users.Field("Users");
    return {password.ok() ? password->Text() : "", account.ok() ? account->Text() : ""};
  }
};

TEST_F(SettingsSaveTest, ConcurrentSavesLeaveEveryReaderAPairFromOneSave) {
  const std::string site_path = Site().SitePath;
  std::atomic<bool> saving{true};
  std::atomic<int> mixed{0}, reads{0};
  std::vector<std::thread> readers;
  for (int r = 0; r < 2; ++r) {
    readers.emplace_back([&] {
      while (saving) {
        const auto [password, account] = SavedPair();
        ++reads;
        // Save n writes the password "p<n>" and includes the account "u<n>" alone.
        if (password != "team" && "u" + password.substr(1) != account) ++mixed;
      }
    });
  }
  for (int round = 0; round < 3; ++round) {
    std::vector<std::thread> administrators;
    for (int n = 0; n < 20; ++n) {
      administrators.emplace_back([&, n] {
        Site().SitePath = site_path;
        auto context = std::make_shared<site::MemoryPageContext>();
        context->Form("action", "Save Changes").Form("cstrUserPassword", "p" + std::to_string(n));
        context->Form("cstrUserUserName", "team").Form("AddUser", "u" + std::to_string(n));
        Site().PageContext = context;
        EXPECT_EQ(Options().SaveOptionChanges(), "Status: Saved");
      });
    }
    for (std::thread& administrator : administrators) administrator.join();
  }
  saving = false;
  for (std::thread& reader : readers) reader.join();
  EXPECT_GT(reads, 0);
  EXPECT_EQ(mixed, 0);
}

TEST_F(SettingsSaveTest, LeftoversOfInterruptedWritesAreRemovedAndNothingElse) {
  // A process that no longer runs: the pid of a child that has ended.
  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  int status = 0;
  waitpid(gone, &status, 0);
  const std::string mine = ".OrbitelSettings.xml.tmp." + std::to_string(getpid()) + ".0123456789abcdef";
  const std::string left = ".OrbitelSettings.xml.tmp." + std::to_string(gone) + ".0123456789abcdef";
  const std::string not_ours[] = {"notes.tmp.1.0123456789abcdef", ".OrbitelUsers.xml.tmp.x.0123456789abcdef",
                                  "OrbitelSettings.xml"};
  for (const std::string& name : {mine, left}) site::testing::WriteFile(folder_ / name, "half");
  for (const std::string& name : not_ours) {
    if (!std::filesystem::exists(folder_ / name)) site::testing::WriteFile(folder_ / name, "kept");
  }
  EXPECT_EQ(data::RemoveLeftoverTemporaries(folder_), 1);
  EXPECT_FALSE(std::filesystem::exists(folder_ / left));
  EXPECT_TRUE(std::filesystem::exists(folder_ / mine));  // a writer still at work keeps its file
  for (const std::string& name : not_ours) EXPECT_TRUE(std::filesystem::exists(folder_ / name)) << name;
}

}  // namespace
}  // namespace orbitel::admin
