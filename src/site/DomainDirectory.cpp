#include "site/DomainDirectory.h"

#include <filesystem>

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"
#include "site/ErrorHandler.h"
#include "site/ErrorHtml.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"

namespace orbitel::site {

namespace {

constexpr long kNoDomain = -2147023541;

Status NoDirectory() {
  return Status::Error(kNoDomain,
                       "The specified domain either does not exist or could not be contacted");
}

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

// The first n characters differ from the prefix; a shorter name differs as it is.
bool Differs(const std::string& name, std::string_view prefix) {
  return name.compare(0, prefix.size(), prefix) != 0;
}

}  // namespace

bool IsListedAccount(const std::string& name, bool disabled) {
  for (std::string_view prefix : {"EUSER_", "IUSR_", "IWAM_", "VUSR_", "TsInternetUser",
                                  "NetShowServices", "SQLServer"}) {
    if (!Differs(name, prefix)) return false;
  }
  const std::string lower = ToLower(name);
  for (std::string_view part : {"externa", "conferencecalendar", "room2", "temproom", "hallvardtrent"}) {
    if (lower.find(part) != std::string::npos) return false;
  }
  if (disabled) return false;
  return lower != "quillonorbitel" && lower != "orbitel";
}

std::string GetDomainName() {
  std::string name;
  RunLogged("AdminStuff.GetDomainName", [&name] {
    const auto& directory = Services().directory;
    if (!directory) return NoDirectory();
    auto naming_context = directory->NamingContext();
    if (!naming_context.ok()) return naming_context.status();
    name = *naming_context;
    ReplaceAll(name, "DC=", "");
    ReplaceAll(name, ",", ".");
    return Status::Ok();
  });
  return name;
}

std::string GetDomainNameFromMDrive() {
  std::string name;
  RunLogged("AdminStuff.GetDomainNameFromMDrive", [&name] {
    const std::filesystem::path root = Services().stores.store_root;
    std::error_code error;
    if (root.empty() || !std::filesystem::is_directory(root, error)) {
      return Status::Error(errors::kPathNotFound, "Path not found");
    }
    for (const auto& entry : std::filesystem::directory_iterator(root, error)) {
      // Hidden folders are the store's own (the CalDAV mirror's), never a mail domain.
      const std::string folder = entry.path().filename().string();
      if (entry.is_directory(error) && !folder.starts_with('.')) name = ToLower(folder);
    }
    if (error) return Status::Error(errors::kPermissionDenied, "Permission denied");
    return Status::Ok();
  });
  return name;
}

void GetFolderPaths(UserList& users) {
  RunLogged("AdminStuff.GetFolderPaths", [&users] {
    if (Site().SettingsLoaded) {
      const auto& directory = Services().directory;
      if (!directory) return NoDirectory();
      auto accounts = directory->Accounts();
      if (!accounts.ok()) return accounts.status();
      for (const auto& account : *accounts) {
        if (IsListedAccount(account.name, account.disabled)) {
          users.push_back(account.name + "|" + account.full_name);
        }
      }
    } else {
      Site().ErrorText = NoDomainError();
    }
    // A list that was never given an entry has no bounds to hand on.
    if (users.empty()) {
      return Status::Error(errors::kSubscriptOutOfRange, "Subscript out of range");
    }
    InitialiseUsers(users);
    return Status::Ok();
  });
}

}  // namespace orbitel::site
